#include "service/kernel/operations.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_mirred.h>
#include <net/if.h>

#include <algorithm>

namespace hqosd::kernel {

namespace {

constexpr uint16_t kNew = NLM_F_CREATE | NLM_F_EXCL, kSet = NLM_F_CREATE | NLM_F_REPLACE;

struct Place {
  int device;
  uint32_t parent = 0, handle = 0, info = 0;
};

Message TcMessage(uint16_t type, uint16_t flags, const Place& place, const char* kind = nullptr,
                  size_t room = 512) {
  Message message(type, flags, room);
  auto& fixed = message.Fixed<tcmsg>();
  fixed.tcm_family = AF_UNSPEC;
  fixed.tcm_ifindex = place.device;
  fixed.tcm_parent = place.parent;
  fixed.tcm_handle = place.handle;
  fixed.tcm_info = place.info;
  if (kind != nullptr) message.Put(TCA_KIND, std::string(kind));
  return message;
}

// ---- The tree -----------------------------------------------------------------------------------

Message Encode(int device, const AddTree& add) {
  Message message = TcMessage(RTM_NEWQDISC, kNew, {device, TC_H_ROOT, kTreeHandle}, "htb");
  nlattr* options = message.BeginNest(TCA_OPTIONS);
  tc_htb_glob init{};
  init.version = TC_HTB_PROTOVER;
  init.rate2quantum = 10;  // without effect: every leaf has its quantum
  init.defcls = add.defaultMinor;
  message.Put(TCA_HTB_INIT, init);
  message.EndNest(options);
  return message;
}

Message Encode(int device, const RemoveTree&) {
  return TcMessage(RTM_DELQDISC, 0, {device, TC_H_ROOT, kTreeHandle});
}

// The rate in 32 bits, with a mark that the kernel computes the times instead of looking them up in
// a table.
tc_ratespec RateOf(uint64_t rate) {
  tc_ratespec rates{};
  rates.linklayer = TC_LINKLAYER_ETHERNET;
  rates.rate = static_cast<uint32_t>(std::min<uint64_t>(rate, UINT32_MAX));
  return rates;
}

// Of an inner class, which is a leaf until it has its first child: without any the kernel computes
// one and complains about it.
constexpr uint32_t kUnusedQuantum = 1514;

Message ClassMessage(int device, uint16_t flags, const Class& value) {
  const uint32_t parent = value.parent != 0 ? ClassId(value.parent) : TC_H_ROOT;
  Message message = TcMessage(RTM_NEWTCLASS, flags, {device, parent, ClassId(value.minor)}, "htb");
  nlattr* options = message.BeginNest(TCA_OPTIONS);
  tc_htb_opt parameters{};
  parameters.rate = RateOf(value.rate);
  parameters.ceil = RateOf(value.ceil);
  parameters.buffer = value.burst;
  parameters.cbuffer = value.cburst;
  parameters.quantum = value.quantum != 0 ? value.quantum : kUnusedQuantum;
  parameters.prio = value.priority;
  message.Put(TCA_HTB_PARMS, parameters);
  message.Put(TCA_HTB_RATE64, value.rate);
  message.Put(TCA_HTB_CEIL64, value.ceil);
  message.EndNest(options);
  return message;
}

Message Encode(int device, const AddClass& add) { return ClassMessage(device, kNew, add.value); }
Message Encode(int device, const ChangeClass& change) {
  return ClassMessage(device, 0, change.value);
}
Message Encode(int device, const RemoveClass& remove) {
  return TcMessage(RTM_DELTCLASS, 0, {device, 0, ClassId(remove.minor)});
}

// The queue's handle has the number of its class: the kernel searches long for a free one.
Message Encode(int device, const SetQueue& set) {
  Message message = TcMessage(RTM_NEWQDISC, kSet,
                              {device, ClassId(set.minor), uint32_t{set.minor} << 16}, "pfifo");
  message.Put(TCA_OPTIONS, tc_fifo_qopt{set.limit});
  return message;
}

// ---- Filters ------------------------------------------------------------------------------------

Place FilterPlace(int device, uint32_t parent, uint16_t order, uint32_t handle) {
  return {device, parent, handle, TC_H_MAKE(uint32_t{order} << 16, htons(ETH_P_ALL))};
}

void PutProgram(Message& message, const Program& program) {
  message.Put(TCA_BPF_OPS_LEN, static_cast<uint16_t>(program.size()));
  message.Put(TCA_BPF_OPS, program.data(), program.size() * sizeof program[0]);
}

Message Encode(int device, const SetFilter& set) {
  const size_t room = 256 + set.program.size() * sizeof set.program[0];
  Message message =
      TcMessage(RTM_NEWTFILTER, NLM_F_CREATE,
                FilterPlace(device, kTreeHandle, set.order, kProgramHandle), "bpf", room);
  nlattr* options = message.BeginNest(TCA_OPTIONS);
  PutProgram(message, set.program);
  message.EndNest(options);
  return message;
}

Message Encode(int device, const RemoveFilter& remove) {
  // For whichever protocol they are.
  return TcMessage(RTM_DELTFILTER, 0, {device, kTreeHandle, 0, uint32_t{remove.order} << 16});
}

Message Encode(int device, const AddHooks&) {
  return TcMessage(RTM_NEWQDISC, kNew, {device, TC_H_CLSACT, kHooksHandle}, "clsact");
}

Message Encode(int device, const RemoveHooks&) {
  return TcMessage(RTM_DELQDISC, 0, {device, TC_H_CLSACT, kHooksHandle});
}

// A program that takes every frame, with the action on it.
Message Encode(int device, const SetRedirect& set) {
  Message message =
      TcMessage(RTM_NEWTFILTER, NLM_F_CREATE,
                FilterPlace(device, kIncoming, kRedirectOrder, kProgramHandle), "bpf");
  nlattr* options = message.BeginNest(TCA_OPTIONS);
  PutProgram(message, {{BPF_RET | BPF_K, 0, 0, UINT32_MAX}});
  nlattr* actions = message.BeginNest(TCA_BPF_ACT);
  nlattr* first = message.BeginNest(1);
  message.Put(TCA_ACT_KIND, std::string("mirred"));
  nlattr* details = message.BeginNest(TCA_ACT_OPTIONS);
  tc_mirred mirred{};
  mirred.action = TC_ACT_STOLEN;
  mirred.eaction = TCA_EGRESS_REDIR;
  mirred.ifindex = static_cast<uint32_t>(set.device);
  message.Put(TCA_MIRRED_PARMS, mirred);
  for (nlattr* nest : {details, first, actions, options}) message.EndNest(nest);
  return message;
}

Message Encode(int device, const RemoveRedirect&) {
  return TcMessage(RTM_DELTFILTER, 0, FilterPlace(device, kIncoming, kRedirectOrder, 0));
}

// ---- Devices ------------------------------------------------------------------------------------

Message Encode(int, const AddIfb& add) {
  Message message(RTM_NEWLINK, kNew);
  message.Fixed<ifinfomsg>();
  message.Put(IFLA_IFNAME, add.name);
  nlattr* info = message.BeginNest(IFLA_LINKINFO);
  message.Put(IFLA_INFO_KIND, std::string("ifb"));
  message.EndNest(info);
  return message;
}

Message Encode(int device, const RemoveLink&) {
  Message message(RTM_DELLINK, 0);
  message.Fixed<ifinfomsg>().ifi_index = device;
  return message;
}

Message Encode(int device, const BringUp&) {
  Message message(RTM_NEWLINK, 0);
  auto& fixed = message.Fixed<ifinfomsg>();
  fixed.ifi_index = device;
  fixed.ifi_flags = fixed.ifi_change = IFF_UP;
  return message;
}

}  // namespace

Message Encode(int device, const Operation& operation) {
  return std::visit([&](const auto& one) { return Encode(device, one); }, operation);
}

Outcome Apply(Netlink& netlink, int device, std::span<const Operation> operations) {
  for (size_t i = 0; i < operations.size(); ++i) {
    Message message = Encode(device, operations[i]);
    if (auto failure = netlink.Do(message)) return {i, std::move(failure)};
  }
  return {operations.size(), std::nullopt};
}

}  // namespace hqosd::kernel
