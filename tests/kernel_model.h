// A model of the kernel's traffic control on one device, for tests.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "service/kernel/traffic_control.h"

namespace net {

using namespace hqosd::kernel;

// What one operation does; false when the kernel would refuse it.
class KernelModel {
 public:
  bool operator()(const AddTree& add) {
    if (state_.rootHandle != 0) return false;
    state_ = {"htb", kTreeHandle, add.defaultMinor, {}, {}};
    return true;
  }
  bool operator()(const RemoveTree&) {
    classes_.clear();
    return std::exchange(state_, {}).rootHandle != 0;
  }
  bool operator()(const AddClass& add) {
    const Class& one = add.value;
    size_t level = 1;
    for (uint16_t at = one.parent; at != 0; at = classes_.at(at).parent) {
      if (!classes_.contains(at) || ++level > 8) return false;
    }
    if (one.parent != 0 && IsLeaf(one.parent)) {
      if (classes_[one.parent].limit) lost.insert(one.parent);
      classes_[one.parent].limit.reset();
    }
    const bool isNew = classes_.emplace(one.minor, one).second;
    classes_[one.minor].limit.reset();
    if (one.quantum == 0) classes_[one.minor].quantum = 1514;
    return isNew;
  }
  // An inner class keeps the priority and quantum that it had as a leaf, out of sight.
  bool operator()(const ChangeClass& change) {
    const auto found = classes_.find(change.value.minor);
    if (found == classes_.end() || found->second.parent != change.value.parent) return false;
    Class next = change.value;
    next.limit = found->second.limit;
    if (!IsLeaf(next.minor)) {
      next.priority = found->second.priority;
      next.quantum = found->second.quantum;
    }
    found->second = next;
    touched.insert(next.minor);
    return true;
  }
  bool operator()(const RemoveClass& remove) {
    lost.insert(remove.minor);
    return IsLeaf(remove.minor) && classes_.erase(remove.minor) != 0;
  }
  bool operator()(const SetQueue& set) {
    if (!classes_.contains(set.minor) || !IsLeaf(set.minor) || set.limit == 0) return false;
    classes_[set.minor].limit = set.limit;
    touched.insert(set.minor);
    return true;
  }
  bool operator()(const SetFilter& set) {
    auto& filters = state_.filters;
    const auto at = std::find_if(filters.begin(), filters.end(),
                                 [&](const Filter& one) { return one.order >= set.order; });
    const bool isThere = at != filters.end() && at->order == set.order;
    if (isThere && at->program.empty()) return false;
    if (isThere) {
      at->program = set.program;
    } else {
      filters.insert(at, {set.order, set.program});
    }
    return true;
  }
  bool operator()(const RemoveFilter& remove) {
    return std::erase_if(state_.filters,
                         [&](const Filter& one) { return one.order == remove.order; }) != 0;
  }
  template <class T>
  bool operator()(const T&) {
    return false;
  }

  void AddOthersFilter(uint16_t order) {
    const auto after = [](const Filter& a, const Filter& b) { return a.order < b.order; };
    state_.filters.push_back({order, {}});
    std::stable_sort(state_.filters.begin(), state_.filters.end(), after);
  }

  DeviceState State() const {
    DeviceState state = state_;
    for (const auto& [minor, one] : classes_) {
      state.classes.push_back(one);
      if (!IsLeaf(minor)) state.classes.back().priority = state.classes.back().quantum = 0;
    }
    return state;
  }

  std::set<uint16_t> lost, touched;  // classes whose frames are lost, or that are changed

 private:
  bool IsLeaf(uint16_t minor) const {
    return std::none_of(classes_.begin(), classes_.end(),
                        [&](const auto& one) { return one.second.parent == minor; });
  }

  DeviceState state_;
  std::map<uint16_t, Class> classes_;
};

}  // namespace net
