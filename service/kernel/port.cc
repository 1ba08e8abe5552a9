#include "service/kernel/port.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "hqosd.h"

namespace hqosd::kernel {

namespace {

constexpr size_t kAtOnce = 16;  // operations between looks at the clock

// True when all is done.
bool DoSome(Netlink& netlink, Work& work, const Slice& slice) {
  while (work.done < work.operations.size()) {
    if (slice.IsOver()) return false;
    const size_t count = std::min(kAtOnce, work.operations.size() - work.done);
    const auto some = std::span(work.operations).subspan(work.done, count);
    const Outcome outcome = Apply(netlink, work.device, some);
    if (outcome.failure) {
      const bool isForbidden = outcome.failure->error == EPERM;
      throw PortFailure(HQOSD_DIAG_KERNEL_FAILS,
                        fmt::format("the kernel refuses it: {}{}", outcome.failure->text,
                                    isForbidden ? "; hqosd needs CAP_NET_ADMIN" : ""));
    }
    work.done += count;
  }
  return true;
}

void Do(Netlink& netlink, int device, std::vector<Operation> operations) {
  Work work{device, std::move(operations)};
  DoSome(netlink, work, Slice());
}

// The index of the ifb of the device; 0: there is none.
int FindIfb(Netlink& netlink, int device) {
  const std::string name = IfbName(device);
  for (const LinkState& link : ReadLinks(netlink)) {
    if (link.name == name && IsOwnIfb(link)) return link.index;
  }
  return 0;
}

// One that is down drops what comes in.
bool IsUp(Netlink& netlink, int device) {
  const std::vector<LinkState> links = ReadLinks(netlink);
  return std::any_of(links.begin(), links.end(),
                     [&](const LinkState& link) { return link.index == device && link.isUp; });
}

// That device, up.
int OpenIfb(Netlink& netlink, int device) {
  int ifb = FindIfb(netlink, device);
  if (ifb == 0) {
    Do(netlink, 0, {AddIfb{IfbName(device)}});
    ifb = FindIfb(netlink, device);
  }
  Do(netlink, ifb, {BringUp{}});
  return ifb;
}

}  // namespace

// The ifb gets its tree before any frame comes there.
const PortBuild::Part PortBuild::kParts[] = {&PortBuild::SetOut, &PortBuild::SetIn,
                                             &PortBuild::Redirect};

PortBuild::PortBuild(Netlink& netlink, const Port* before, Port port)
    : netlink_(netlink), port_(std::move(port)) {
  if (before == nullptr || before->device != port_.device) return;
  before_ = *before;
  port_.ifb = before->ifb;
}

bool PortBuild::Step(const Slice& slice) {
  if (port_.device == 0) return true;
  for (;; ++part_) {
    if (!DoSome(netlink_, work_, slice)) return false;
    if (part_ == std::size(kParts)) return true;
    work_ = {};
    (this->*kParts[part_])();
  }
}

// Has the device given the tree, or none; `now` is what it has.
void PortBuild::SetTree(int device, const DeviceState& now, const TreePtr& tree) {
  if (tree != nullptr) {
    Steps steps = Difference(now, *tree);
    work_ = {device, std::move(steps.build)};
    if (!steps.remove.empty()) leftovers_.push_back({device, std::move(steps.remove)});
  } else if (now.isOwn()) {
    leftovers_.push_back({device, {RemoveTree{}}});
  }
}

void PortBuild::SetOut() {
  if (before_ && before_->out == port_.out) return;
  const bool isKnown = before_ && before_->out != nullptr;
  const DeviceState now = isKnown ? StateOf(*before_->out) : ReadState(netlink_, port_.device);
  if (port_.out != nullptr && now.isOthers()) {
    throw PortFailure(
        HQOSD_DIAG_OTHERS_QDISC,
        fmt::format("interface {} has a queueing discipline that somebody else configured ({} "
                    "{:x}:); remove it with: tc qdisc del dev {} root",
                    port_.name, now.rootKind, now.rootHandle >> 16, port_.name));
  }
  SetTree(port_.device, now, port_.out);
}

void PortBuild::SetIn() {
  if (before_ && before_->in == port_.in) return;
  if (port_.in == nullptr) return RemoveIn();
  if (!HadIn()) port_.ifb = OpenIfb(netlink_, port_.device);
  SetTree(port_.ifb, HadIn() ? StateOf(*before_->in) : ReadState(netlink_, port_.ifb), port_.in);
}

void PortBuild::RemoveIn() {
  DeviceState now = ReadState(netlink_, port_.device);
  now.rootHandle = 0;  // what goes out has a part of its own
  std::vector<Operation> operations = RemovalOf(now);
  if (!operations.empty()) leftovers_.push_back({port_.device, std::move(operations)});
  if (!HadIn()) port_.ifb = FindIfb(netlink_, port_.device);
  if (port_.ifb != 0) leftovers_.push_back({port_.ifb, {RemoveLink{}}});
  port_.ifb = 0;
}

// Sends what comes in to the ifb. A failure leaves no hooks, which nobody else would remove.
void PortBuild::Redirect() {
  if (port_.in == nullptr || HadIn()) return;
  const DeviceState now = ReadState(netlink_, port_.device);
  if (!now.hasHooks) Do(netlink_, port_.device, {AddHooks{}});
  if (now.redirect == port_.ifb) return;
  try {
    Do(netlink_, port_.device, {SetRedirect{port_.ifb}});
  } catch (const std::runtime_error&) {
    if (!now.hasHooks) Do(netlink_, port_.device, {RemoveHooks{}});
    throw;
  }
}

bool Remove(Netlink& netlink, std::vector<Work>& leftovers, const Slice& slice) {
  for (Work& one : leftovers) {
    if (!DoSome(netlink, one, slice)) return false;
  }
  leftovers.clear();
  return true;
}

bool IsAsBuilt(Netlink& netlink, const Port& port) {
  const auto isThere = [&](int device, const TreePtr& tree) {
    return tree == nullptr || Difference(ReadState(netlink, device), *tree).empty();
  };
  if (port.device == 0) return true;
  if (!isThere(port.device, port.out) || !isThere(port.ifb, port.in)) return false;
  if (port.in == nullptr) return true;
  return IsUp(netlink, port.ifb) && ReadState(netlink, port.device).redirect == port.ifb;
}

void Release(Netlink& netlink, const std::set<int>& except) {
  const std::vector<LinkState> links = ReadLinks(netlink);
  std::set<int> devices = DevicesWithTree(netlink), ifbs;
  for (const LinkState& link : links) {
    if (!IsOwnIfb(link)) continue;
    devices.erase(link.index);
    const auto owner = std::find_if(links.begin(), links.end(), [&](const LinkState& other) {
      return IfbName(other.index) == link.name;
    });
    const bool hasOwner = owner != links.end();
    if (hasOwner && except.contains(owner->index)) continue;
    ifbs.insert(link.index);
    if (hasOwner) devices.insert(owner->index);
  }
  for (const int device : devices) {
    if (!except.contains(device)) Do(netlink, device, RemovalOf(ReadState(netlink, device)));
  }
  for (const int ifb : ifbs) Do(netlink, ifb, {RemoveLink{}});
}

}  // namespace hqosd::kernel
