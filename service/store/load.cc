#include "service/store/load.h"

#include "msg/records.h"
#include "service/model/applications.h"
#include "service/model/nesting.h"
#include "service/model/tlvs.h"
#include "service/store/records.h"
#include "service/store/rows.h"

namespace hqosd {

namespace {

// Runs a change of the model; "" or why it was refused.
template <class Change>
std::string Try(const Change& change) try {
  change();
  return "";
} catch (const Refusal& refusal) {
  return refusal.text;
}

constexpr char kDoesNotDecode[] = "the record does not decode";
constexpr char kWrongSum[] = "its checksum is wrong";
constexpr char kOtherName[] = "the record has another name than its key";

// Records that the server reads itself.
bool IsOfWholeState(const std::string& key) {
  return key == kKeyRevision || key == kKeyPending || key.starts_with(kKeyHistory) ||
         key.starts_with(kKeyHistoryPart);
}

class Loader {
 public:
  Loader(const std::vector<StoredRecord>& records, Model& model)
      : records_(records), model_(model) {}

  std::vector<Change> LoadAll() {
    ForEach(kKeySP, [&](auto& r, auto& name) { return LoadSP(r, name); });
    ForEach(kKeyDP, [&](auto& r, auto& name) { return LoadDP(r, name); });
    ForEach(kKeyFP, [&](auto& r, auto& name) { return LoadFP(r, name); });
    ForEach(kKeyFG, [&](auto& r, auto& name) {
      HQOS_FGInfo info;
      return LoadNamed(r, name, DecodeFG, model_.fgs, info);
    });
    ForEach(kKeyFC, [&](auto& r, auto& name) {
      HQOS_FCInfo info;
      return LoadNamed(r, name, DecodeFC, model_.fcs, info);
    });
    ForEach(kKeyFGNest, [&](auto& r, auto&) { return LoadNesting(r, 2); });
    ForEach(kKeySPNest, [&](auto& r, auto&) { return LoadNesting(r, 1); });
    ForEach(kKeyFC, [&](auto&, auto& name) { return CheckFC(name); });
    ForEach(kKeyIfCfg, [&](auto& r, auto&) { return LoadApplication(r); });
    ForEach(kKeyApply, [&](auto& r, auto&) { return LoadApplication(r); });
    LoadClasses();
    Compare();
    return std::move(repairs_);
  }

 private:
  // Takes the records whose key begins so; `load` gets each with what follows the prefix, and
  // returns why it cannot be taken.
  template <class LoadOne>
  void ForEach(const std::string& prefix, const LoadOne& load) {
    for (const StoredRecord& record : records_) {
      if (!record.key.starts_with(prefix) || bad_.contains(record.key)) continue;
      const std::string name = record.key.substr(prefix.size());
      const std::string why = record.isSound ? load(record, name) : kWrongSum;
      if (!why.empty()) Quarantine(record.key, why);
    }
  }

  void Quarantine(const std::string& key, const std::string& why) {
    bad_.insert(key);
    repairs_.push_back({key, {}, why});
  }

  // Reads a record into `info` and adds the object that it names.
  template <class Info, class Table>
  std::string LoadNamed(const StoredRecord& record, const std::string& name,
                        bool (*decode)(const uint8_t*, size_t, Info&), Table& table, Info& info) {
    if (!decode(record.value.data(), record.value.size(), info)) return kDoesNotDecode;
    if (info.name != name) return kOtherName;
    if (!IsStoredName(name)) return "a name has no control characters";
    if (info.id == HQOS_ID_NONE) return "the identifier is out of its range";
    return Try([&] { Create(model_, table, name, info.id); });
  }

  std::string LoadSP(const StoredRecord& record, const std::string& name) {
    HQOS_SPInfo info;
    std::string why = LoadNamed(record, name, DecodeSP, model_.sps, info);
    if (!why.empty()) return why;
    return Try([&] {
      try {
        SetUnit(model_, *model_.sps.Find(name), info.value1);
      } catch (const Refusal&) {
        model_.sps.Remove(name);
        throw;
      }
    });
  }

  std::string LoadDP(const StoredRecord& record, const std::string& name) {
    HQOS_DPInfo info;
    std::string why = LoadNamed(record, name, DecodeDP, model_.dps, info);
    if (!why.empty()) return why;
    DP& dp = model_.dps.Find(name)->value;
    dp.weight = info.weight;
    std::copy(std::begin(info.thresholds), std::end(info.thresholds), dp.thresholds);
    return "";
  }

  std::string LoadFP(const StoredRecord& record, const std::string& name) {
    HQOS_FPCfg cfg;
    std::string why = LoadNamed(record, name, DecodeFPCfg, model_.fps, cfg);
    if (!why.empty()) return why;
    auto* const dp = model_.dps.Find(std::string(cfg.dpName));
    const bool refers = (cfg.flags & HQOS_FPI_DPREF) != 0 && dp != nullptr;
    if (!refers && (cfg.flags & HQOS_FPI_DPREF) != 0) {
      cfg.flags &= ~uint32_t{HQOS_FPI_DPREF};
      reduced_[record.key] =
          fmt::format("kept without {}, which does not exist", Label(Kind::DP, cfg.dpName));
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
    char parent[HQOS_NAME_SIZE];
    HQOS_SonCfg son{};
    if (HQOS_dbmtype_DecapNestKey(kind, record.key.c_str(), parent) != 1 ||
        HQOS_dbmtype_DecapSonCfg(record.value.data(), static_cast<uint16_t>(record.value.size()),
                                 &son) != 0) {
      return kDoesNotDecode;
    }
    const bool isFC = son.value2 == 2;
    const NestingKey key{kind == 1 ? Kind::SP : Kind::FG, parent, isFC ? Kind::FC : Kind::FG,
                         son.name1};
    if (record.key != NestingRowKey(key)) return kOtherName;
    if (son.value2 != (isFC ? 2 : 1) || (isFC && kind == 1)) return "there is no such child";
    const std::string child = son.name1;
    const auto* const fc = isFC ? model_.fcs.Find(child) : nullptr;
    const auto* const fg = isFC ? nullptr : model_.fgs.Find(child);
    if (fc == nullptr && fg == nullptr) return "the child does not exist";
    if ((fc != nullptr ? fc->id : fg->id) != son.value1) return "the child has another identifier";
    std::string fp = son.name2;
    if (!fp.empty() && model_.fps.Find(fp) == nullptr) {
      reduced_[record.key] = fmt::format("kept without FP {}, which does not exist", fp);
      fp.clear();
    }
    return Try([&] {
      const Parent p = kind == 1 ? GetSPParent(model_, parent) : GetFGParent(model_, parent);
      if (isFC) {
        NestFC(model_, p, child, fp);
      } else {
        NestFG(model_, p, child, son.rule, fp);
      }
    });
  }

  std::string CheckFC(const std::string& name) {
    const auto* const fc = model_.fcs.Find(name);
    if (fc == nullptr || !fc->value.parents.empty()) return "";
    model_.fcs.Remove(name);
    return "the FC is nested nowhere";
  }

  std::string LoadApplication(const StoredRecord& record) {
    HQOS_ApplyInfo info{};
    if (!DecodeApply(record.value.data(), record.value.size(), info)) return kDoesNotDecode;
    const bool isInterface = info.obj.type == HQOS_APPOBJ_IFINDEX;
    const ApplyKey key{info.obj.type, info.obj.name, isInterface ? 0 : info.obj.value,
                       info.obj.param};
    if (ApplicationKey(key) != record.key) return kOtherName;
    const auto* const sp = model_.sps.Find(std::string(info.sp.name));
    if (sp == nullptr) return Label(Kind::SP, info.sp.name) + " does not exist";
    return Try([&] { Enter(model_, *sp, key, isInterface ? info.obj.value : 0); });
  }

  // Those of applications that exist; others follow from nothing.
  void LoadClasses() {
    for (auto& [key, application] : model_.applications) {
      if (key.type != HQOS_APPOBJ_IFINDEX) continue;
      ForEach(ClassKeyPrefix(key), [&, &key = key, &classes = application.classes](auto& r, auto&) {
        StoredClass stored{};
        if (!Decode(kStoredClass, r.value.data(), r.value.size(), stored)) return kDoesNotDecode;
        SonPath path;
        std::copy(std::begin(stored.path), std::end(stored.path), path.begin());
        classes[path] = {stored.minor, stored.ownLeaf, stored.basePackets, stored.baseBytes,
                         stored.baseDrops};
        model_.dirtyClasses.emplace(key, path);
        return "";
      });
    }
  }

  // Compares the records with those that the model would produce, and repairs differences. This
  // also catches records that were only partly decoded, and run-time state of another
  // configuration.
  void Compare() {
    std::map<std::string, Bytes> rows{{HQOSD_KEY_VERSION, VersionValue()}};
    for (Change& change : TakeChanges(model_)) {
      if (change.value) rows[change.key] = std::move(*change.value);
    }
    for (const StoredRecord& record : records_) {
      if (record.isSound && IsOfWholeState(record.key)) continue;
      const auto row = rows.find(record.key);
      const bool wanted = row != rows.end();
      if (wanted && record.isSound && row->second == record.value) {
        rows.erase(row);
      } else if (!wanted &&
                 (record.key.starts_with(kKeyIfRun) || record.key.starts_with(kKeyClass))) {
        repairs_.push_back({record.key, {}, {}});  // it follows from other records
      } else if (!bad_.contains(record.key)) {
        const auto reduced = reduced_.find(record.key);
        Quarantine(record.key, !record.isSound             ? kWrongSum
                               : reduced != reduced_.end() ? reduced->second
                               : wanted ? "the record is not that of the other records"
                                        : "nothing is known of this key");
      }
    }
    for (auto& [key, value] : rows) repairs_.push_back({key, std::move(value), {}});
  }

  const std::vector<StoredRecord>& records_;
  Model& model_;
  std::vector<Change> repairs_;
  std::set<std::string> bad_;
  std::map<std::string, std::string> reduced_;  // records kept in part, and why
};

}  // namespace

std::vector<Change> Load(const std::vector<StoredRecord>& records, Model& model) {
  return Loader(records, model).LoadAll();
}

std::string PrintableKey(std::string key) {
  std::replace_if(
      key.begin(), key.end(), [](unsigned char c) { return c < 0x20; }, '/');
  return Shown(key);
}

}  // namespace hqosd
