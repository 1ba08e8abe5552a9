// The kernel of a network namespace, for tests, and one that refuses what is asked.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "service/kernel/links.h"
#include "service/kernel/traffic_control.h"
#include "tests/namespace.h"

namespace net {

using namespace hqosd::kernel;

constexpr uint32_t kTicksPerMs = 15625;
constexpr uint64_t kMbit = 125'000;  // bytes/s

inline Class Inner(uint16_t minor, uint16_t parent, uint64_t rate) {
  return {minor, parent, rate, rate, 4 * kTicksPerMs, 5 * kTicksPerMs};
}

inline Class Leaf(uint16_t minor, uint16_t parent, uint64_t rate, uint64_t ceil, uint32_t limit) {
  return {minor, parent, rate, ceil, 4 * kTicksPerMs, 20 * kTicksPerMs, minor % 8u, 1522, limit};
}

// Every frame to that class.
inline Program AllTo(uint16_t minor) { return {{BPF_RET | BPF_K, 0, 0, ClassId(minor)}}; }

// What the kernel has on an interface and on its ifb.
struct Trees {
  DeviceState out, in;
  bool isRedirected;
  bool operator==(const Trees&) const = default;
};

// A namespace with two connected interfaces; what is tested leaves by the first.
class Kernel : public testing::Test {
 protected:
  void SetUp() override {
    const std::string why = net::WhyNotEntered();
    if (!why.empty()) GTEST_SKIP() << why;
    netlink_.emplace();
    net::AddPair(*netlink_, "near", "far");
    device_ = net::IndexOf("near");
  }

  void Do(const std::vector<Operation>& operations) { DoAt(device_, operations); }
  void DoAt(int device, const std::vector<Operation>& operations) {
    const Outcome outcome = Apply(*netlink_, device, operations);
    if (outcome.failure) {
      FAIL() << "operation " << outcome.done << ": " << outcome.failure->text;
    }
  }
  void Build(const std::vector<Class>& classes, uint16_t defaultMinor) {
    std::vector<Operation> operations{AddTree{defaultMinor}};
    for (const Class& one : classes) {
      operations.emplace_back(AddClass{one});
      if (one.limit) operations.emplace_back(SetQueue{one.minor, *one.limit});
    }
    Do(operations);
  }
  Trees ReadTrees() {
    const int device = net::IndexOf("near"), ifb = net::IndexOf(IfbName(device));
    Trees trees{ReadState(*netlink_, device), ReadState(*netlink_, ifb), false};
    trees.isRedirected = ifb != 0 && std::exchange(trees.out.redirect, 0) == ifb;
    return trees;
  }
  ClassCounters CountersOf(uint16_t minor) {
    for (const ClassCounters& one : ReadCounters(*netlink_, device_)) {
      if (one.minor == minor) return one;
    }
    return {};
  }

  std::optional<Netlink> netlink_;
  int device_ = 0;
};

// Passes everything on, but refuses one message, or fails there, and disturbs the first dump.
class Disturber : public Transport {
 public:
  explicit Disturber(int refused = 0) : left_(refused) {}
  void Refuse(int refused, bool fails) {
    left_ = refused;
    fails_ = fails;
  }

  void End() { hasEnded_ = true; }  // fails always, from now on

  void Send(const nlmsghdr& message) override {
    if (hasEnded_) throw NetlinkError(EPIPE, "no kernel");
    if ((message.nlmsg_flags & NLM_F_ACK) != 0 && --left_ == 0) {
      if (fails_) throw NetlinkError(ENOBUFS, "no room");
      Message answer(NLMSG_ERROR, 0);
      answer.header()->nlmsg_seq = message.nlmsg_seq;
      answer.Fixed<nlmsgerr>().error = -EDQUOT;
      const auto* bytes = reinterpret_cast<const char*>(answer.header());
      answer_.assign(bytes, bytes + answer.header()->nlmsg_len);
      return;
    }
    kernel_->Send(message);
  }
  size_t Receive(std::span<char> room) override {
    if (!answer_.empty()) {
      const size_t length = answer_.size();
      std::copy(answer_.begin(), answer_.end(), room.begin());
      answer_.clear();
      return length;
    }
    const size_t length = kernel_->Receive(room);
    const auto messages = MessagesIn({room.data(), length});
    const nlmsghdr& last = *messages.back();
    if ((last.nlmsg_flags & NLM_F_MULTI) == 0 || last.nlmsg_type == NLMSG_DONE) return length;
    switch (++dumps_) {
      case 1:
        const_cast<nlmsghdr*>(messages.front())->nlmsg_flags |= NLM_F_DUMP_INTR;
        return length;
      case 2:
        return 0;  // lost
      default:
        return length;
    }
  }
  uint32_t port() const override { return kernel_->port(); }

 private:
  std::unique_ptr<Transport> kernel_ = OpenSocket();
  std::vector<char> answer_;
  int left_, dumps_ = 0;
  bool fails_ = false, hasEnded_ = false;
};

}  // namespace net
