// What can be done to a device's traffic control and to ifb devices: one message to the kernel for
// each.
#pragma once

#include <span>
#include <string>
#include <variant>

#include "service/kernel/class.h"
#include "service/kernel/netlink.h"
#include "service/kernel/program.h"

namespace hqosd::kernel {

// The qdisc with its classes, in the place of the device's default one. Frames of no class go to
// the default class, which cannot be changed later.
struct AddTree {
  uint16_t defaultMinor;
};
struct RemoveTree {};  // with all its classes, queues and filters

// All but the limit. Priority and quantum have an effect on a leaf only: they are to be given again
// when a class becomes one.
struct AddClass {
  Class value;
};
struct ChangeClass {  // cannot move it
  Class value;
};
struct RemoveClass {  // with its queue
  uint16_t minor;
};

// The queue of a leaf, made or changed without a loss. A class that gets children loses it.
struct SetQueue {
  uint16_t minor;
  uint32_t limit;  // packets
};

// The program of the tree at that place, 1 first; what was there is replaced at once.
struct SetFilter {
  uint16_t order;
  Program program;
};
struct RemoveFilter {  // all at that place, whoever made them
  uint16_t order;
};

struct AddHooks {};     // where frames come in; there may be others' filters
struct RemoveHooks {};  // with all filters
struct SetRedirect {    // of what comes in
  int device;           // index of the ifb
};
struct RemoveRedirect {};

struct AddIfb {  // the device given with it does not count
  std::string name;
};
struct RemoveLink {};  // the device itself
struct BringUp {};

using Operation = std::variant<AddTree, RemoveTree, AddClass, ChangeClass, RemoveClass, SetQueue,
                               SetFilter, RemoveFilter, AddHooks, RemoveHooks, SetRedirect,
                               RemoveRedirect, AddIfb, RemoveLink, BringUp>;

// `device` is the index of the interface.
Message Encode(int device, const Operation& operation);

// How far a list of operations came.
struct Outcome {
  size_t done;  // operations; the next one failed if there is a failure
  std::optional<Netlink::Failure> failure;
};

// Carries them out in order, up to the first that fails.
Outcome Apply(Netlink& netlink, int device, std::span<const Operation> operations);

// Parents of classes, queues and filters, as the kernel numbers them.
constexpr uint32_t kTreeHandle = uint32_t{kMajor} << 16;
constexpr uint32_t kHooksHandle = 0xFFFF0000;
constexpr uint32_t kIncoming = 0xFFFFFFF2, kOutgoing = 0xFFFFFFF3;  // hooks
constexpr uint16_t kRedirectOrder = kMajor;  // of the redirection among the filters of its hook
constexpr uint32_t kProgramHandle = 1;       // of the one filter of each order

}  // namespace hqosd::kernel
