// A class of hqosd's own qdisc.
#pragma once

#include <cstdint>
#include <optional>

#include "hqosd.h"

namespace hqosd::kernel {

constexpr uint16_t kMajor = HQOSD_KERNEL_MAJOR;  // of hqosd's own qdisc

constexpr uint32_t ClassId(uint16_t minor) { return uint32_t{kMajor} << 16 | minor; }

struct Class {
  uint16_t minor, parent;  // parent 0: below the qdisc itself
  uint64_t rate, ceil;     // bytes/s
  uint32_t burst, cburst;  // how long the buckets last, in the kernel's ticks of 64 ns
  uint32_t priority = 0;   // 0 first; of a leaf
  uint32_t quantum = 0;    // bytes; of a leaf
  std::optional<uint32_t> limit = std::nullopt;  // of the leaf's queue, in packets
  bool operator==(const Class&) const = default;
};

}  // namespace hqosd::kernel
