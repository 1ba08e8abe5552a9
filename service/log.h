// Log lines, to standard error.
#pragma once

namespace hqosd {

[[gnu::format(printf, 1, 2)]] void Log(const char* format, ...);

}  // namespace hqosd
