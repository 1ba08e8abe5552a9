// The right to change the traffic control of a network namespace: one process at a time has it.
#pragma once

namespace hqosd::kernel {

class Claim {
 public:
  // Throws a NetlinkError with the reason: the kernel does not let this process change traffic
  // control, or another hqosd has claimed it.
  Claim();
  ~Claim();
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

 private:
  int fd_;
};

}  // namespace hqosd::kernel
