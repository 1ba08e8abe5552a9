// What the service tells a service manager that has started it, by sd_notify(3): when it is ready,
// that it lives, and when it ends. Without one nothing happens.
#pragma once

#include <sys/time.h>
#include <systemd/sd-daemon.h>

#include <cstdint>
#include <optional>

namespace hqosd {

inline void ReportReady() { sd_notify(0, "READY=1"); }
inline void ReportAlive() { sd_notify(0, "WATCHDOG=1"); }
inline void ReportEnd() { sd_notify(0, "STOPPING=1"); }

// How often the service manager is to learn that the service lives: half of the time after which it
// ends one that does not report. None when it does not ask.
inline std::optional<timeval> ReportInterval() {
  uint64_t limit = 0;  // microseconds
  if (sd_watchdog_enabled(0, &limit) <= 0) return std::nullopt;
  constexpr uint64_t kSecond = 1'000'000;
  return timeval{static_cast<time_t>(limit / 2 / kSecond),
                 static_cast<suseconds_t>(limit / 2 % kSecond)};
}

}  // namespace hqosd
