#include "platform/text.h"

#include <stdarg.h>
#include <stdio.h>

size_t strlcpy(char* to, const char* from, size_t room) {
  const size_t length = strlen(from);
  if (room == 0) return length;
  const size_t kept = length < room ? length : room - 1;
  memcpy(to, from, kept);
  to[kept] = '\0';
  return length;
}

int scnprintf(char* to, size_t room, const char* format, ...) {
  if (room == 0) return 0;
  va_list arguments;
  va_start(arguments, format);
  const int wanted = vsnprintf(to, room, format, arguments);
  va_end(arguments);
  if (wanted < 0) {
    *to = '\0';
    return 0;
  }
  return static_cast<size_t>(wanted) < room ? wanted : static_cast<int>(room) - 1;
}
