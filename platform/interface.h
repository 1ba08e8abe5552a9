// The platform's interfaces.
#ifndef HQOS_PLATFORM_INTERFACE_H
#define HQOS_PLATFORM_INTERFACE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define IF_DATA_SLOT 6  // data item: the interface's slot, a uint16_t

// Writes a data item of the interface with the given index at `data`. Returns 0, or with `data`
// unchanged a code of the platform; on a host ENXIO for an index that no interface has, EINVAL for
// another item.
uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void* data);

#ifdef __cplusplus
}
#endif

#endif
