#include "platform/interface.h"

#include <errno.h>
#include <net/if.h>
#include <string.h>

#include "platform/host/chassis.h"

uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void* data) {
  if (item != IF_DATA_SLOT) return EINVAL;
  char name[IF_NAMESIZE];
  if (if_indextoname(ifIndex, name) == nullptr) return ENXIO;
  const uint16_t slot = hqos::host::SlotOfInterface(name);
  memcpy(data, &slot, sizeof slot);
  return 0;
}
