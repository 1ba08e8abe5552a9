#include "platform/text.h"

size_t strlcpy(char* to, const char* from, size_t room) {
  const size_t length = strlen(from);
  if (room == 0) return length;
  const size_t kept = length < room ? length : room - 1;
  memcpy(to, from, kept);
  to[kept] = '\0';
  return length;
}
