// The classifier of an interface: from rules to programs of classic BPF, as the kernel's filter of
// that name runs them on each frame.
#pragma once

#include <linux/filter.h>

#include <cstddef>
#include <vector>

#include "hqos.h"

namespace hqosd::kernel {

// How a frame finds its leaf: the first child that takes it, and so on down; one that no child
// takes goes to the node's own leaf. Of the children those with values come first, whose rules are
// of one type and have no value in common, then those with a priority, then the one that takes the
// rest.
struct Branch {
  enum class Takes { Values, Priority, Rest };
  Takes takes = Takes::Rest;
  HQOS_MatchRule rule = {};  // Values: of these
  uint8_t priority = 0;      // Priority: frames of this one
  uint32_t leaf = 0;         // its class
  std::vector<Branch> children = {};
};

using Program = std::vector<sock_filter>;

// Programs that return the class of a frame, to be asked in this order until one returns something
// other than 0: one program, or several when the tree takes more than kMaxInstructions. A frame
// that is too short to be read gets 0 from all of them, and so the qdisc's default class.
std::vector<Program> MakePrograms(const Branch& tree);

// The kernel accepts 4,096, but cannot list a program of more than about 4,040.
constexpr std::size_t kMaxInstructions = 4000;

}  // namespace hqosd::kernel
