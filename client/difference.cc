#include "client/difference.h"

#include <algorithm>
#include <set>

#include "client/keywords.h"

namespace client {

namespace {

// Collects the changes of one kind of object.
class Comparison {
 public:
  Comparison(const char* kind, std::vector<Change>& changes) : kind_(kind), changes_(changes) {}

  // Two maps by name; `compare` is called with what both have.
  template <class Map, class Describe, class Compare>
  void Walk(const Map& from, const Map& to, const Describe& describe, const Compare& compare) {
    auto a = from.begin();
    auto b = to.begin();
    while (a != from.end() || b != to.end()) {
      if (b == to.end() || (a != from.end() && a->first < b->first)) {
        describe(Change::kRemove, *a++);
      } else if (a == from.end() || b->first < a->first) {
        describe(Change::kAdd, *b++);
      } else {
        compare(*a++, *b++);
      }
    }
  }

  void Put(Change::Op op, const std::string& name, std::string key, Record before, Record after) {
    changes_.push_back(
        {op, kind_, Utf8(name), std::move(key), std::move(before), std::move(after)});
  }

  // The same with a value on one side only.
  void Put(Change::Op op, const std::string& name, std::string key, Record value) {
    Record before;
    if (op == Change::kRemove) before.swap(value);
    Put(op, name, std::move(key), std::move(before), std::move(value));
  }

  // Two records of one object, key by key; children are compared elsewhere.
  void Settings(const std::string& name, const Record& from, const Record& to) {
    if (from == to) return;
    for (const auto& [key, value] : from.items()) {
      if (key == "children") continue;
      const auto other = to.find(key);
      if (other == to.end()) {
        Put(Change::kRemove, name, key, value);
      } else if (*other != value) {
        Put(Change::kChange, name, key, value, *other);
      }
    }
    for (const auto& [key, value] : to.items()) {
      if (key != "children" && !from.contains(key)) Put(Change::kAdd, name, key, value);
    }
  }

  void ChildrenOf(const std::string& name, const Children& from, const Children& to) {
    const auto keyOf = [](const Children::value_type& child) {
      return (child.first.first == ChildKind::kFC ? "fc " : "fg ") + Utf8(child.first.second);
    };
    const auto describe = [&](Change::Op op, const Children::value_type& child) {
      Put(op, name, keyOf(child), RecordOf(child));
    };
    const auto compare = [&](const auto& a, const auto& b) {
      Record before = RecordOf(a), after = RecordOf(b);
      if (before != after) {
        Put(Change::kChange, name, keyOf(a), std::move(before), std::move(after));
      }
    };
    Walk(from, to, describe, compare);
  }

 private:
  const char* kind_;
  std::vector<Change>& changes_;
};

template <class Map, class CompareChildren>
void CompareObjects(const char* kind, const Map& from, const Map& to, std::vector<Change>& changes,
                    const CompareChildren& compareChildren) {
  Comparison comparison(kind, changes);
  const auto describe = [&](Change::Op op, const auto& object) {
    comparison.Put(op, object.first, "", RecordOf(object.second));
  };
  const auto compare = [&](const auto& a, const auto& b) {
    comparison.Settings(a.first, RecordOf(a.second), RecordOf(b.second));
    compareChildren(comparison, a, b);
  };
  comparison.Walk(from, to, describe, compare);
}

void CompareApplications(const Model& from, const Model& to, std::vector<Change>& changes) {
  Comparison comparison("apply", changes);
  const auto describe = [&](Change::Op op, const auto& application) {
    comparison.Put(op, TargetText(application.first), "", RecordOf(application));
  };
  const auto compare = [&](const auto& a, const auto& b) {
    if (a.second.sp == b.second.sp) return;
    comparison.Put(Change::kChange, TargetText(a.first), "sp", Utf8(a.second.sp),
                   Utf8(b.second.sp));
  };
  comparison.Walk(from.apply, to.apply, describe, compare);
}

template <class Objects>
void FillInObjects(Objects& objects, const Objects& running) {
  std::set<uint16_t> given;
  for (const auto& [name, object] : objects) {
    if (object.id) given.insert(*object.id);
  }
  for (auto& [name, object] : objects) {
    const auto found = running.find(name);
    if (object.id || found == running.end() || !found->second.id) continue;
    if (!given.contains(*found->second.id)) object.id = found->second.id;
  }
}

template <class Value>
void Take(std::optional<Value>& own, const std::optional<Value>& given) {
  if (given) own = given;
}
void Take(std::string& own, const std::string& given) {
  if (!given.empty()) own = given;
}
void Take(Children& own, const Children& given) {
  for (const auto& [key, child] : given) {
    Child& merged = own[key];
    merged.rule = child.rule;
    merged.place = child.place;
    Take(merged.fp, child.fp);
  }
}
void Take(SP& own, const SP& given) {
  Take(own.id, given.id);
  Take(own.unit, given.unit);
  Take(own.children, given.children);
}
void Take(FG& own, const FG& given) {
  Take(own.id, given.id);
  Take(own.children, given.children);
}
void Take(FP& own, const FP& given) {
  Take(own.id, given.id);
  Take(own.queue, given.queue);
  Take(own.gts, given.gts);
  Take(own.bandwidth, given.bandwidth);
  Take(own.dp, given.dp);
}
void Take(DP& own, const DP& given) {
  Take(own.id, given.id);
  Take(own.weight, given.weight);
  for (size_t i = 0; i < own.thresholds.size(); ++i) Take(own.thresholds[i], given.thresholds[i]);
}
template <class Object>
void Take(std::map<std::string, Object>& own, const std::map<std::string, Object>& given) {
  for (const auto& [name, object] : given) Take(own[name], object);
}

}  // namespace

std::vector<Change> Differences(const Model& from, const Model& to) {
  std::vector<Change> changes;
  const auto nested = [](Comparison& comparison, const auto& a, const auto& b) {
    comparison.ChildrenOf(a.first, a.second.children, b.second.children);
  };
  const auto flat = [](Comparison&, const auto&, const auto&) {};
  CompareObjects("sp", from.sp, to.sp, changes, nested);
  CompareObjects("fg", from.fg, to.fg, changes, nested);
  CompareObjects("fp", from.fp, to.fp, changes, flat);
  CompareObjects("dp", from.dp, to.dp, changes, flat);
  CompareApplications(from, to, changes);
  std::stable_partition(changes.begin(), changes.end(),
                        [](const Change& change) { return change.op == Change::kRemove; });
  return changes;
}

void FillIn(Model& model, const Model& running) {
  FillInObjects(model.sp, running.sp);
  FillInObjects(model.fg, running.fg);
  FillInObjects(model.fp, running.fp);
  FillInObjects(model.dp, running.dp);
}

Model Merge(Model running, const Model& file) {
  Model merged = WithoutIds(std::move(running));
  Take(merged.sp, file.sp);
  Take(merged.fg, file.fg);
  Take(merged.fp, file.fp);
  Take(merged.dp, file.dp);
  for (const auto& [target, application] : file.apply) merged.apply[target] = application;
  return merged;
}

}  // namespace client
