// The time that a command may take.
#pragma once

#include <chrono>

namespace hqosctl {

// Bounds each command, and restarts the time of this one. Without a bound, a service that does not
// answer is waited for.
void SetTimeout(double seconds);

// A command, or a round of a watch, begins: its time runs from now on.
void RestartTimeout();

constexpr auto kUnbounded = std::chrono::nanoseconds::max();

// What is left of the command's time: kUnbounded without a bound, 0 or less when it is up.
std::chrono::nanoseconds TimeLeft();

}  // namespace hqosctl
