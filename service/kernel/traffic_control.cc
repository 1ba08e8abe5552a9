#include "service/kernel/traffic_control.h"

#include <arpa/inet.h>
#include <linux/gen_stats.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_mirred.h>

#include <algorithm>
#include <map>

namespace hqosd::kernel {

namespace {

constexpr uint16_t Minor(uint32_t handle) { return static_cast<uint16_t>(handle); }
constexpr bool IsInTree(uint32_t handle) { return handle >> 16 == kMajor; }

// What answers the dump, with its fixed part and attributes.
template <class Visit>
void ForEach(Netlink& netlink, uint16_t type, int device, uint32_t parent, Visit visit) {
  Message message(type, 0);
  auto& fixed = message.Fixed<tcmsg>();
  fixed.tcm_ifindex = device;
  fixed.tcm_parent = parent;
  const std::vector<char> answer = netlink.Dump(message);
  for (const nlmsghdr* one : MessagesIn(answer)) {
    const auto& found = FixedOf<tcmsg>(*one);
    // The kernel answers for all devices when asked for qdiscs.
    if (found.tcm_ifindex == device) visit(found, Attributes(*one, sizeof found));
  }
}

uint64_t RateIn(const Attributes& options, uint16_t type, const tc_ratespec& rates) {
  uint64_t rate = rates.rate;  // those with 64 bits are there only when needed
  options.Read(type, rate);
  return rate;
}

Class ClassIn(const tcmsg& fixed, const Attributes& attributes) {
  const Attributes options = attributes.Nest(TCA_OPTIONS);
  tc_htb_opt parameters{};
  options.Read(TCA_HTB_PARMS, parameters);
  const bool isLeaf = parameters.level == 0;  // else what is not its own
  return {Minor(fixed.tcm_handle),
          fixed.tcm_parent == TC_H_ROOT ? uint16_t{0} : Minor(fixed.tcm_parent),
          RateIn(options, TCA_HTB_RATE64, parameters.rate),
          RateIn(options, TCA_HTB_CEIL64, parameters.ceil),
          parameters.buffer,
          parameters.cbuffer,
          isLeaf ? parameters.prio : 0,
          isLeaf ? parameters.quantum : 0,
          std::nullopt};
}

// Limits of the leaves' queues, by the minor number of the class.
using Limits = std::map<uint16_t, uint32_t>;

Limits ReadQdiscs(Netlink& netlink, int device, DeviceState& state) {
  Limits limits;
  ForEach(netlink, RTM_GETQDISC, device, 0, [&](const tcmsg& fixed, const Attributes& attributes) {
    const std::string kind = attributes.Text(TCA_KIND);
    if (fixed.tcm_parent == TC_H_ROOT) {
      state.rootKind = kind;
      state.rootHandle = fixed.tcm_handle;
      tc_htb_glob init{};
      if (state.isOwn()) attributes.Nest(TCA_OPTIONS).Read(TCA_HTB_INIT, init);
      state.defaultMinor = Minor(init.defcls);
    } else if (fixed.tcm_parent == TC_H_CLSACT) {
      state.hasHooks = true;
    } else if (IsInTree(fixed.tcm_parent) && kind == "pfifo") {
      tc_fifo_qopt queue{};
      attributes.Read(TCA_OPTIONS, queue);
      limits[Minor(fixed.tcm_parent)] = queue.limit;
    }
  });
  return limits;
}

void ReadClasses(Netlink& netlink, int device, const Limits& limits, DeviceState& state) {
  ForEach(netlink, RTM_GETTCLASS, device, 0, [&](const tcmsg& fixed, const Attributes& attributes) {
    if (!IsInTree(fixed.tcm_handle)) return;
    state.classes.push_back(ClassIn(fixed, attributes));
    const auto found = limits.find(state.classes.back().minor);
    if (found != limits.end()) state.classes.back().limit = found->second;
  });
  std::sort(state.classes.begin(), state.classes.end(),
            [](const Class& a, const Class& b) { return a.minor < b.minor; });
}

Program ProgramIn(const Attributes& options) {
  const nlattr* found = options.Find(TCA_BPF_OPS);
  if (found == nullptr) return {};
  Program program(mnl_attr_get_payload_len(found) / sizeof(sock_filter));
  std::memcpy(program.data(), mnl_attr_get_payload(found), program.size() * sizeof program[0]);
  return program;
}

// Visits filters, each by its order, whether it is as hqosd makes them, and its options.
template <class Visit>
void ForEachFilter(Netlink& netlink, int device, uint32_t parent, Visit visit) {
  ForEach(netlink, RTM_GETTFILTER, device, parent,
          [&](const tcmsg& fixed, const Attributes& attributes) {
            if (fixed.tcm_handle == 0) return;  // the place of those of one order
            const bool isOwn = attributes.Text(TCA_KIND) == "bpf" &&
                               fixed.tcm_handle == kProgramHandle &&
                               Minor(fixed.tcm_info) == htons(ETH_P_ALL);
            visit(static_cast<uint16_t>(fixed.tcm_info >> 16), isOwn, attributes.Nest(TCA_OPTIONS));
          });
}

void ReadHooks(Netlink& netlink, int device, DeviceState& state) {
  const auto visit = [&](uint16_t order, bool isOwn, const Attributes& options) {
    if (order != kRedirectOrder || !isOwn) {
      state.hasOthersFilters = true;
      return;
    }
    tc_mirred mirred{};
    options.Nest(TCA_BPF_ACT).Nest(1).Nest(TCA_ACT_OPTIONS).Read(TCA_MIRRED_PARMS, mirred);
    state.redirect = static_cast<int>(mirred.ifindex);
  };
  ForEachFilter(netlink, device, kIncoming, visit);
  ForEachFilter(netlink, device, kOutgoing, [&](auto...) { state.hasOthersFilters = true; });
}

ClassCounters CountersIn(uint16_t minor, const Attributes& attributes) {
  const Attributes stats = attributes.Nest(TCA_STATS2);
  gnet_stats_basic basic{};
  gnet_stats_queue queue{};
  stats.Read(TCA_STATS_BASIC, basic);
  stats.Read(TCA_STATS_QUEUE, queue);
  uint64_t packets = basic.packets;  // all its bits are there only when needed
  stats.Read(TCA_STATS_PKT64, packets);
  return {minor, packets, basic.bytes, queue.drops, queue.qlen, queue.backlog};
}

}  // namespace

bool Filter::operator==(const Filter& other) const {
  return order == other.order &&
         std::equal(program.begin(), program.end(), other.program.begin(), other.program.end(),
                    [](const sock_filter& a, const sock_filter& b) {
                      return a.code == b.code && a.jt == b.jt && a.jf == b.jf && a.k == b.k;
                    });
}

DeviceState ReadState(Netlink& netlink, int device) {
  DeviceState state;
  const Limits limits = ReadQdiscs(netlink, device, state);
  if (state.isOwn()) {
    ReadClasses(netlink, device, limits, state);
    ForEachFilter(netlink, device, kTreeHandle,
                  [&](uint16_t order, bool isOwn, const Attributes& options) {
                    state.filters.push_back({order, isOwn ? ProgramIn(options) : Program{}});
                  });
  }
  if (state.hasHooks) ReadHooks(netlink, device, state);
  return state;
}

std::set<int> DevicesWithTree(Netlink& netlink) {
  Message message(RTM_GETQDISC, 0);
  message.Fixed<tcmsg>();
  const std::vector<char> answer = netlink.Dump(message);
  std::set<int> devices;
  for (const nlmsghdr* one : MessagesIn(answer)) {
    const auto& found = FixedOf<tcmsg>(*one);
    if (found.tcm_parent == TC_H_ROOT && found.tcm_handle == kTreeHandle &&
        Attributes(*one, sizeof found).Text(TCA_KIND) == "htb") {
      devices.insert(found.tcm_ifindex);
    }
  }
  return devices;
}

std::vector<Operation> RemovalOf(const DeviceState& state) {
  std::vector<Operation> operations;
  if (state.redirect != 0 && state.hasOthersFilters) operations.emplace_back(RemoveRedirect{});
  // At once, so that no failure in between leaves hooks that nobody would remove.
  if (state.redirect != 0 && !state.hasOthersFilters) operations.emplace_back(RemoveHooks{});
  if (state.isOwn()) operations.emplace_back(RemoveTree{});
  return operations;
}

std::vector<ClassCounters> ReadCounters(Netlink& netlink, int device) {
  std::vector<ClassCounters> counters;
  ForEach(netlink, RTM_GETTCLASS, device, 0, [&](const tcmsg& fixed, const Attributes& attributes) {
    if (IsInTree(fixed.tcm_handle)) {
      counters.push_back(CountersIn(Minor(fixed.tcm_handle), attributes));
    }
  });
  return counters;
}

}  // namespace hqosd::kernel
