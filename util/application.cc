// What an SP can be applied to: values of application objects, and selections of interfaces.
#include <string.h>

#include "hqos.h"
#include "platform/if_select.h"
#include "platform/interface.h"

// ---- Values, by the type of the object ----------------------------------------------------------

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

// ---- Interfaces ---------------------------------------------------------------------------------

namespace {

// The platform's interface types of a bit of the mask; 0 ends them.
struct Kind {
  uint8_t bit;
  uint8_t types[6];
};
constexpr Kind kKinds[] = {{0x01, {18, 19, 21, 68, 69, 88}},
                           {0x02, {22, 23, 25, 70, 71, 89}},
                           {0x04, {31}},
                           {0x08, {4}},
                           {0x20, {35}},
                           {0x40, {29}},
                           {0x80, {27}},
                           {0x10, {9}}};

constexpr uint32_t kSelection = 2;  // the platform's kind of selection
constexpr uint8_t kWithProperty = 0x10;
constexpr uint32_t kProperty = 4;

}  // namespace

int32_t HQOS_util_InitIfSelect(uint8_t mask, void* select) {
  // The sum may overflow, which only unsigned numbers do well.
  auto sum = static_cast<uint32_t>(IF_Select_Init(kSelection, select));
  for (const Kind& kind : kKinds) {
    if ((mask & kind.bit) == 0) continue;
    for (const uint8_t type : kind.types) {
      if (type == 0) break;
      sum += static_cast<uint32_t>(IF_SelectType_Set(type, select));
    }
    if (kind.bit == kWithProperty) IF_SelectProperty_Set(kProperty, select);
  }
  return static_cast<int32_t>(sum);
}
