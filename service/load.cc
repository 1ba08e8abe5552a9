#include "service/load.h"

#include "msg/records.h"
#include "platform/hqosd_store.h"
#include "service/applications.h"
#include "service/objects.h"
#include "service/rows.h"
#include "service/tlvs.h"

namespace hqosd {

namespace {

using Handler = Answer (*)(Model&, const Payload&);

// Runs a request of the service on a payload of its own; "" or why it was refused.
template <class Layout, class Record>
std::string Run(Handler handle, Model& model, const Layout& layout, const Record& record) {
  const Bytes payload = Encoded(layout, record);
  const Answer answer = handle(model, {payload.data(), static_cast<uint16_t>(payload.size())});
  return answer.text;
}

// FCs are otherwise made by nesting them.
Answer AddFC(Model& model, const Payload& payload) {
  return AddObject(model.fcs, "FC", payload, [&](uint16_t id) {
    const auto* const fg = model.fgs.Find(id);
    return fg == nullptr ? std::string() : "FG " + fg->name;
  });
}

constexpr char kDoesNotDecode[] = "the record does not decode";
constexpr char kOtherName[] = "the record has another name than its key";

class Loader {
 public:
  Loader(const std::vector<StoredRecord>& records, Model& model, Loaded& loaded)
      : records_(records), model_(model), loaded_(loaded) {}

  void LoadAll() {
    ForEach(HQOSD_KEY_SP, [&](auto& r, auto& name) { return LoadSP(r, name); });
    ForEach(HQOSD_KEY_DP, [&](auto& r, auto& name) { return LoadDP(r, name); });
    ForEach(HQOSD_KEY_FP, [&](auto& r, auto& name) { return LoadFP(r, name); });
    ForEach(HQOSD_KEY_FG, [&](auto& r, auto& name) {
      HQOS_FGInfo info;
      return LoadNamed(r, name, HQOSD_ReadFG, AddFG, info);
    });
    ForEach(HQOSD_KEY_FC, [&](auto& r, auto& name) {
      HQOS_FCInfo info;
      return LoadNamed(r, name, HQOSD_ReadFC, AddFC, info);
    });
    ForEach(HQOSD_KEY_FG_NEST, [&](auto& r, auto&) { return LoadNesting(r, 2); });
    ForEach(HQOSD_KEY_SP_NEST, [&](auto& r, auto&) { return LoadNesting(r, 1); });
    ForEach(HQOSD_KEY_FC, [&](auto&, auto& name) { return CheckFC(name); });
    ForEach(HQOSD_KEY_IF_CFG, [&](auto& r, auto&) { return LoadApplication(r); });
    ForEach(HQOSD_KEY_APPLY, [&](auto& r, auto&) { return LoadApplication(r); });
    Compare();
  }

 private:
  // Takes the records whose key begins so; `load` gets each with what stands behind the prefix,
  // and returns why it cannot be taken.
  template <class LoadOne>
  void ForEach(const std::string& prefix, const LoadOne& load) {
    for (const StoredRecord& record : records_) {
      if (!record.key.starts_with(prefix) || bad_.contains(record.key)) continue;
      const std::string name = record.key.substr(prefix.size());
      const std::string why = load(record, name);
      if (!why.empty()) SetAside(record.key, why);
    }
  }

  void SetAside(const std::string& key, const std::string& why) {
    bad_.insert(key);
    loaded_.mending.push_back({key, {}, why});
  }

  // Reads a record into `info` and adds the object that it names.
  template <class Info>
  std::string LoadNamed(const StoredRecord& record, const std::string& name,
                        int (*read)(const uint8_t*, size_t, Info*), Handler add, Info& info) {
    if (read(record.value.data(), record.value.size(), &info) == 0) return kDoesNotDecode;
    if (info.name != name) return kOtherName;
    if (info.id == HQOS_ID_NONE) return "the identifier is out of its range";
    return Run(add, model_, hqos::kObjPayload, NamedPayload(name, info.id));
  }

  static HQOS_ObjPayload NamedPayload(const std::string& name, uint16_t id) {
    HQOS_ObjPayload payload{{}, id};
    CopyName(name, payload.name);
    return payload;
  }

  std::string LoadSP(const StoredRecord& record, const std::string& name) {
    HQOS_SPInfo info;
    std::string why = LoadNamed(record, name, HQOSD_ReadSP, AddSP, info);
    if (!why.empty()) return why;
    HQOS_ObjValuePayload unit{{}, info.value1};
    CopyName(name, unit.name);
    why = Run(SetSPUnit, model_, hqos::kObjValuePayload, unit);
    if (!why.empty()) model_.sps.Remove(name);
    return why;
  }

  std::string LoadDP(const StoredRecord& record, const std::string& name) {
    HQOS_DPInfo info;
    std::string why = LoadNamed(record, name, HQOSD_ReadDP, AddDP, info);
    if (!why.empty()) return why;
    DP& dp = model_.dps.Find(name)->value;
    dp.weight = info.weight;
    std::copy(std::begin(info.thresholds), std::end(info.thresholds), dp.thresholds);
    return "";
  }

  std::string LoadFP(const StoredRecord& record, const std::string& name) {
    HQOS_FPCfg cfg;
    std::string why = LoadNamed(record, name, HQOSD_ReadFPCfg, AddFP, cfg);
    if (!why.empty()) return why;
    auto* const dp = model_.dps.Find(std::string(cfg.dpName));
    const bool refers = (cfg.flags & HQOS_FPI_DPREF) != 0;
    if (refers && dp == nullptr) {
      model_.fps.Remove(name);
      return "DP " + std::string(cfg.dpName) + " does not exist";
    }
    HQOS_FPInfo& settings = model_.fps.Find(name)->value.settings;
    settings.flags = cfg.flags;
    settings.bandwidth = cfg.bandwidth;
    std::copy(std::begin(cfg.gts), std::end(cfg.gts), settings.gts);
    std::copy(std::begin(cfg.queue), std::end(cfg.queue), settings.queue);
    if (refers) ++dp->value.uses;
    if (refers) settings.dpId = dp->id;
    return "";
  }

  // `kind` is that of the library's key function: 1 for an SP, 2 for an FG.
  std::string LoadNesting(const StoredRecord& record, uint32_t kind) {
    HQOS_NestPayload nest{};
    HQOS_SonCfg son{};
    if (HQOS_dbmtype_DecapNestKey(kind, record.key.c_str(), nest.parentName) != 1 ||
        HQOS_dbmtype_DecapSonCfg(record.value.data(), static_cast<uint16_t>(record.value.size()),
                                 &son) != 0) {
      return kDoesNotDecode;
    }
    const bool isFC = son.value2 == 2;
    const NestingKey key{kind == 1 ? "SP" : "FG", nest.parentName, isFC ? "FC" : "FG", son.name1};
    if (record.key != NestingRowKey(key)) return kOtherName;
    if (son.value2 != (isFC ? 2 : 1) || (isFC && kind == 1)) return "there is no such child";
    const std::string child = son.name1;
    const auto* const fc = isFC ? model_.fcs.Find(child) : nullptr;
    const auto* const fg = isFC ? nullptr : model_.fgs.Find(child);
    if (fc == nullptr && fg == nullptr) return "the child does not exist";
    if ((fc != nullptr ? fc->id : fg->id) != son.value1) return "the child has another identifier";
    std::copy(std::begin(son.name1), std::end(son.name1), nest.childName);
    std::copy(std::begin(son.name2), std::end(son.name2), nest.extraName);
    nest.rule = son.rule;
    const auto handle = isFC ? AddFGNestFC : kind == 1 ? AddSPNestFG : AddFGNestFG;
    return Run(handle, model_, hqos::kNestPayload, nest);
  }

  std::string CheckFC(const std::string& name) {
    const auto* const fc = model_.fcs.Find(name);
    if (fc == nullptr || !fc->value.parents.empty()) return "";
    model_.fcs.Remove(name);
    return "the FC is nested nowhere";
  }

  std::string LoadApplication(const StoredRecord& record) {
    HQOS_ApplyInfo info;
    if (HQOSD_ReadApply(record.value.data(), record.value.size(), &info) == 0) {
      return kDoesNotDecode;
    }
    const bool isInterface = info.obj.type == HQOS_APPOBJ_IFINDEX;
    const ApplyKey key{info.obj.type, info.obj.name, isInterface ? 0 : info.obj.value,
                       info.obj.param};
    if (ApplicationKey(key) != record.key) return kOtherName;
    const auto* const sp = model_.sps.Find(std::string(info.sp.name));
    if (sp == nullptr) return "SP " + std::string(info.sp.name) + " does not exist";
    std::string why = WhyNotApplicable(model_, key);
    if (!why.empty()) return why;
    if (isInterface) FreeIndex(model_, key, info.obj.value);
    model_.applications[key] = {sp->id, isInterface ? info.obj.value : 0};
    return "";
  }

  // Holds what the service would write of the model against the records: whatever is missing, or
  // another, or more, is mended. So a record that was half read does not pass, and the run-time
  // state is that of the configuration.
  void Compare() {
    for (const auto& [key, application] : model_.applications) {
      model_.touchedApplications.insert(key);
      model_.touchedRuns.emplace(key, application.ifIndex);
    }
    std::map<std::string, Bytes> rows{{HQOSD_KEY_VERSION, VersionValue()}};
    for (Change& change : TakeChanges(model_)) {
      if (change.value) rows[change.key] = std::move(*change.value);
    }
    for (const StoredRecord& record : records_) {
      const auto row = rows.find(record.key);
      const bool wanted = row != rows.end();
      if (wanted && row->second == record.value) {
        rows.erase(row);
      } else if (!bad_.contains(record.key)) {
        SetAside(record.key, wanted ? "the record is not that of the other records"
                                    : "nothing is known of this key");
      }
    }
    for (auto& [key, value] : rows) loaded_.mending.push_back({key, std::move(value), {}});
  }

  const std::vector<StoredRecord>& records_;
  Model& model_;
  Loaded& loaded_;
  std::set<std::string> bad_;
};

}  // namespace

Loaded Load(const std::vector<StoredRecord>& records, Model& model) {
  Loaded loaded;
  Loader(records, model, loaded).LoadAll();
  return loaded;
}

}  // namespace hqosd
