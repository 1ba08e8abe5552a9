#include "platform/slot.h"

#include "platform/host/chassis.h"

namespace {

using hqos::host::Slot;

// The slot with that number; its node is kNoNode when there is none.
Slot FindSlot(uint16_t number) {
  Slot found{number, hqos::host::kNoNode, false};
  hqos::host::VisitSlots(
      [](const Slot& slot, void* user) {
        auto* const f = static_cast<Slot*>(user);
        if (slot.number == f->number) *f = slot;
      },
      &found);
  return found;
}

}  // namespace

uint16_t DEV_GetSelfSlot(void) {
  return hqos::host::VisitSlots([](const Slot&, void*) {}, nullptr);
}

void DEV_GetSlotRange(uint16_t* lowest, uint16_t* highest) {
  struct Range {
    uint16_t lowest, highest;
  } range{0xFFFF, 0};
  hqos::host::VisitSlots(
      [](const Slot& slot, void* user) {
        auto* const r = static_cast<Range*>(user);
        if (slot.number < r->lowest) r->lowest = slot.number;
        if (slot.number > r->highest) r->highest = slot.number;
      },
      &range);
  *lowest = range.lowest;
  *highest = range.highest;
}

uint32_t DEV_GetPhysicalSlotByGlobalSlot(uint16_t slot, uint16_t* first, uint16_t* second) {
  if (FindSlot(slot).node == hqos::host::kNoNode) return 1;
  *first = 0;
  *second = slot;
  return 0;
}

uint16_t IF_IsSlotUp(uint16_t slot) { return FindSlot(slot).up ? 1 : 0; }

uint32_t LIP_GetNodeLip(uint16_t first, uint16_t second, uint32_t) {
  return first == 0 ? FindSlot(second).node : hqos::host::kNoNode;
}
