#include "service/model/log.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>

namespace hqosd {

namespace {

using Clock = std::chrono::steady_clock;
constexpr unsigned kMostLines = 10;  // a second

void Print(const char* format, va_list arguments) {
  char line[4096];  // holds the bytes of the largest message
  std::vsnprintf(line, sizeof line, format, arguments);
  std::fprintf(stderr, "hqosd: %s\n", line);
}

}  // namespace

void Log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Print(format, arguments);
  va_end(arguments);
}

void LogBounded(const char* format, ...) {
  static Clock::time_point s_second;
  static unsigned s_lines = 0;
  const Clock::time_point now = Clock::now();
  if (now - s_second >= std::chrono::seconds(1)) {
    if (s_lines > kMostLines) Log("%u lines were left out", s_lines - kMostLines);
    s_second = now;
    s_lines = 0;
  }
  if (++s_lines > kMostLines) return;
  va_list arguments;
  va_start(arguments, format);
  Print(format, arguments);
  va_end(arguments);
}

}  // namespace hqosd
