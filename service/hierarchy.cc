#include "service/hierarchy.h"

namespace hqosd {

namespace {

using Ids = std::set<uint16_t>;

// The FGs one level further, up or down.
Ids Upper(const Model& model, const Ids& fgs) {
  Ids upper;
  for (const uint16_t id : fgs) {
    const Parents& parents = model.fgs.All().at(id).value.parents;
    upper.insert(parents.fgs.begin(), parents.fgs.end());
  }
  return upper;
}

Ids Lower(const Model& model, const Ids& fgs) {
  Ids lower;
  for (const uint16_t id : fgs) {
    for (const auto& [childId, nesting] : model.fgs.All().at(id).value.children)
      lower.insert(childId);
  }
  return lower;
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
void FindUser(const Model& model, const Table& parents, const char* kind, const std::string& fp,
              std::string& user) {
  for (const auto& [id, parent] : parents.All()) {
    for (const auto& [childId, nesting] : parent.value.children) {
      if (nesting.fp != fp) continue;
      const Child child = ChildOf(model, childId);
      user = std::string(child.kind) + " " + *child.name + " below " + kind + " " + parent.name;
      return;
    }
  }
}

// How many children more or less the SPs and FGs from the parent up have, with one that brings
// `sons`.
struct Growth {
  std::map<uint16_t, uint64_t> sps, fgs;
};

Growth GrowthAbove(const Model& model, const Parent& parent, uint64_t sons) {
  Growth growth;
  std::map<uint16_t, uint64_t> level;
  (parent.isSP() ? growth.sps : level)[parent.id] = sons;
  while (!level.empty()) {
    std::map<uint16_t, uint64_t> above;
    for (const auto& [id, more] : level) {
      growth.fgs[id] += more;
      const Parents& parents = model.fgs.All().at(id).value.parents;
      for (const uint16_t fg : parents.fgs) above[fg] += more;
      for (const uint16_t sp : parents.sps) growth.sps[sp] += more;
    }
    level = std::move(above);
  }
  return growth;
}

// What a child brings: itself and what is below it.
uint64_t SonsWith(const Model& model, uint16_t childId) {
  const auto fg = model.fgs.All().find(childId);
  return 1 + (fg == model.fgs.All().end() ? 0 : uint64_t{fg->second.value.sons});
}

// Adds the child's to the numbers above, or takes them away (sign -1).
void Count(Model& model, const Parent& parent, uint16_t childId, int sign) {
  const Growth growth = GrowthAbove(model, parent, SonsWith(model, childId));
  const auto add = [sign](uint32_t& sons, uint64_t more) {
    sons = static_cast<uint32_t>(sign > 0 ? sons + more : sons - more);
  };
  for (const auto& [id, more] : growth.sps) add(model.sps.At(id).value.sons, more);
  for (const auto& [id, more] : growth.fgs) add(model.fgs.At(id).value.sons, more);
}

}  // namespace

bool HasRoomFor(const Model& model, const Parent& parent, uint16_t childId) {
  const Growth growth = GrowthAbove(model, parent, SonsWith(model, childId));
  const auto fits = [](const auto& table, const auto& more) {
    return std::all_of(more.begin(), more.end(), [&](const auto& entry) {
      return table.All().at(entry.first).value.sons + entry.second <= kMostSons;
    });
  };
  return fits(model.sps, growth.sps) && fits(model.fgs, growth.fgs);
}

Child ChildOf(const Model& model, uint16_t id) {
  const auto fg = model.fgs.All().find(id);
  if (fg != model.fgs.All().end()) return {"FG", &fg->second.name};
  return {"FC", &model.fcs.All().at(id).name};
}

bool FitsBelow(const Model& model, uint16_t parentId, uint16_t childId) {
  int levels = 0;
  if (parentId != HQOS_ID_NONE) {
    for (Ids above = {parentId}; !above.empty(); above = Upper(model, above)) ++levels;
  }
  for (Ids below = {childId}; !below.empty() && levels <= kLevels; ++levels) {
    if (below.contains(parentId)) return false;
    const Ids fgs = OnlyFGs(model, below);
    below = Lower(model, fgs);
  }
  return levels <= kLevels;
}

void TouchRuns(Model& model, const Parent& parent) {
  Ids sps, fgs;
  (parent.isSP() ? sps : fgs).insert(parent.id);
  for (Ids above = fgs; !above.empty(); above = Upper(model, above)) {
    for (const uint16_t id : above) {
      const Ids& more = model.fgs.At(id).value.parents.sps;
      sps.insert(more.begin(), more.end());
    }
  }
  for (const auto& [key, application] : model.applications) {
    if (sps.contains(application.sp)) model.touchedRuns.emplace(key, application.ifIndex);
  }
}

namespace {

void Touch(Model& model, const Parent& parent, uint16_t childId) {
  const Child child = ChildOf(model, childId);
  model.touchedNestings.emplace(parent.kind, parent.name, child.kind, *child.name);
  TouchRuns(model, parent);
}

}  // namespace

void Nest(Model& model, const Parent& parent, uint16_t childId, Nesting nesting) {
  if (!nesting.fp.empty()) ++model.fps.Find(nesting.fp)->value.uses;
  Parents& parents = ParentsOf(model, childId);
  (parent.isSP() ? parents.sps : parents.fgs).insert(parent.id);
  parent.children->emplace(childId, std::move(nesting));
  Count(model, parent, childId, 1);
  Touch(model, parent, childId);
}

void Unnest(Model& model, const Parent& parent, uint16_t childId) {
  Touch(model, parent, childId);
  Count(model, parent, childId, -1);
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

std::string UserOf(const Model& model, const std::string& fp) {
  std::string user;
  FindUser(model, model.sps, "SP", fp, user);
  if (user.empty()) FindUser(model, model.fgs, "FG", fp, user);
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
  // The first sibling behind the path at the deepest level, or further up.
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

std::vector<Step> WayTo(const Model& model, const SP& sp, const HQOS_SPSonPath& path) {
  std::vector<Step> way;
  const Children* siblings = &sp.children;
  for (int level = 1; level <= kLevels && path.field[level] != HQOS_PATH_UNSET; ++level) {
    const uint16_t id = path.field[level];
    way.push_back({ChildOf(model, id), &siblings->at(id)});
    siblings = ChildrenOf(model, id);
  }
  return way;
}

std::vector<std::string> Names(const std::vector<Step>& way) {
  std::vector<std::string> names;
  names.reserve(way.size());
  for (const Step& step : way) names.push_back(*step.child.name);
  return names;
}

}  // namespace hqosd
