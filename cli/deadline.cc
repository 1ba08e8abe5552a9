#include "cli/deadline.h"

namespace hqosctl {

namespace {

using Clock = std::chrono::steady_clock;

auto g_timeout = Clock::duration::zero();  // zero: unbounded
Clock::time_point g_end;

}  // namespace

void SetTimeout(double seconds) {
  g_timeout = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  RestartTimeout();
}

void RestartTimeout() { g_end = Clock::now() + g_timeout; }

std::chrono::nanoseconds TimeLeft() {
  return g_timeout == Clock::duration::zero() ? kUnbounded : g_end - Clock::now();
}

}  // namespace hqosctl
