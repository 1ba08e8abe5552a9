// Slots, and the slot of an interface.
#include "platform/slot.h"

#include <errno.h>
#include <net/if.h>
#include <string.h>

#include <algorithm>

#include "platform/host/chassis.h"
#include "platform/interface.h"

using hqos::host::Chassis;
using hqos::host::kNoNode;
using hqos::host::ReadChassis;
using hqos::host::Slot;

uint16_t DEV_GetSelfSlot(void) { return ReadChassis().self; }

void DEV_GetSlotRange(uint16_t* lowest, uint16_t* highest) {
  const Chassis chassis = ReadChassis();
  *lowest = chassis.slots.front().number;
  *highest = chassis.slots.back().number;
}

uint32_t DEV_GetPhysicalSlotByGlobalSlot(uint16_t slot, uint16_t* first, uint16_t* second) {
  if (ReadChassis().FindSlot(slot) == nullptr) return 1;
  *first = 0;
  *second = slot;
  return 0;
}

uint16_t IF_IsSlotUp(uint16_t slot) {
  const Chassis chassis = ReadChassis();
  const Slot* const found = chassis.FindSlot(slot);
  return found != nullptr && found->up ? 1 : 0;
}

uint32_t LIP_GetNodeLip(uint16_t first, uint16_t second, uint32_t) {
  const Chassis chassis = ReadChassis();
  const Slot* const found = first == 0 ? chassis.FindSlot(second) : nullptr;
  return found != nullptr ? found->node : kNoNode;
}

uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void* data) {
  if (item != IF_DATA_SLOT) return EINVAL;
  char name[IF_NAMESIZE];
  if (if_indextoname(ifIndex, name) == nullptr) return ENXIO;
  const Chassis chassis = ReadChassis();
  const auto hasInterface = [&](const Slot& slot) {
    return std::find(slot.interfaces.begin(), slot.interfaces.end(), name) != slot.interfaces.end();
  };
  const auto found = std::find_if(chassis.slots.begin(), chassis.slots.end(), hasInterface);
  const uint16_t slot = found != chassis.slots.end() ? found->number : chassis.self;
  memcpy(data, &slot, sizeof slot);
  return 0;
}
