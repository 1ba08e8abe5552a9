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

// All three take an IF_Select and return 0, or ENOSPC when the selection is full.
int32_t IF_Select_Init(uint32_t kind, void* select);
int32_t IF_SelectType_Set(uint32_t type, void* select);
int32_t IF_SelectProperty_Set(uint32_t property, void* select);

#ifndef HQOS_REAL_PLATFORM
// Writes to `name` (16 bytes) the name of the machine's interface that follows `after` in the order
// of names (empty: the first). A selection with any type offers all interfaces, one without a type
// none. Returns 1, or 0 when none follows.
int32_t IF_Select_GetNext(const IF_Select* select, const char* after, char* name);
#endif

#ifdef __cplusplus
}
#endif

#endif
