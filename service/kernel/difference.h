// From what a device has to what it should have, without losing a packet of a class that stays: a
// pure function.
#pragma once

#include <vector>

#include "service/kernel/plan.h"
#include "service/kernel/traffic_control.h"

namespace hqosd::kernel {

// Operations in two steps. After `build` every frame is classified as wanted, and what is left over
// has no frames any more except those that wait in its queues. Frames of an inner class that
// becomes a leaf go to the default class until `remove` is done.
struct Steps {
  std::vector<Operation> build;   // new classes with their queues, changed ones, programs
  std::vector<Operation> remove;  // filters and classes left over, then queues of new leaves
  bool empty() const { return build.empty() && remove.empty(); }
};

// The tree of a device. Each leaf of it has a limit and a quantum. It is built anew where the
// qdisc is not hqosd's own or has another default class. `build` removes, with everything below it,
// what somebody else put below another parent or among the wanted filters.
Steps Difference(const DeviceState& now, const Tree& wanted);

// What a device has after both steps, where nothing else about it changes.
DeviceState StateOf(const Tree& tree);

}  // namespace hqosd::kernel
