// The hierarchy below SPs: who is nested where, and the walk over it.
#pragma once

#include <string>
#include <vector>

#include "service/model.h"

namespace hqosd {

constexpr int kLevels = 5;  // below an SP

// The empty rule, but for its type.
inline HQOS_MatchRule EmptyRule(uint32_t type) {
  HQOS_MatchRule rule{type, {}};
  for (HQOS_ValueRange& range : rule.ranges) range = {HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED};
  return rule;
}

// A parent: an SP or an FG.
struct Parent {
  const char* kind;  // "SP" or "FG"
  std::string name;
  uint16_t id;
  Children* children;
  bool isSP() const { return kind[0] == 'S'; }
};

// A child of either kind, by the identifier under which it is nested.
struct Child {
  const char* kind;  // "FG" or "FC"
  const std::string* name;
  uint16_t kindNumber() const { return kind[1] == 'C' ? 2 : 1; }  // as records have it
};
Child ChildOf(const Model& model, uint16_t id);

// Whether the FG `childId` may be nested below the FG `parentId`: no cycle, and no more levels than
// there are. For an SP as the parent, parentId is HQOS_ID_NONE.
bool FitsBelow(const Model& model, uint16_t parentId, uint16_t childId);

// Whether no SP or FG would have more than kMostSons children at all depths.
constexpr uint32_t kMostSons = 65536;
bool HasRoomFor(const Model& model, const Parent& parent, uint16_t childId);

// Enters and removes a nesting, on both ends; an FC without any ceases to exist.
void Nest(Model& model, const Parent& parent, uint16_t childId, Nesting nesting);
void Unnest(Model& model, const Parent& parent, uint16_t childId);

// Notes that the run-time state of the SPs above the parent, wherever they are applied, is another.
void TouchRuns(Model& model, const Parent& parent);

// Who uses the FP: "FG voice below SP gold".
std::string UserOf(const Model& model, const std::string& fp);

// Moves `path` to the child that follows it below the SP, depth first, siblings by identifier; the
// path need not exist any more. Null when none follows.
const Nesting* NextSon(const Model& model, const SP& sp, HQOS_SPSonPath& path);

// The children on the way down to the one at `path`, which must exist; it is the last of them.
struct Step {
  Child child;
  const Nesting* nesting;
};
std::vector<Step> WayTo(const Model& model, const SP& sp, const HQOS_SPSonPath& path);

// Their names.
std::vector<std::string> Names(const std::vector<Step>& way);

}  // namespace hqosd
