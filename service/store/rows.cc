#include "service/store/rows.h"

#include "msg/records.h"
#include "service/model/hierarchy.h"
#include "service/model/tlvs.h"
#include "service/store/records.h"
#include "service/store/run_rows.h"

namespace hqosd {

namespace {

// A record that a function of the library encodes.
template <class Encap, class Record>
Bytes Encapsulated(Encap encap, const Record& record) {
  uint8_t value[2048];
  const uint32_t length = encap(&record, sizeof value, value);
  return Bytes(value, value + length);
}

// The same where the function also returns the length of its headers.
Bytes Encapsulated(const HQOS_SonCfg& son) {
  uint32_t headers = 0;
  return Encapsulated(
      [&](const HQOS_SonCfg* record, uint16_t room, uint8_t* out) {
        return HQOS_dbmtype_EncapSonCfg(record, room, &headers, out);
      },
      son);
}

HQOS_FPCfg ConfigurationOf(const Model& model, const ObjectTable<FP>::Object& fp) {
  const HQOS_FPInfo& settings = fp.value.settings;
  auto cfg = NamedRecord<HQOS_FPCfg>(fp);
  cfg.flags = settings.flags;
  std::copy(std::begin(settings.gts), std::end(settings.gts), cfg.gts);
  std::copy(std::begin(settings.queue), std::end(settings.queue), cfg.queue);
  cfg.bandwidth = settings.bandwidth;
  if ((cfg.flags & HQOS_FPI_DPREF) != 0) {
    CopyName(model.dps.All().at(settings.dpId).name, cfg.dpName);
  }
  return cfg;
}

// value16 stays 0: there is nothing more to keep of an FP.
HQOS_FPRun RunOf(const ObjectTable<FP>::Object& fp) {
  const HQOS_FPInfo& settings = fp.value.settings;
  HQOS_FPRun run{fp.id, settings.flags, 0, settings.dpId, {}, {}, settings.bandwidth};
  std::copy(std::begin(settings.gts), std::end(settings.gts), run.gts);
  std::copy(std::begin(settings.queue), std::end(settings.queue), run.queue);
  return run;
}

Bytes NamedValue(const std::string& name, uint16_t id) {
  HQOS_FGInfo info{{}, id};
  CopyName(name, info.name);
  return Encoded(hqos::kNamedInfo<HQOS_FGInfo>, info);
}

// The changes of one kind of object.
template <class Value>
void TakeObjects(const Model& model, ObjectTable<Value>& table, std::vector<Change>& changes) {
  for (const std::string& name : table.Dirty()) {
    const auto* const object = table.Find(name);
    for (const char* const prefix : Prefixes(Value::kKind)) {
      Change change{prefix + name, {}, {}};
      if (object != nullptr) change.value = ValueOf(model, *object, prefix);
      changes.push_back(std::move(change));
    }
  }
}

template <class Table, class ChildTable>
std::optional<Bytes> NestingValue(const Table& parents, const ChildTable& children,
                                  const NestingKey& key) {
  const auto* const parent = parents.Find(key.parent);
  const auto* const child = children.Find(key.child);
  if (parent == nullptr || child == nullptr) return std::nullopt;
  const auto nesting = parent->value.children.find(child->id);
  if (nesting == parent->value.children.end()) return std::nullopt;
  HQOS_SonCfg son{};
  son.value1 = child->id;
  son.value2 = key.childKind == Kind::FC ? 2 : 1;
  CopyName(child->name, son.name1);
  CopyName(nesting->second.fp, son.name2);
  son.rule = nesting->second.rule;
  return Encapsulated(son);
}

}  // namespace

std::span<const char* const> Prefixes(Kind kind) {
  static constexpr const char *kSPs[] = {kKeySP}, *kFGs[] = {kKeyFG}, *kFCs[] = {kKeyFC},
                              *kFPs[] = {kKeyFP, kKeyFPRun}, *kDPs[] = {kKeyDP};
  static constexpr std::span<const char* const> kPrefixes[] = {kSPs, kFGs, kFCs, kFPs, kDPs};
  return kPrefixes[static_cast<int>(kind)];
}

Bytes ValueOf(const Model&, const ObjectTable<SP>::Object& sp, const char*) {
  HQOS_SPInfo info = SPRecord(sp);
  info.value2 = 0;  // follows from the nestings
  return Encoded(hqos::kSPBase, info);
}
Bytes ValueOf(const Model&, const ObjectTable<FG>::Object& fg, const char*) {
  return NamedValue(fg.name, fg.id);
}
Bytes ValueOf(const Model&, const ObjectTable<FC>::Object& fc, const char*) {
  return NamedValue(fc.name, fc.id);
}
Bytes ValueOf(const Model&, const ObjectTable<DP>::Object& dp, const char*) {
  return Encoded(hqos::kDPInfo, DPRecord(dp));
}
Bytes ValueOf(const Model& model, const ObjectTable<FP>::Object& fp, const char* prefix) {
  return std::string_view(prefix) == kKeyFP
             ? Encapsulated(HQOS_dbmtype_EncapFPCfg, ConfigurationOf(model, fp))
             : Encapsulated(HQOS_dbmtype_EncapFPRun, RunOf(fp));
}

Change NestingChange(const Model& model, const NestingKey& key) {
  Change change{NestingRowKey(key), {}, {}};
  if (key.parentKind == Kind::SP) {
    change.value = NestingValue(model.sps, model.fgs, key);
  } else if (key.childKind == Kind::FG) {
    change.value = NestingValue(model.fgs, model.fgs, key);
  } else {
    change.value = NestingValue(model.fgs, model.fcs, key);
  }
  return change;
}

Change ApplicationChange(const Model& model, const ApplyKey& key) {
  Change change{ApplicationKey(key), {}, {}};
  const auto application = model.applications.find(key);
  if (application == model.applications.end()) return change;
  HQOS_AppObj obj{key.type, key.value, key.param, {}};
  if (key.type == HQOS_APPOBJ_IFINDEX) obj.value = application->second.ifIndex;
  key.name.copy(obj.name, sizeof obj.name - 1);
  HQOS_ObjPayload sp{{}, HQOS_ID_NONE};
  CopyName(model.sps.All().at(application->second.sp).name, sp.name);
  change.value.emplace();
  AppendRecord(*change.value, HQOS_TLV_APPOBJ, hqos::kAppObj, obj);
  AppendRecord(*change.value, HQOS_TLV_SPNAME, hqos::kObjPayload, sp);
  return change;
}

Change ClassChange(const Model& model, const ApplyKey& key, const SonPath& path) {
  const auto* const end = std::find(path.begin(), path.end(), uint16_t{HQOS_PATH_UNSET});
  Change change{
      fmt::format("{}{}", ClassKeyPrefix(key), fmt::join(path.begin(), end, "-")), {}, {}};
  const auto application = model.applications.find(key);
  if (application == model.applications.end()) return change;
  const auto found = application->second.classes.find(path);
  if (found == application->second.classes.end()) return change;
  const KernelClass& one = found->second;
  StoredClass stored{{}, one.minor, one.ownLeaf, one.basePackets, one.baseBytes, one.baseDrops};
  std::copy(path.begin(), path.end(), stored.path);
  change.value = Encoded(kStoredClass, stored);
  return change;
}

// One record for each child: the parent's key, and on a second line the child.
std::string NestingRowKey(const NestingKey& key) {
  return fmt::format("{}-nest-{}\n{} {}", Name(key.parentKind), key.parent, Name(key.childKind),
                     key.child);
}

std::string ApplicationKey(const ApplyKey& key) {
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    return fmt::format("{}{}-{}", kKeyIfCfg, key.param, key.name);
  }
  return fmt::format("{}{}-{}-{}", kKeyApply, key.type, key.value, key.param);
}

std::string ClassKeyPrefix(const ApplyKey& key) {
  return fmt::format("{}{}-{}\n", kKeyClass, key.param, key.name);
}

Bytes VersionValue() { return {std::begin(kStoreVersion), std::end(kStoreVersion) - 1}; }

std::vector<Change> TakeChanges(Model& model) {
  std::vector<Change> changes;
  TakeObjects(model, model.sps, changes);
  TakeObjects(model, model.fgs, changes);
  TakeObjects(model, model.fcs, changes);
  TakeObjects(model, model.dps, changes);
  TakeObjects(model, model.fps, changes);
  for (const NestingKey& key : model.dirtyNestings) changes.push_back(NestingChange(model, key));
  for (const ApplyKey& key : model.dirtyApplications) {
    changes.push_back(ApplicationChange(model, key));
  }
  for (const auto& [key, path] : model.dirtyClasses) {
    changes.push_back(ClassChange(model, key, path));
  }
  RunRows(model).Step(Slice(), changes);
  model.ClearDirty();
  return changes;
}

}  // namespace hqosd
