// What the kernel has on a device: qdisc, classes, queues, filters and counters.
#pragma once

#include <set>

#include "service/kernel/operations.h"

namespace hqosd::kernel {

// Of a filter of the tree.
struct Filter {
  uint16_t order;
  Program program;  // empty: somebody else made the filter
  bool operator==(const Filter& other) const;
};

struct DeviceState {
  std::string rootKind;     // of the qdisc that frames leave by; empty: none
  uint32_t rootHandle = 0;  // 0: the kernel chose the qdisc
  uint16_t defaultMinor = 0;
  std::vector<Class> classes;     // of hqosd's own qdisc, by minor number
  std::vector<Filter> filters;    // of it, in the order in which they are asked
  bool hasHooks = false;          // for filters where frames come in
  bool hasOthersFilters = false;  // at the hooks
  int redirect = 0;  // index of the device to which hqosd redirects what comes in; 0: none

  bool isOwn() const { return rootKind == "htb" && rootHandle == kTreeHandle; }
  bool isOthers() const { return rootHandle != 0 && !isOwn(); }
  bool operator==(const DeviceState&) const = default;
};

// Throws a NetlinkError.
DeviceState ReadState(Netlink& netlink, int device);

// Those that have hqosd's own qdisc. Throws a NetlinkError.
std::set<int> DevicesWithTree(Netlink& netlink);

// What removes everything of hqosd's own from the device, except an ifb.
std::vector<Operation> RemovalOf(const DeviceState& state);

struct ClassCounters {
  uint16_t minor;
  uint64_t packets = 0, bytes = 0;  // sent
  uint64_t drops = 0;               // of a leaf's queue; of an inner class 0
  uint32_t queuedPackets = 0, queuedBytes = 0;
};

// Of all classes of hqosd's own qdisc, in no order. Throws a NetlinkError.
std::vector<ClassCounters> ReadCounters(Netlink& netlink, int device);

}  // namespace hqosd::kernel
