#include "fuzz/invariants.h"

#include "dbmtype/records.h"
#include "fuzz/require.h"
#include "service/model/applications.h"
#include "service/model/hierarchy.h"
#include "service/model/objects.h"

namespace fuzz {

namespace {

using hqosd::Children;
using hqosd::Model;

// ---- Objects ------------------------------------------------------------------------------------

template <class Table>
void CheckTable(const Table& table) {
  uint16_t free = 0;
  for (const auto& [id, object] : table.All()) {
    Require(id != HQOS_ID_NONE && id == object.id, "an object is found by its identifier",
            object.name);
    Require(hqosd::IsStoredName(object.name) && object.name.size() < HQOS_NAME_SIZE,
            "a name is 1 to 31 characters without control characters", object.name);
    Require(table.Find(object.name) == &object, "an object is found by its name", object.name);
    if (id == free) ++free;
  }
  Require(table.FreeId() == free, "the free identifier is the lowest");
}

// FGs and FCs have their identifiers from one range, at whose upper end the FCs are.
void CheckSharedIds(const Model& model) {
  size_t above = 0;
  for (const auto& [id, fc] : model.fcs.All()) {
    Require(!model.fgs.All().contains(id), "no FG has the identifier of FC", fc.name);
    if (id > model.fcIdHint) ++above;
  }
  for (const auto& [id, fg] : model.fgs.All()) {
    if (id > model.fcIdHint) ++above;
  }
  Require(above == HQOS_ID_NONE - 1u - model.fcIdHint, "no identifier above the hint is free");
}

// ---- Rules --------------------------------------------------------------------------------------

// In its shortest form: at least one range, in ascending order with a gap between two of them, in
// the range of its type; the rest is empty.
void CheckValues(const HQOS_MatchRule& rule, const std::string& child) {
  uint16_t min, max;
  Require(HQOS_util_GetValueRangeByType(rule.type, &min, &max) == 0, "a rule has a type", child);
  Require(rule.ranges[0].low != HQOS_RANGE_UNUSED, "a rule has values", child);
  uint32_t lowest = min;
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) {
      Require(range.high == HQOS_RANGE_UNUSED, "an empty range has no end", child);
      lowest = HQOS_RANGE_UNUSED;
      continue;
    }
    Require(range.low >= lowest && range.low <= range.high && range.high <= max,
            "a rule is in its shortest form", child);
    lowest = range.high + 2u;
  }
}

// Siblings have rules of one type without a value in common; one of them may be a group.
void CheckSiblings(const Model& model, const Children& children) {
  int groups = 0;
  uint32_t type = HQOS_MATCH_NONE;
  std::vector<std::pair<uint16_t, uint16_t>> values;
  for (const auto& [id, nesting] : children) {
    const hqosd::Child child = hqosd::ChildOf(model, id);
    const HQOS_MatchRule& rule = nesting.rule;
    const bool isFC = child.kindNumber() == 2;
    Require(isFC == (rule.type == HQOS_MATCH_NONE), "FGs have rules, FCs have none", *child.name);
    if (isFC || rule.type == HQOS_MATCH_GROUP) {
      const HQOS_MatchRule empty = hqos::EmptyRule(rule.type);
      Require(std::memcmp(&rule, &empty, sizeof rule) == 0, "a rule without values", *child.name);
      if (!isFC) ++groups;
      continue;
    }
    CheckValues(rule, *child.name);
    Require(type == HQOS_MATCH_NONE || type == rule.type, "siblings' rules have one type",
            *child.name);
    type = rule.type;
    for (const HQOS_ValueRange& range : rule.ranges) {
      if (range.low != HQOS_RANGE_UNUSED) values.emplace_back(range.low, range.high);
    }
  }
  Require(groups <= 1, "one child at most is the group");
  std::sort(values.begin(), values.end());
  for (size_t i = 1; i < values.size(); ++i) {
    Require(values[i].first > values[i - 1].second, "siblings have no value in common");
  }
}

// ---- Hierarchy ----------------------------------------------------------------------------------

// Counts what is below, by the children alone.
class Counter {
 public:
  explicit Counter(const Model& model) : model_(model) {}

  struct Below {
    uint64_t descendants;
    int levels;
  };

  Below Of(const Children& children, int above = 0) {
    Require(above <= hqosd::kLevels, "there are five levels, and no cycle");
    Below all{0, 0};
    for (const auto& [id, nesting] : children) {
      const auto fg = model_.fgs.All().find(id);
      Below below{0, 0};
      if (fg != model_.fgs.All().end()) {
        auto known = known_.find(id);
        if (known == known_.end()) {
          known = known_.emplace(id, Of(fg->second.value.children, above + 1)).first;
        }
        below = known->second;
      }
      all.descendants += 1 + below.descendants;
      all.levels = std::max(all.levels, 1 + below.levels);
    }
    return all;
  }

 private:
  const Model& model_;
  std::map<uint16_t, Below> known_;
};

struct Uses {
  std::map<std::string, uint32_t> fps;
  size_t fgNestings = 0, fcNestings = 0;
};

template <class Object>
void CheckParent(const Model& model, const Object& parent, bool isSP, Counter& counter,
                 Uses& uses) {
  const Children& children = parent.value.children;
  for (const auto& [id, nesting] : children) {
    const auto fg = model.fgs.All().find(id);
    const auto fc = model.fcs.All().find(id);
    const bool isFG = fg != model.fgs.All().end();
    Require(isFG || (!isSP && fc != model.fcs.All().end()), "a child exists below", parent.name);
    const hqosd::Parents& parents = isFG ? fg->second.value.parents : fc->second.value.parents;
    Require((isSP ? parents.sps : parents.fgs).contains(parent.id), "a child lists its parent",
            parent.name);
    ++(isFG ? uses.fgNestings : uses.fcNestings);
    if (!nesting.fp.empty()) ++uses.fps[nesting.fp];
  }
  CheckSiblings(model, children);
  const Counter::Below below = counter.Of(children);
  Require(
      below.descendants == parent.value.descendants && below.descendants <= hqosd::kMaxDescendants,
      "the children at all depths are counted", parent.name);
  // An FG is itself on a level.
  Require(below.levels + (isSP ? 0 : 1) <= hqosd::kLevels, "there are five levels", parent.name);
}

template <class Table>
size_t ListedParents(const Table& table) {
  size_t all = 0;
  for (const auto& [id, child] : table.All()) {
    all += child.value.parents.sps.size() + child.value.parents.fgs.size();
  }
  return all;
}

void CheckHierarchy(const Model& model) {
  Counter counter(model);
  Uses uses;
  for (const auto& [id, sp] : model.sps.All()) CheckParent(model, sp, true, counter, uses);
  for (const auto& [id, fg] : model.fgs.All()) CheckParent(model, fg, false, counter, uses);
  // Every nesting has been found at its child: as many are listed, so none is listed in vain.
  Require(uses.fgNestings == ListedParents(model.fgs), "an FG lists its parents only");
  Require(uses.fcNestings == ListedParents(model.fcs), "an FC lists its parents only");
  for (const auto& [id, fc] : model.fcs.All()) {
    Require(!fc.value.parents.empty(), "an FC is nested", fc.name);
  }
  for (const auto& [id, fp] : model.fps.All()) {
    Require(fp.value.uses == uses.fps[fp.name], "the uses of an FP are counted", fp.name);
  }
  Require(uses.fps.size() == model.fps.All().size(), "an FP that is used exists");
}

void CheckDPs(const Model& model) {
  std::map<uint16_t, uint32_t> uses;
  constexpr uint32_t kKnown = HQOS_FPI_GTS | HQOS_FPI_DPREF | HQOS_FPI_QUEUE | HQOS_FPI_BANDWIDTH;
  for (const auto& [id, fp] : model.fps.All()) {
    const HQOS_FPInfo& settings = fp.value.settings;
    Require((settings.flags & ~kKnown) == 0, "the flags of an FP are known", fp.name);
    if ((settings.flags & HQOS_FPI_DPREF) == 0) continue;
    Require(model.dps.All().contains(settings.dpId), "the DP of an FP exists", fp.name);
    ++uses[settings.dpId];
  }
  for (const auto& [id, dp] : model.dps.All()) {
    Require(dp.value.uses == uses[id], "the uses of a DP are counted", dp.name);
  }
}

// ---- Applications -------------------------------------------------------------------------------

// Whether requests can name what the key means.
bool IsSound(const hqosd::ApplyKey& key) {
  if (key.param > HQOS_DIR_BOTH) return false;
  switch (key.type) {
    case HQOS_APPOBJ_SLOT:
    case HQOS_APPOBJ_ID:
      return key.name.empty() && key.value <= UINT16_MAX;
    case HQOS_APPOBJ_SYSTEM:
      return key.name.empty() && key.value == 0;
    case HQOS_APPOBJ_IFINDEX:
      return !key.name.empty() && key.name.size() < HQOS_APPOBJ_NAME_SIZE && key.value == 0;
    default:
      return false;
  }
}

void CheckApplications(const Model& model) {
  std::set<std::pair<uint32_t, uint32_t>> indexes;
  for (const auto& [key, application] : model.applications) {
    const std::string place = hqosd::TargetText(key);
    Require(IsSound(key), "an SP is applied to an object that there can be", place);
    Require(model.sps.All().contains(application.sp), "the SP exists that is applied to", place);
    if (key.param != HQOS_DIR_BOTH) {
      hqosd::ApplyKey both = key;
      both.param = HQOS_DIR_BOTH;
      Require(!model.applications.contains(both), "one SP is applied to", place);
    }
    if (key.type != HQOS_APPOBJ_IFINDEX) continue;
    Require(indexes.emplace(application.ifIndex, key.param).second,
            "an index belongs to one interface in each direction", place);
  }
}

}  // namespace

void CheckInvariants(const Model& model) {
  CheckTable(model.sps);
  CheckTable(model.fgs);
  CheckTable(model.fcs);
  CheckTable(model.fps);
  CheckTable(model.dps);
  CheckSharedIds(model);
  for (const auto& [id, sp] : model.sps.All()) {
    Require(sp.value.unit <= HQOS_SPUNIT_WEIGHT, "the unit of an SP is known", sp.name);
  }
  CheckHierarchy(model);
  CheckDPs(model);
  CheckApplications(model);
}

}  // namespace fuzz
