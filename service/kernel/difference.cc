#include "service/kernel/difference.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace hqosd::kernel {

namespace {

// Classes by number, and who is below whom.
class Classes {
 public:
  explicit Classes(const std::vector<Class>& classes) {
    for (const Class& one : classes) {
      all_.emplace(one.minor, one);
      below_.emplace(one.parent, one.minor);
    }
  }

  const std::map<uint16_t, Class>& all() const { return all_; }
  bool Has(uint16_t minor) const { return all_.contains(minor); }
  const Class* Find(uint16_t minor) const {
    const auto found = all_.find(minor);
    return found == all_.end() ? nullptr : &found->second;
  }
  bool IsLeaf(uint16_t minor) const { return !FirstBelow(minor); }

  // With everything below it, which goes first.
  void Remove(uint16_t minor, std::vector<Operation>& operations) {
    while (const auto child = FirstBelow(minor)) Remove(*child, operations);
    operations.emplace_back(RemoveClass{minor});
    below_.erase({all_.at(minor).parent, minor});
    all_.erase(minor);
  }

 private:
  std::optional<uint16_t> FirstBelow(uint16_t minor) const {
    const auto found = below_.lower_bound({minor, 0});
    if (found == below_.end() || found->first != minor) return std::nullopt;
    return found->second;
  }

  std::map<uint16_t, Class> all_;
  std::set<std::pair<uint16_t, uint16_t>> below_;  // parent and child
};

// What the kernel has of a class apart from its queue.
Class Settings(Class value, bool isLeaf) {
  value.limit.reset();
  if (!isLeaf) value.priority = value.quantum = 0;
  return value;
}

void RemoveMisplaced(Classes& have, const Tree& wanted, std::vector<Operation>& operations) {
  for (const Class& one : wanted.classes) {
    const Class* found = have.Find(one.minor);
    if (found != nullptr && found->parent != one.parent) have.Remove(one.minor, operations);
  }
}

void PutQueue(const Class& leaf, std::vector<Operation>& operations) {
  if (leaf.limit) operations.emplace_back(SetQueue{leaf.minor, *leaf.limit});
}

// They have no frames before the programs are changed: a refused one has disturbed nothing yet.
void AddNew(const Classes& have, const Tree& wanted, std::vector<Operation>& operations) {
  for (const Class& one : wanted.classes) {
    if (have.Has(one.minor)) continue;
    operations.emplace_back(AddClass{one});
    PutQueue(one, operations);
  }
}

// An inner class gets what only a leaf has after it has become one.
void ChangeClasses(const Classes& have, const Classes& want, std::vector<Operation>& operations) {
  for (const auto& [minor, one] : want.all()) {
    const Class* found = have.Find(minor);
    if (found == nullptr) continue;
    const bool isLeaf = have.IsLeaf(minor) && want.IsLeaf(minor);
    if (Settings(*found, isLeaf) != Settings(one, isLeaf)) {
      operations.emplace_back(ChangeClass{one});
    }
    if (isLeaf && found->limit != one.limit) PutQueue(one, operations);
  }
}

size_t SizeOf(const std::vector<Filter>& filters) {
  size_t size = 0;
  for (const Filter& one : filters) size += one.program.size();
  return size;
}

void SetFilters(const DeviceState& now, const DeviceState& wanted, Steps& steps) {
  std::map<uint16_t, std::vector<const Filter*>> have;
  for (const Filter& one : now.filters) have[one.order].push_back(&one);
  std::vector<std::vector<Operation>> changes;
  for (const Filter& one : wanted.filters) {
    auto& operations = changes.emplace_back();
    const auto there = have.extract(one.order);
    if (!there.empty()) {
      const std::vector<const Filter*>& filters = there.mapped();
      const bool isOwn = filters.size() == 1 && !filters.front()->program.empty();
      if (isOwn && *filters.front() == one) continue;
      if (!isOwn) operations.emplace_back(RemoveFilter{one.order});
    }
    operations.emplace_back(SetFilter{one.order, one.program});
  }
  // Children move to later programs when a tree grows, else to earlier ones: where they go is set
  // before where they come from.
  if (SizeOf(wanted.filters) > SizeOf(now.filters)) std::reverse(changes.begin(), changes.end());
  for (auto& operations : changes) {
    std::move(operations.begin(), operations.end(), std::back_inserter(steps.build));
  }
  for (const auto& [order, filters] : have) steps.remove.emplace_back(RemoveFilter{order});
}

void RemoveLeftOver(Classes have, const Classes& want, std::vector<Operation>& operations) {
  std::vector<uint16_t> leftOver;
  std::vector<const Class*> newLeaves;
  for (const auto& [minor, one] : have.all()) {
    const Class* wanted = want.Find(minor);
    if (wanted == nullptr) leftOver.push_back(minor);
    if (wanted != nullptr && want.IsLeaf(minor) && !have.IsLeaf(minor)) newLeaves.push_back(wanted);
  }
  for (const uint16_t minor : leftOver) {
    if (have.Has(minor)) have.Remove(minor, operations);
  }
  for (const Class* one : newLeaves) {
    operations.emplace_back(ChangeClass{*one});
    PutQueue(*one, operations);
  }
}

}  // namespace

Steps Difference(const DeviceState& now, const Tree& wanted) {
  Steps steps;
  const bool isKept = now.isOwn() && now.defaultMinor == kDefaultMinor;
  if (!isKept) {
    if (now.isOwn()) steps.build.emplace_back(RemoveTree{});
    steps.build.emplace_back(AddTree{kDefaultMinor});
  }
  static const DeviceState kNothing;
  const DeviceState& from = isKept ? now : kNothing;
  Classes have(from.classes);
  const Classes want(wanted.classes);
  RemoveMisplaced(have, wanted, steps.build);
  AddNew(have, wanted, steps.build);
  ChangeClasses(have, want, steps.build);
  SetFilters(from, StateOf(wanted), steps);
  RemoveLeftOver(std::move(have), want, steps.remove);
  return steps;
}

DeviceState StateOf(const Tree& tree) {
  DeviceState state{"htb", kTreeHandle, kDefaultMinor, {}, {}};
  const Classes classes(tree.classes);
  for (const auto& [minor, one] : classes.all()) {
    const bool isLeaf = classes.IsLeaf(minor);
    state.classes.push_back(Settings(one, isLeaf));
    if (isLeaf) state.classes.back().limit = one.limit;
  }
  for (const Program& program : tree.programs) {
    state.filters.push_back({static_cast<uint16_t>(state.filters.size() + 1), program});
  }
  return state;
}

}  // namespace hqosd::kernel
