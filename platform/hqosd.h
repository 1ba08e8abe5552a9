// What hqosd, the stand-in service, decides for itself: its status codes and debug selectors. They
// are not the library's; another hqos service has its own.
#ifndef HQOS_PLATFORM_HQOSD_H
#define HQOS_PLATFORM_HQOSD_H

typedef enum HQOSD_Status {
  HQOSD_MALFORMED = 0x40020001,  // the request cannot be read
  HQOSD_UNKNOWN = 0x40020002,    // no such command or query
  HQOSD_BAD_NAME = 0x40020003,   // an empty name, or one with control characters
  HQOSD_BAD_VALUE = 0x40020004,  // a value out of its range
  HQOSD_EXISTS = 0x40020005,     // the name is taken
  HQOSD_ID_TAKEN = 0x40020006,   // the identifier is taken, or none is free
  HQOSD_NOT_FOUND = 0x40020007,  // no object of that name
  HQOSD_END = 0x40020008,        // nothing follows: the end of a walk
  HQOSD_IN_USE = 0x40020009,     // another object needs it, or it still has children
  HQOSD_NESTED = 0x4002000A,     // the child is nested there already
  HQOSD_RULE = 0x4002000B,       // a rule that cannot stand, alone or beside its siblings'
  HQOSD_TOO_DEEP = 0x4002000C    // a cycle, or more than five levels below an SP
} HQOSD_Status;

typedef enum HQOSD_Debug {     // bits of the selector of HQOS_lib_SetDebug
  HQOSD_DEBUG_REQUESTS = 0x1,  // log every request with its verdict
  HQOSD_DEBUG_BYTES = 0x2      // log the bytes of every request and reply
} HQOSD_Debug;

#endif
