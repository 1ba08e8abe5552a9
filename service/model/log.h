// Log lines, to standard error.
#pragma once

namespace hqosd {

[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...);

// The same for what any client can cause: a few lines a second at most, so that nobody fills a disk
// with them. How many were left out is said later.
[[gnu::format(printf, 1, 2)]] void LogBounded(const char* format, ...);

}  // namespace hqosd
