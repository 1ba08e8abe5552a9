// The platform's bounded text functions.
#ifndef HQOS_PLATFORM_TEXT_H
#define HQOS_PLATFORM_TEXT_H

#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

// Declared here only if the C library does not declare it.
#ifdef __GLIBC__
#if __GLIBC_PREREQ(2, 38)
#define HQOS_LIBC_HAS_STRLCPY
#endif
#endif

#ifndef HQOS_LIBC_HAS_STRLCPY
// Copies `from` into the `room` bytes at `to`: as much as fits, always terminated (room 0: nothing
// is written). Returns the length of `from`.
size_t strlcpy(char* to, const char* from, size_t room);
#endif
#undef HQOS_LIBC_HAS_STRLCPY

// Prints into the `room` bytes at `to`: as much as fits, always terminated (room 0: nothing is
// written). Returns the number of characters stored, without the NUL.
__attribute__((format(printf, 3, 4))) int scnprintf(char* to, size_t room, const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif
