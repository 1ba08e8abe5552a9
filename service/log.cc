#include "service/log.h"

#include <cstdarg>
#include <cstdio>

namespace hqosd {

void Log(const char* format, ...) {
  char line[4096];  // holds the bytes of the largest message
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  std::fprintf(stderr, "hqosd: %s\n", line);
}

}  // namespace hqosd
