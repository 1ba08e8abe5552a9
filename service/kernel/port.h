// What hqosd has in the kernel for an interface: trees for what goes out and what comes in.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "service/kernel/difference.h"
#include "service/kernel/links.h"
#include "service/model/slice.h"

namespace hqosd::kernel {

using TreePtr = std::shared_ptr<const Tree>;

struct Port {
  std::string name;
  int device = 0;  // index; 0: the interface does not exist
  int ifb = 0;     // index of the device with the tree of what comes in; 0: there is none
  TreePtr out, in;
};

// Operations for a device, carried out up to number `done`.
struct Work {
  int device;
  std::vector<Operation> operations;
  size_t done = 0;
};

// The kernel has refused something, or somebody else has configured the interface.
struct PortFailure : std::runtime_error {
  PortFailure(uint32_t code, const std::string& text) : std::runtime_error(text), diag(code) {}
  uint32_t diag;  // HQOSD_Diag
};

// Gives an interface the trees of a port. Then something is left over, for Remove.
class PortBuild {
 public:
  // `before` is what the kernel has; without it, that is read.
  PortBuild(Netlink& netlink, const Port* before, Port port);

  // True when that is done. Throws a PortFailure or a NetlinkError half-way.
  bool Step(const Slice& slice);

  const Port& port() const { return port_; }  // with its ifb
  std::vector<Work>& leftovers() { return leftovers_; }

 private:
  using Part = void (PortBuild::*)();
  static const Part kParts[];

  void SetOut();
  void SetIn();
  void RemoveIn();
  void Redirect();
  void SetTree(int device, const DeviceState& now, const TreePtr& tree);
  bool HadIn() const { return before_ && before_->in != nullptr; }

  Netlink& netlink_;
  std::optional<Port> before_;
  Port port_;
  size_t part_ = 0;
  Work work_{};  // of the part before
  std::vector<Work> leftovers_;
};

// Removes what is left over; true when that is done. Throws as PortBuild does.
bool Remove(Netlink& netlink, std::vector<Work>& leftovers, const Slice& slice);

// Whether the kernel has what was built.
bool IsAsBuilt(Netlink& netlink, const Port& port);

// Removes everything of hqosd's own from all interfaces, except those and their ifbs, which frames
// may be redirected to.
void Release(Netlink& netlink, const std::set<int>& except = {});

}  // namespace hqosd::kernel
