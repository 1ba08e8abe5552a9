// The counters of children, from those of their classes and of classes that are gone: pure
// functions.
#pragma once

#include <map>
#include <span>

#include "service/kernel/plan.h"
#include "service/kernel/traffic_control.h"

namespace hqosd::kernel {

struct ChildCounters {
  uint64_t packets = 0, bytes = 0, drops = 0;
  uint64_t queuedPackets = 0, queuedBytes = 0;
};
using ChildrenCounters = std::map<SonPath, ChildCounters>;

// What the kernel counts of each node of the tree, those below included; classes of several devices
// that have the tree are added up.
ChildrenCounters CountersOf(const Tree& tree, std::span<const ClassCounters> classes);

// The same with the bases.
ChildrenCounters Totals(const Tree& tree, std::span<const ClassCounters> classes,
                        const KernelClasses& bases);

// Raises the bases so that totals go on from `before` at least, when the counters that a change
// from one tree to the other ends are gone. `classes` are the counters before the change.
void Rebase(const ChildrenCounters& before, const Tree& from, const Tree& to,
            std::span<const ClassCounters> classes, KernelClasses& bases);

}  // namespace hqosd::kernel
