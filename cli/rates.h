// Rates of counters.
#pragma once

#include <cmath>
#include <cstdint>

namespace hqosctl {

// How much a counter has grown. One that is lower than before has begun again at zero.
constexpr uint64_t Grown(uint64_t before, uint64_t now) {
  return now >= before ? now - before : now;
}

// The same a second, to the nearest whole number.
inline uint64_t Rate(uint64_t before, uint64_t now, double seconds) {
  if (seconds <= 0) return 0;
  const double rate = std::round(static_cast<double>(Grown(before, now)) / seconds);
  return rate < 0x1p64 ? static_cast<uint64_t>(rate) : UINT64_MAX;
}

}  // namespace hqosctl
