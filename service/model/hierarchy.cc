#include "service/model/hierarchy.h"

#include "service/model/objects.h"

namespace hqosd {

namespace {

using Ids = std::set<uint16_t>;

// The FGs one level up, and the children one level down.
Ids ParentFGs(const Model& model, const Ids& fgs) {
  Ids above;
  for (const uint16_t id : fgs) {
    const Parents& parents = model.fgs.All().at(id).value.parents;
    above.insert(parents.fgs.begin(), parents.fgs.end());
  }
  return above;
}

Ids ChildrenBelow(const Model& model, const Ids& fgs) {
  Ids below;
  for (const uint16_t id : fgs) {
    for (const auto& [childId, nesting] : model.fgs.All().at(id).value.children)
      below.insert(childId);
  }
  return below;
}

// Of a set of children, the FGs.
Ids OnlyFGs(const Model& model, const Ids& children) {
  Ids fgs;
  for (const uint16_t id : children) {
    if (model.fgs.All().contains(id)) fgs.insert(id);
  }
  return fgs;
}

Parents& ParentsOf(Model& model, uint16_t childId) {
  return model.fgs.All().contains(childId) ? model.fgs.At(childId).value.parents
                                           : model.fcs.At(childId).value.parents;
}

const Children* ChildrenOf(const Model& model, uint16_t id) {
  const auto fg = model.fgs.All().find(id);
  return fg == model.fgs.All().end() ? nullptr : &fg->second.value.children;
}

template <class Table>
void FindUser(const Model& model, const Table& parents, const std::string& fp, std::string& user) {
  for (const auto& [id, parent] : parents.All()) {
    for (const auto& [childId, nesting] : parent.value.children) {
      if (nesting.fp != fp) continue;
      const Child child = ChildOf(model, childId);
      user = fmt::format("{} {} below {} {}", Name(child.kind), *child.name, Name(Table::kKind),
                         parent.name);
      return;
    }
  }
}

// By how many descendants the SPs and FGs from the parent up change, with a child that brings
// `count`.
struct DescendantDelta {
  std::map<uint16_t, uint64_t> sps, fgs;
};

DescendantDelta DeltaAbove(const Model& model, const Parent& parent, uint64_t count) {
  DescendantDelta delta;
  std::map<uint16_t, uint64_t> level;
  (parent.isSP() ? delta.sps : level)[parent.id] = count;
  while (!level.empty()) {
    std::map<uint16_t, uint64_t> above;
    for (const auto& [id, more] : level) {
      delta.fgs[id] += more;
      const Parents& parents = model.fgs.All().at(id).value.parents;
      for (const uint16_t fg : parents.fgs) above[fg] += more;
      for (const uint16_t sp : parents.sps) delta.sps[sp] += more;
    }
    level = std::move(above);
  }
  return delta;
}

// What a child brings: itself and what is below it.
uint64_t CountWith(const Model& model, uint16_t childId) {
  const auto fg = model.fgs.All().find(childId);
  return 1 + (fg == model.fgs.All().end() ? 0 : uint64_t{fg->second.value.descendants});
}

// Adds the child's count to the numbers above, or subtracts it (sign -1).
void UpdateCounts(Model& model, const Parent& parent, uint16_t childId, int sign) {
  const DescendantDelta delta = DeltaAbove(model, parent, CountWith(model, childId));
  const auto add = [sign](uint32_t& count, uint64_t more) {
    count = static_cast<uint32_t>(sign > 0 ? count + more : count - more);
  };
  for (const auto& [id, more] : delta.sps) add(model.sps.At(id).value.descendants, more);
  for (const auto& [id, more] : delta.fgs) add(model.fgs.At(id).value.descendants, more);
}

}  // namespace

bool FitsLimit(const Model& model, const Parent& parent, uint16_t childId) {
  const DescendantDelta delta = DeltaAbove(model, parent, CountWith(model, childId));
  const auto fits = [](const auto& table, const auto& more) {
    return std::all_of(more.begin(), more.end(), [&](const auto& entry) {
      return table.All().at(entry.first).value.descendants + entry.second <= kMaxDescendants;
    });
  };
  return fits(model.sps, delta.sps) && fits(model.fgs, delta.fgs);
}

Child ChildOf(const Model& model, uint16_t id) {
  const auto fg = model.fgs.All().find(id);
  if (fg != model.fgs.All().end()) return {Kind::FG, &fg->second.name};
  return {Kind::FC, &model.fcs.All().at(id).name};
}

bool FitsBelow(const Model& model, uint16_t parentId, uint16_t childId) {
  int levels = 0;
  if (parentId != HQOS_ID_NONE) {
    for (Ids above = {parentId}; !above.empty(); above = ParentFGs(model, above)) ++levels;
  }
  for (Ids below = {childId}; !below.empty() && levels <= kLevels; ++levels) {
    if (below.contains(parentId)) return false;
    const Ids fgs = OnlyFGs(model, below);
    below = ChildrenBelow(model, fgs);
  }
  return levels <= kLevels;
}

void MarkRunsDirty(Model& model, const Parent& parent) {
  Ids sps, fgs;
  (parent.isSP() ? sps : fgs).insert(parent.id);
  for (Ids above = fgs; !above.empty(); above = ParentFGs(model, above)) {
    for (const uint16_t id : above) {
      const Ids& more = model.fgs.At(id).value.parents.sps;
      sps.insert(more.begin(), more.end());
    }
  }
  for (const auto& [key, application] : model.applications) {
    if (sps.contains(application.sp)) model.dirtyRuns.emplace(key, application.ifIndex);
  }
}

namespace {

void MarkDirty(Model& model, const Parent& parent, uint16_t childId) {
  const Child child = ChildOf(model, childId);
  model.dirtyNestings.insert({parent.kind, parent.name, child.kind, *child.name});
  MarkRunsDirty(model, parent);
}

}  // namespace

void Nest(Model& model, const Parent& parent, uint16_t childId, Nesting nesting) {
  if (!nesting.fp.empty()) ++model.fps.Find(nesting.fp)->value.uses;
  Parents& parents = ParentsOf(model, childId);
  (parent.isSP() ? parents.sps : parents.fgs).insert(parent.id);
  parent.children->emplace(childId, std::move(nesting));
  UpdateCounts(model, parent, childId, 1);
  MarkDirty(model, parent, childId);
}

void Unnest(Model& model, const Parent& parent, uint16_t childId) {
  MarkDirty(model, parent, childId);
  UpdateCounts(model, parent, childId, -1);
  const auto nesting = parent.children->find(childId);
  if (!nesting->second.fp.empty()) --model.fps.Find(nesting->second.fp)->value.uses;
  parent.children->erase(nesting);
  Parents& parents = ParentsOf(model, childId);
  (parent.isSP() ? parents.sps : parents.fgs).erase(parent.id);
  const auto* const fc = model.fcs.Find(childId);
  if (fc == nullptr || !parents.empty()) return;
  model.fcs.Remove(std::string(fc->name));
  model.fcIdHint = std::max(model.fcIdHint, childId);
}

void SetUnit(Model& model, ObjectTable<SP>::Object& sp, uint32_t unit) {
  if (unit != HQOS_SPUNIT_BYTE_COUNT && unit != HQOS_SPUNIT_WEIGHT) {
    Refuse(HQOSD_BAD_VALUE, "{}: there is no unit {}", Label(Kind::SP, sp.name), unit);
  }
  sp.value.unit = unit;
  model.sps.MarkDirty(sp.name);
  MarkRunsDirty(model, {Kind::SP, sp.name, sp.id, &sp.value.children});
}

std::string UserOf(const Model& model, const std::string& fp) {
  std::string user;
  FindUser(model, model.sps, fp, user);
  if (user.empty()) FindUser(model, model.fgs, fp, user);
  return user;
}

const Nesting* NextSon(const Model& model, const SP& sp, HQOS_SPSonPath& path) {
  // The siblings at each level of the path, as far as it exists, and one level more.
  const Children* siblings[kLevels + 1] = {nullptr, &sp.children};
  int level = 1;
  while (path.field[level] != HQOS_PATH_UNSET && siblings[level]->contains(path.field[level])) {
    const Children* const below = ChildrenOf(model, path.field[level]);
    if (level == kLevels || below == nullptr) break;
    siblings[++level] = below;
  }
  // The first sibling after the path at the deepest level, or further up.
  for (; level >= 1; --level) {
    const uint16_t id = path.field[level];
    const auto next =
        id == HQOS_PATH_UNSET ? siblings[level]->begin() : siblings[level]->upper_bound(id);
    if (next == siblings[level]->end()) continue;
    path.field[level] = next->first;
    std::fill(path.field + level + 1, path.field + kLevels + 1, uint16_t{HQOS_PATH_UNSET});
    return &next->second;
  }
  return nullptr;
}

std::vector<PathNode> PathTo(const Model& model, const SP& sp, const HQOS_SPSonPath& path) {
  std::vector<PathNode> nodes;
  const Children* siblings = &sp.children;
  for (int level = 1; level <= kLevels && path.field[level] != HQOS_PATH_UNSET; ++level) {
    const uint16_t id = path.field[level];
    nodes.push_back({ChildOf(model, id), &siblings->at(id)});
    siblings = ChildrenOf(model, id);
  }
  return nodes;
}

std::vector<std::string> Names(const std::vector<PathNode>& path) {
  std::vector<std::string> names;
  names.reserve(path.size());
  for (const PathNode& node : path) names.push_back(*node.child.name);
  return names;
}

}  // namespace hqosd
