#include "service/kernel/port.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "hqosd.h"

namespace hqosd::kernel {

namespace {

void Do(Netlink& netlink, int device, const std::vector<Operation>& operations) {
  if (operations.empty()) return;
  const Outcome outcome = Apply(netlink, device, operations);
  if (outcome.failure) {
    const bool isForbidden = outcome.failure->error == EPERM;
    throw PortFailure(HQOSD_DIAG_KERNEL_FAILS,
                      fmt::format("the kernel refuses it: {}{}", outcome.failure->text,
                                  isForbidden ? "; hqosd needs CAP_NET_ADMIN" : ""));
  }
}

// What removes the tree of the device alone.
void AddRemoval(const DeviceState& now, int device, std::vector<Leftover>& leftovers) {
  if (now.isOwn()) leftovers.push_back({device, {RemoveTree{}}});
}

// Gives the device the tree, or none; `now` is what it has.
void BuildTree(Netlink& netlink, int device, const DeviceState& now, const TreePtr& tree,
               std::vector<Leftover>& leftovers) {
  if (tree == nullptr) return AddRemoval(now, device, leftovers);
  Steps steps = Difference(now, *tree);
  Do(netlink, device, steps.build);
  if (!steps.remove.empty()) leftovers.push_back({device, std::move(steps.remove)});
}

// The state of a device that has the tree, or of one that is to be read.
DeviceState StateNow(Netlink& netlink, int device, const TreePtr* built) {
  return built != nullptr && *built != nullptr ? StateOf(**built) : ReadState(netlink, device);
}

void BuildOut(Netlink& netlink, const Port* before, const Port& port,
              std::vector<Leftover>& leftovers) {
  if (before != nullptr && before->out == port.out) return;
  const DeviceState now =
      StateNow(netlink, port.device, before != nullptr ? &before->out : nullptr);
  if (port.out != nullptr && now.isOthers()) {
    throw PortFailure(
        HQOSD_DIAG_OTHERS_QDISC,
        fmt::format("interface {} has a queueing discipline that somebody else configured ({} "
                    "{:x}:); remove it with: tc qdisc del dev {} root",
                    port.name, now.rootKind, now.rootHandle >> 16, port.name));
  }
  BuildTree(netlink, port.device, now, port.out, leftovers);
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

// Sends what comes in to the ifb. A failure leaves no hooks, which nobody else would remove.
void Redirect(Netlink& netlink, const Port& port) {
  const DeviceState now = ReadState(netlink, port.device);
  if (!now.hasHooks) Do(netlink, port.device, {AddHooks{}});
  if (now.redirect == port.ifb) return;
  try {
    Do(netlink, port.device, {SetRedirect{port.ifb}});
  } catch (const std::runtime_error&) {
    if (!now.hasHooks) Do(netlink, port.device, {RemoveHooks{}});
    throw;
  }
}

// The ifb gets its tree before any frame comes there.
void BuildIn(Netlink& netlink, const Port* before, Port& port, std::vector<Leftover>& leftovers) {
  if (before != nullptr && before->in == port.in) return;
  const bool isBuilt = before != nullptr && before->in != nullptr;
  if (port.in != nullptr) {
    if (!isBuilt) port.ifb = OpenIfb(netlink, port.device);
    BuildTree(netlink, port.ifb, StateNow(netlink, port.ifb, isBuilt ? &before->in : nullptr),
              port.in, leftovers);
    if (isBuilt) return;
    return Redirect(netlink, port);
  }
  DeviceState now = ReadState(netlink, port.device);
  now.rootHandle = 0;  // what goes out is built for itself
  std::vector<Operation> operations = RemovalOf(now);
  if (!operations.empty()) leftovers.push_back({port.device, std::move(operations)});
  if (!isBuilt) port.ifb = FindIfb(netlink, port.device);
  if (port.ifb != 0) leftovers.push_back({port.ifb, {RemoveLink{}}});
  port.ifb = 0;
}

}  // namespace

std::vector<Leftover> Build(Netlink& netlink, const Port* before, Port& port) {
  std::vector<Leftover> leftovers;
  if (port.device == 0) return leftovers;
  if (before != nullptr && before->device != port.device) before = nullptr;
  if (before != nullptr) port.ifb = before->ifb;
  BuildOut(netlink, before, port, leftovers);
  BuildIn(netlink, before, port, leftovers);
  return leftovers;
}

void Remove(Netlink& netlink, const std::vector<Leftover>& leftovers) {
  for (const Leftover& one : leftovers) Do(netlink, one.device, one.operations);
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
    ifbs.insert(link.index);
    for (const LinkState& other : links) {
      if (IfbName(other.index) == link.name) devices.insert(other.index);
    }
  }
  for (const int device : devices) {
    if (ifbs.contains(device) || except.contains(device)) continue;
    Do(netlink, device, RemovalOf(ReadState(netlink, device)));
  }
  for (const int ifb : ifbs) {
    if (!except.contains(ifb)) Do(netlink, ifb, {RemoveLink{}});
  }
}

}  // namespace hqosd::kernel
