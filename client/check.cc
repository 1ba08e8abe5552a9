#include "client/check.h"

#include <algorithm>
#include <vector>

#include "client/keywords.h"
#include "client/rule_text.h"

namespace client {

namespace {

constexpr int kLevels = 5;                   // below an SP
constexpr uint64_t kMaxDescendants = 65536;  // of an SP or FG, once for every path to them

Path ChildPath(const char* kind, const std::string& parent, const Child& child) {
  return {kind, parent, "children", std::to_string(child.place)};
}

// ---- References and identifiers ----

template <class Objects>
void CheckReference(const Objects& objects, const char* kind, const std::string& name, Path path,
                    Faults& faults) {
  if (name.empty() || objects.contains(name)) return;
  faults.push_back({std::move(path), std::string(kind) + " " + name + " has no table"});
}

void CheckChildReferences(const Model& model, const char* kind, const std::string& parent,
                          const Children& children, Faults& faults) {
  for (const auto& [key, child] : children) {
    const Path path = ChildPath(kind, parent, child);
    const auto at = [&path](const char* last) {
      Path below = path;
      below.emplace_back(last);
      return below;
    };
    if (key.first == ChildKind::kFG) {
      CheckReference(model.fg, "FG", key.second, at("fg"), faults);
    }
    CheckReference(model.fp, "FP", child.fp, at("fp"), faults);
  }
}

void CheckReferences(const Model& model, Faults& faults) {
  for (const auto& [name, sp] : model.sp) {
    CheckChildReferences(model, "sp", name, sp.children, faults);
  }
  for (const auto& [name, fg] : model.fg) {
    CheckChildReferences(model, "fg", name, fg.children, faults);
  }
  for (const auto& [name, fp] : model.fp) {
    CheckReference(model.dp, "DP", fp.dp, {"fp", name, "dp"}, faults);
  }
  for (const auto& [target, application] : model.apply) {
    CheckReference(model.sp, "SP", application.sp,
                   {"apply", std::to_string(application.place), "sp"}, faults);
  }
}

template <class Objects>
void CheckIds(const Objects& objects, const char* kind, const char* title, Faults& faults) {
  std::map<uint16_t, const std::string*> owners;
  for (const auto& [name, object] : objects) {
    if (!object.id) continue;
    const auto [owner, isNew] = owners.try_emplace(*object.id, &name);
    if (isNew) continue;
    faults.push_back({{kind, name, "id"},
                      "identifier " + std::to_string(*object.id) + " belongs to " + title + " " +
                          *owner->second + " already"});
  }
}

// ---- Rules of siblings ----

// A range of a child's rule.
struct Span {
  HQOS_ValueRange range;
  const Children::value_type* child;
};

std::string Quoted(const Children::value_type& child) {
  return "FG " + child.first.second + " (" + RuleText(child.second.rule) + ")";
}

// Reports each child whose values begin before those of another end, once.
void CheckOverlaps(const char* kind, const std::string& parent, std::vector<Span>& spans,
                   Faults& faults) {
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return a.range.low < b.range.low; });
  const Span* widest = nullptr;
  std::map<const void*, bool> reported;
  for (const Span& span : spans) {
    if (widest != nullptr && span.range.low <= widest->range.high && span.child != widest->child) {
      // Reported at the later of the two.
      const bool isLater = span.child->second.place > widest->child->second.place;
      const auto& later = isLater ? *span.child : *widest->child;
      const auto& earlier = isLater ? *widest->child : *span.child;
      if (reported.try_emplace(&later, true).second) {
        Path path = ChildPath(kind, parent, later.second);
        path.emplace_back("match");
        faults.push_back({std::move(path),
                          "the rule of " + Quoted(later) + " overlaps that of " + Quoted(earlier)});
      }
    }
    if (widest == nullptr || span.range.high > widest->range.high) widest = &span;
  }
}

// The rules of siblings have one match type and no value in common; one of them may be a group.
void CheckSiblings(const char* kind, const std::string& parent, const Children& children,
                   Faults& faults) {
  std::vector<const Children::value_type*> inOrder;
  for (const auto& child : children) {
    if (child.first.first == ChildKind::kFG) inOrder.push_back(&child);
  }
  std::sort(inOrder.begin(), inOrder.end(),
            [](const auto* a, const auto* b) { return a->second.place < b->second.place; });
  const Children::value_type *group = nullptr, *typed = nullptr;
  std::vector<Span> spans;
  for (const auto* const child : inOrder) {
    const HQOS_MatchRule& rule = child->second.rule;
    const auto fail = [&](const std::string& why) {
      Path path = ChildPath(kind, parent, child->second);
      path.emplace_back("match");
      faults.push_back({std::move(path), why});
    };
    const auto*& first = rule.type == HQOS_MATCH_GROUP ? group : typed;
    if (first == nullptr) first = child;
    if (rule.type == HQOS_MATCH_GROUP) {
      if (child != group) fail(Quoted(*child) + ": " + Quoted(*group) + " is the group already");
    } else if (rule.type != typed->second.rule.type) {
      fail(Quoted(*child) + ": " + Quoted(*typed) + " has a rule of another match type");
    } else {
      for (const HQOS_ValueRange& range : rule.ranges) {
        if (range.low != HQOS_RANGE_UNUSED) spans.push_back({range, child});
      }
    }
  }
  CheckOverlaps(kind, parent, spans, faults);
}

// ---- Levels ----

// Walks down from every FG once.
class Levels {
 public:
  Levels(const Model& model, Faults& faults) : model_(model), faults_(faults) {}

  void Check() {
    for (const auto& [name, fg] : model_.fg) Visit(name);
    for (const auto& [name, sp] : model_.sp) {
      CheckCount("sp", "SP", name, Descendants(sp.children));
    }
  }

 private:
  struct State {
    bool isOpen = true;  // on the walk's current path
    int levels = 1;      // of the FG with what is below it
    uint64_t descendants = 0;
    std::string deepest;  // the path down to the lowest level
  };

  const State& Visit(const std::string& name) {
    const auto [found, isNew] = states_.try_emplace(name);
    State& state = found->second;  // stays where it is when others are added
    if (!isNew) return state;
    const auto fg = model_.fg.find(name);
    static const Children kNone;
    const Children& children = fg == model_.fg.end() ? kNone : fg->second.children;
    state.deepest = "FG " + name;
    for (const auto& child : children) VisitChild(name, child, state);
    state.isOpen = false;
    state.descendants = Descendants(children);
    CheckCount("fg", "FG", name, state.descendants);
    return state;
  }

  void VisitChild(const std::string& name, const Children::value_type& child, State& state) {
    const auto& [key, nesting] = child;
    const auto fail = [&, &nesting = nesting](const std::string& why) {
      faults_.push_back({ChildPath("fg", name, nesting), why});
    };
    int levels = 2;
    std::string deepest = "FC " + key.second;
    if (key.first == ChildKind::kFG) {
      const State& below = Visit(key.second);
      if (below.isOpen) return fail("FG " + key.second + " below FG " + name + " makes a cycle");
      levels = below.levels + 1;
      deepest = below.deepest;
    }
    deepest = "FG " + name + " > " + deepest;
    if (levels == kLevels + 1) {
      fail(deepest + ": more than five levels");
      return;  // reported once: what is above counts as deep as is allowed
    }
    if (levels <= state.levels) return;
    state.levels = levels;
    state.deepest = std::move(deepest);
  }

  uint64_t Descendants(const Children& children) {
    uint64_t count = children.size();
    for (const auto& [key, child] : children) {
      if (key.first == ChildKind::kFG) count += Visit(key.second).descendants;
    }
    return std::min(count, uint64_t{1} << 32);
  }

  void CheckCount(const char* kind, const char* title, const std::string& name, uint64_t count) {
    if (count <= kMaxDescendants) return;
    faults_.push_back({{kind, name},
                       std::string(title) + " " + name + " has more than " +
                           std::to_string(kMaxDescendants) + " children at all depths"});
  }

  const Model& model_;
  Faults& faults_;
  std::map<std::string, State> states_;
};

// ---- Applications ----

// One that is applied in both directions leaves no room for another.
void CheckTargets(const Model& model, Faults& faults) {
  for (const auto& [target, application] : model.apply) {
    if (target.direction != HQOS_DIR_BOTH) continue;
    for (const uint32_t direction : {HQOS_DIR_INBOUND, HQOS_DIR_OUTBOUND}) {
      Target other = target;
      other.direction = direction;
      const auto found = model.apply.find(other);
      if (found == model.apply.end()) continue;
      const bool isLater = application.place > found->second.place;
      const auto place = isLater ? application.place : found->second.place;
      faults.push_back(
          {{"apply", std::to_string(place)},
           TargetText(target) + " and " + TargetText(other) + " are one place for two SPs"});
    }
  }
}

}  // namespace

Faults Check(const Model& model) {
  Faults faults;
  CheckReferences(model, faults);
  CheckIds(model.sp, "sp", "SP", faults);
  CheckIds(model.fg, "fg", "FG", faults);
  CheckIds(model.fp, "fp", "FP", faults);
  CheckIds(model.dp, "dp", "DP", faults);
  for (const auto& [name, sp] : model.sp) CheckSiblings("sp", name, sp.children, faults);
  for (const auto& [name, fg] : model.fg) CheckSiblings("fg", name, fg.children, faults);
  Levels(model, faults).Check();
  CheckTargets(model, faults);
  return faults;
}

}  // namespace client
