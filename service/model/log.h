// Log lines, to standard error. One event is one line: control characters in it become spaces.
#pragma once

namespace hqosd {

// As in syslog(3). Lines for the journal begin with their level; see sd-daemon(3).
enum class Level { Error = 3, Warning = 4, Info = 6, Debug = 7 };

[[gnu::format(printf, 2, 3)]] void Log(Level level, const char* format, ...);
// Information.
[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...);

// These are for what any client can cause: so many lines a second at most, so that nobody fills a
// disk with them. How many were left out is said later. A few warnings:
[[gnu::format(printf, 1, 2)]] void LogBounded(const char* format, ...);
// What somebody who may configure has asked for:
[[gnu::format(printf, 1, 2)]] void LogDebug(const char* format, ...);

}  // namespace hqosd
