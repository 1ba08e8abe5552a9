// The hierarchy below SPs: who is nested where, and the walk over it.
#pragma once

#include <string>
#include <vector>

#include "service/model/model.h"

namespace hqosd {

constexpr int kLevels = 5;  // below an SP

// A parent: an SP or an FG.
struct Parent {
  Kind kind;  // SP or FG
  std::string name;
  uint16_t id;
  Children* children;
  bool isSP() const { return kind == Kind::SP; }
};

// A child of either kind, by the identifier under which it is nested.
struct Child {
  Kind kind;  // FG or FC
  const std::string* name;
  uint16_t kindNumber() const { return kind == Kind::FC ? 2 : 1; }  // as records have it
};
Child ChildOf(const Model& model, uint16_t id);

// Whether the FG `childId` may be nested below the FG `parentId`: no cycle, and no more levels than
// there are. For an SP as the parent, parentId is HQOS_ID_NONE.
bool FitsBelow(const Model& model, uint16_t parentId, uint16_t childId);

// Whether no SP or FG would have more than kMaxDescendants.
constexpr uint32_t kMaxDescendants = 65536;
bool FitsLimit(const Model& model, const Parent& parent, uint16_t childId);

// Enters and removes a nesting, on both ends; an FC without any ceases to exist.
void Nest(Model& model, const Parent& parent, uint16_t childId, Nesting nesting);
void Unnest(Model& model, const Parent& parent, uint16_t childId);

// Marks the run-time state of all SPs above the parent dirty, wherever they are applied.
void MarkRunsDirty(Model& model, const Parent& parent);

// Sets the unit of an SP, an HQOS_SPUnit; throws a Refusal for another.
void SetUnit(Model& model, ObjectTable<SP>::Object& sp, uint32_t unit);

// A user of the FP: "FG voice below SP gold".
std::string UserOf(const Model& model, const std::string& fp);

// Moves `path` to the child that follows it below the SP, depth first, siblings by identifier; the
// path need not exist. Null when none follows.
const Nesting* NextSon(const Model& model, const SP& sp, HQOS_SPSonPath& path);

// The children on the path down to the one at `path`, which must exist; it is the last of them.
struct PathNode {
  Child child;
  const Nesting* nesting;
};
std::vector<PathNode> PathTo(const Model& model, const SP& sp, const HQOS_SPSonPath& path);

// Their names.
std::vector<std::string> Names(const std::vector<PathNode>& path);

}  // namespace hqosd
