// A network namespace of its own for a test or a benchmark, with devices and frames in it.
#pragma once

#include <linux/if_ether.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "service/kernel/operations.h"

namespace net {

using Frame = std::vector<uint8_t>;

// Puts the process into a network namespace, and a user namespace where that is needed. The reason
// when the machine does not let it, or its kernel has not what is needed; else empty.
std::string WhyNotEntered();

// Another one, without a process.
class Peer {
 public:
  Peer();
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Enter() const;  // the calling thread
  int fd() const { return fd_; }

 private:
  int fd_;
};

// Two interfaces that are connected to each other, up, and silent; the second one at the peer, if
// there is one.
void AddPair(hqosd::kernel::Netlink& netlink, const std::string& a, const std::string& b,
             const Peer* peer = nullptr);

int IndexOf(const std::string& name);

// Changes something about an interface: an attribute, or whether it is up.
template <class Value>
void SetLink(hqosd::kernel::Netlink& netlink, int device, uint16_t attribute, const Value& value) {
  hqosd::kernel::Message message(RTM_NEWLINK, 0);
  message.Fixed<ifinfomsg>().ifi_index = device;
  message.Put(attribute, value);
  if (netlink.Do(message)) std::abort();
}
void TakeDown(hqosd::kernel::Netlink& netlink, int device);

// Of a network of 24 bits.
void AddAddress(hqosd::kernel::Netlink& netlink, const std::string& name, const char* address);
sockaddr_in AddressOf(const char* address, uint16_t port);

// Sends and receives whole frames by an interface, in a way of its own: without IP.
class Port {
 public:
  // Receives frames of all protocols where they come in; those of one after the hooks for filters.
  explicit Port(const std::string& name, uint16_t protocol = ETH_P_ALL);
  ~Port();
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  void Mark(uint32_t mark) const;  // those that are sent from now on
  // False when they are refused: the queue is full.
  bool Send(const Frame& frame) const;
  // Those that arrived from the other end, until none has for that time.
  std::vector<Frame> Receive(int milliseconds) const;
  // Until a frame is there, at most so long.
  void Wait(int milliseconds) const;

 private:
  int fd_;
};

}  // namespace net
