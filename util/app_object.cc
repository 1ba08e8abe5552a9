// Values of application objects, by the type of the object.
#include <string.h>

#include "hqos.h"
#include "platform/interface.h"

uint32_t HQOS_util_GetAppObjByType(uint32_t type, uint32_t value, uint32_t* field) {
  switch (type) {
    case HQOS_APPOBJ_SLOT:
    case HQOS_APPOBJ_ID:
      *field = value & 0xFFFF;
      return 0;
    case HQOS_APPOBJ_SYSTEM:
      *field = 0;
      return 0;
    case HQOS_APPOBJ_IFINDEX:
      *field = value;
      return 0;
    default:
      return HQOS_ERR_FAILED;
  }
}

uint32_t HQOS_util_GetAppObjByTypeEx(uint32_t type, uint32_t value, void* field) {
  uint32_t packed;
  const uint32_t status = HQOS_util_GetAppObjByType(type, value, &packed);
  if (status != 0) return status;
  const bool is16Bit = type == HQOS_APPOBJ_SLOT || type == HQOS_APPOBJ_ID;
  if (is16Bit) {
    memcpy(field, &packed, sizeof(uint16_t));
  } else {
    memcpy(field, &packed, sizeof packed);
  }
  return 0;
}

uint32_t HQOS_util_GetAppSlotByType(uint32_t type, uint32_t value, uint16_t* slot) {
  switch (type) {
    case HQOS_APPOBJ_SLOT:
      *slot = static_cast<uint16_t>(value);
      return 0;
    case HQOS_APPOBJ_ID:
    case HQOS_APPOBJ_SYSTEM:
      *slot = HQOS_SLOT_NONE;
      return 0;
    case HQOS_APPOBJ_IFINDEX: {
      uint16_t found = HQOS_SLOT_NONE;
      const uint32_t status = IF_GetDataByIfIndex(value, IF_DATA_SLOT, &found);
      if (status == 0) *slot = found;
      return status;
    }
    default:
      return HQOS_ERR_FAILED;
  }
}
