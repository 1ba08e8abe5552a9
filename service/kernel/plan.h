// From the model to the wanted state of an interface's traffic control: pure functions.
#pragma once

#include <string>
#include <vector>

#include "service/kernel/class.h"
#include "service/kernel/program.h"
#include "service/model/hierarchy.h"

namespace hqosd::kernel {

using SPObject = ObjectTable<SP>::Object;

// What a tree is planned for.
struct Link {
  uint64_t rate;  // bit/s; 0: unknown, and no rate of it binds
  uint32_t mtu;   // bytes of a packet, without the frame's head and tags
};

// Classes that are no child's. Children have minor numbers from kFirstMinor on.
constexpr uint16_t kPortMinor = 1;     // the link, below the qdisc
constexpr uint16_t kSPMinor = 2;       // the SP, below the port
constexpr uint16_t kDefaultMinor = 3;  // the leaf for frames that no child of the SP takes
constexpr uint16_t kFirstMinor = 0x10;

// A child of the SP, or first the SP itself.
struct Node {
  SonPath path;                    // of identifiers; of the SP itself all unset
  std::vector<std::string> names;  // on the way down
  size_t parent;                   // position among the nodes; of the SP 0
  uint16_t minor;                  // of its class
  uint16_t leaf;  // where frames wait that none of its children takes: its own class if it is a
                  // leaf; 0: one of its children takes all
};

struct Tree {
  std::vector<Class> classes;  // parents before their children
  std::vector<Program> programs;
  std::vector<Node> nodes;  // depth first, siblings by identifier
};

// The classes of all children of the SP at every depth: those of `known` keep their numbers and
// bases; new ones get numbers that neither `known` nor `replaced`, the tree before, uses, if there
// are enough: the kernel counts and holds frames by number. Throws a Refusal when the kernel has
// not as many.
KernelClasses NumberClasses(const Model& model, const SPObject& sp, const KernelClasses& known,
                            const Tree* replaced = nullptr);

// The tree of the SP, with the numbers of NumberClasses. Throws a Refusal that names what the
// kernel cannot be asked to enforce.
Tree PlanTree(const Model& model, const SPObject& sp, const KernelClasses& classes,
              const Link& link);

}  // namespace hqosd::kernel
