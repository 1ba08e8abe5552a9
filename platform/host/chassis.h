// The chassis of a host.
#pragma once

#include <stdint.h>

namespace hqos::host {

constexpr uint16_t kNoNode = 0xFFFF;

struct Slot {
  uint16_t number;
  uint16_t node;
  bool up;
};

// The slots, in the order of their numbers, each given to `visit` with the user's pointer; the slot
// on which the programs run is returned.
uint16_t VisitSlots(void (*visit)(const Slot& slot, void* user), void* user);

// The slot of the interface.
uint16_t SlotOfInterface(const char* name);

// The node of the slot on which the programs run.
uint16_t SelfNode();

}  // namespace hqos::host
