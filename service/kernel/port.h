// What hqosd has in the kernel for an interface: trees for what goes out and what comes in.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "service/kernel/difference.h"
#include "service/kernel/links.h"

namespace hqosd::kernel {

using TreePtr = std::shared_ptr<const Tree>;

struct Port {
  std::string name;
  int device = 0;  // index; 0: the interface does not exist
  int ifb = 0;     // index of the device with the tree of what comes in; 0: there is none
  TreePtr out, in;
};

// What is left over on a device after a change.
struct Leftover {
  int device;
  std::vector<Operation> operations;
};

// The kernel has refused something, or somebody else has configured the interface.
struct PortFailure : std::runtime_error {
  PortFailure(uint32_t code, const std::string& text) : std::runtime_error(text), diag(code) {}
  uint32_t diag;  // HQOSD_Diag
};

// Gives the interface the trees of `port`, and returns what is left over then, to be removed by
// Remove. `before` is what the kernel has; without it, that is read. Sets the port's ifb. Throws a
// PortFailure or a NetlinkError half-way.
std::vector<Leftover> Build(Netlink& netlink, const Port* before, Port& port);

// Removes what is left over.
void Remove(Netlink& netlink, const std::vector<Leftover>& leftovers);

// Whether the kernel has what was built.
bool IsAsBuilt(Netlink& netlink, const Port& port);

// Removes everything of hqosd's own from all devices, except those.
void Release(Netlink& netlink, const std::set<int>& except = {});

}  // namespace hqosd::kernel
