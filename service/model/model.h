// The objects that the service keeps.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "hqos.h"
#include "hqosd.h"
#include "service/model/counters.h"
#include "service/model/interfaces.h"

namespace hqosd {

enum class Kind { SP, FG, FC, FP, DP };

constexpr const char* Name(Kind kind) {
  constexpr const char* kNames[] = {"SP", "FG", "FC", "FP", "DP"};
  return kNames[static_cast<int>(kind)];
}

// Objects of one kind: each has a name and an identifier below HQOS_ID_NONE, both unique.
template <class Value>
class ObjectTable {
 public:
  static constexpr Kind kKind = Value::kKind;

  struct Object {
    std::string name;
    uint16_t id;
    Value value;
  };

  Object* Find(const std::string& name) {
    const auto found = idByName_.find(name);
    return found == idByName_.end() ? nullptr : Find(found->second);
  }
  const Object* Find(const std::string& name) const {
    const auto found = idByName_.find(name);
    return found == idByName_.end() ? nullptr : &byId_.at(found->second);
  }

  Object* Find(uint16_t id) {
    const auto found = byId_.find(id);
    return found == byId_.end() ? nullptr : &found->second;
  }

  // The object that has the identifier; there must be one.
  Object& At(uint16_t id) { return byId_.at(id); }

  // The object with the next higher identifier; HQOS_ID_NONE comes before the first.
  const Object* Next(uint16_t id) const {
    const auto next = id == HQOS_ID_NONE ? byId_.begin() : byId_.upper_bound(id);
    return next == byId_.end() ? nullptr : &next->second;
  }

  // The lowest identifier that is free; HQOS_ID_NONE when there is none.
  uint16_t FreeId() const { return freeId_; }

  // All objects, in order of their identifiers.
  const std::map<uint16_t, Object>& All() const { return byId_; }

  // Name and identifier must be free.
  void Add(const std::string& name, uint16_t id) {
    byId_.emplace(id, Object{name, id, {}});
    idByName_.emplace(name, id);
    while (freeId_ != HQOS_ID_NONE && byId_.contains(freeId_)) ++freeId_;
    MarkDirty(name);
  }

  void Remove(const std::string& name) {
    const auto found = idByName_.find(name);
    freeId_ = std::min(freeId_, found->second);
    byId_.erase(found->second);
    idByName_.erase(found);
    MarkDirty(name);
  }

  // The object has changed since it was stored.
  void MarkDirty(const std::string& name) { dirty_.insert(name); }
  std::set<std::string>& Dirty() { return dirty_; }

 private:
  std::map<uint16_t, Object> byId_;
  std::unordered_map<std::string, uint16_t> idByName_;
  uint16_t freeId_ = 0;
  std::set<std::string> dirty_;
};

// A child in its parent, by the child's identifier, which FGs and FCs have from one range.
struct Nesting {
  HQOS_MatchRule rule;  // type HQOS_MATCH_NONE for an FC
  std::string fp;       // the FP that the child uses; empty: none
};
using Children = std::map<uint16_t, Nesting>;

// Where a child is nested.
struct Parents {
  std::set<uint16_t> sps, fgs;
  bool empty() const { return sps.empty() && fgs.empty(); }
};

struct SP {
  static constexpr Kind kKind = Kind::SP;
  uint32_t unit = HQOS_SPUNIT_BYTE_COUNT;
  Children children;
  uint32_t descendants = 0;  // children at every depth, once for every path to them
};
struct FG {
  static constexpr Kind kKind = Kind::FG;
  Children children;
  uint32_t descendants = 0;  // as an SP's
  Parents parents;
};
struct FC {  // exists while it is nested
  static constexpr Kind kKind = Kind::FC;
  Parents parents;
};
struct FP {
  static constexpr Kind kKind = Kind::FP;
  uint32_t uses = 0;          // nestings that name it
  HQOS_FPInfo settings = {};  // with the DP's identifier; the names and its own are the objects'
};
struct DP {
  static constexpr Kind kKind = Kind::DP;
  uint32_t uses = 0;  // FPs that refer to it
  uint32_t weight = 0;
  HQOS_DPThreshold thresholds[HQOS_DP_THRESHOLDS] = {};
};

// What an SP is applied to. Interfaces are known by name, the others by value.
struct ApplyKey {
  uint32_t type;     // HQOS_AppObjType
  std::string name;  // of an interface
  uint32_t value;    // of a slot or identifier, else 0
  uint32_t param;    // HQOS_Dir
  bool operator<(const ApplyKey& other) const {
    return std::tie(type, name, value, param) <
           std::tie(other.type, other.name, other.value, other.param);
  }
};

// The identifiers on the way down to a child of an SP; HQOS_PATH_UNSET after the last.
using SonPath = std::array<uint16_t, 5>;

// A child's class in the kernel. Its numbers do not change while it exists.
struct KernelClass {
  uint16_t minor = 0;    // number of the class
  uint16_t ownLeaf = 0;  // of its leaf for frames that no child takes; 0: it never had one
  // What classes and queues have counted that are gone, beyond what the kernel counts now.
  uint64_t basePackets = 0, baseBytes = 0, baseDrops = 0;
  uint16_t leaf = 0;  // where its frames wait now that no child takes; 0: one takes all. Not stored
  bool operator==(const KernelClass&) const = default;
};
using KernelClasses = std::map<SonPath, KernelClass>;

struct Application {
  uint16_t sp;
  uint32_t ifIndex;                       // that the interface had when the SP was applied
  KernelClasses classes = {};             // while it is enforced, also that of the SP itself
  uint32_t diag = HQOSD_DIAG_NO_ENFORCE;  // whether it is enforced, as HQOSD_Diag. Not stored
};

// A nesting by names.
struct NestingKey {
  Kind parentKind;
  std::string parent;
  Kind childKind;
  std::string child;
  bool operator<(const NestingKey& other) const {
    return std::tie(parentKind, parent, childKind, child) <
           std::tie(other.parentKind, other.parent, other.childKind, other.child);
  }
};

struct Model {
  ObjectTable<SP> sps;
  ObjectTable<FG> fgs;
  ObjectTable<FC> fcs;
  ObjectTable<FP> fps;
  ObjectTable<DP> dps;
  std::map<ApplyKey, Application> applications;
  // What has changed since it was stored, beside the objects: nestings, applications, and with its
  // index each interface whose run-time state is to be written again.
  std::set<NestingKey> dirtyNestings;
  std::set<ApplyKey> dirtyApplications;
  std::set<std::pair<ApplyKey, uint32_t>> dirtyRuns;
  std::set<std::pair<ApplyKey, SonPath>> dirtyClasses;
  std::map<std::string, int64_t>
      storedRuns;  // rows of run-time state as last taken: their checksums

  void ClearDirty() {
    sps.Dirty().clear();
    fgs.Dirty().clear();
    fcs.Dirty().clear();
    fps.Dirty().clear();
    dps.Dirty().clear();
    dirtyNestings.clear();
    dirtyApplications.clear();
    dirtyRuns.clear();
    dirtyClasses.clear();
  }

  bool IsDirty() { return IsConfigurationDirty() || !dirtyClasses.empty(); }
  bool IsConfigurationDirty() {
    return !sps.Dirty().empty() || !fgs.Dirty().empty() || !fcs.Dirty().empty() ||
           !fps.Dirty().empty() || !dps.Dirty().empty() || !dirtyNestings.empty() ||
           !dirtyApplications.empty() || !dirtyRuns.empty();
  }

  // A copy without counters.
  Model Copy() const {
    Model copy;
    std::tie(copy.sps, copy.fgs, copy.fcs, copy.fps, copy.dps) = std::tie(sps, fgs, fcs, fps, dps);
    copy.applications = applications;
    std::tie(copy.dirtyNestings, copy.dirtyApplications, copy.dirtyRuns, copy.dirtyClasses) =
        std::tie(dirtyNestings, dirtyApplications, dirtyRuns, dirtyClasses);
    copy.storedRuns = storedRuns;
    copy.debug = debug;
    copy.fcIdHint = fcIdHint;
    copy.interfaces = interfaces;
    return copy;
  }

  uint32_t debug = 0;                    // bits of HQOSD_Debug
  uint16_t fcIdHint = HQOS_ID_NONE - 1;  // no identifier above it is free for an FC

  // Injected dependencies; neither is null.
  const InterfaceSource* interfaces = &MachineInterfaces();
  std::unique_ptr<CounterSource> counters = NoCounters();
};

}  // namespace hqosd
