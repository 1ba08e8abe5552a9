// A network namespace of its own for a test or a benchmark, with devices and frames in it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/kernel/operations.h"

namespace net {

using Frame = std::vector<uint8_t>;

// Puts the process into a network namespace, and a user namespace where that is needed. The reason
// when the machine does not let it, or its kernel has not what is needed; else empty.
std::string WhyNotEntered();

// Two interfaces that are connected to each other, up, and silent.
void AddPair(hqosd::kernel::Netlink& netlink, const std::string& a, const std::string& b);

int IndexOf(const std::string& name);

// Sends and receives whole frames by an interface, in a way of its own: without IP.
class Port {
 public:
  explicit Port(const std::string& name);
  ~Port();
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  void Mark(uint32_t mark) const;  // those that are sent from now on
  // False when they are refused: the queue is full.
  bool Send(const Frame& frame) const;
  // Those that arrived from the other end, until none has for that time.
  std::vector<Frame> Receive(int milliseconds) const;

 private:
  int fd_;
};

}  // namespace net
