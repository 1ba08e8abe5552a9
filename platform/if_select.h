// The platform's interface selection: which interfaces a command line offers.
#ifndef HQOS_PLATFORM_IF_SELECT_H
#define HQOS_PLATFORM_IF_SELECT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// On a host a selection holds the types and properties in the order in which they were set.
typedef struct IF_Select {
  uint32_t kind;
  uint32_t typeCount;
  uint32_t types[32];
  uint32_t propertyCount;
  uint32_t properties[8];
} IF_Select;

// All three take an IF_Select and return 0; ENOSPC when a selection holds no more.
int32_t IF_Select_Init(uint32_t kind, void* select);
int32_t IF_SelectType_Set(uint32_t type, void* select);
int32_t IF_SelectProperty_Set(uint32_t property, void* select);

#ifndef HQOS_REAL_PLATFORM
// The interface of the machine that follows `after` (empty: the first) by name; its name goes to
// `name`, 16 bytes. A selection with any type offers all of them, one without offers none. Returns
// 1, or 0 when none follows.
int32_t IF_Select_GetNext(const IF_Select* select, const char* after, char* name);
#endif

#ifdef __cplusplus
}
#endif

#endif
