// Starting the service on the slots.
#include <stdlib.h>

#include "hqos.h"
#include "platform/service_manager.h"
#include "platform/slot.h"

namespace {

constexpr char kService[] = "hqos";

uint16_t NodeOf(uint16_t slot) { return static_cast<uint16_t>(HQOS_util_GetLipBySlotId(slot)); }

}  // namespace

uint32_t HQOS_util_GetLipBySlotId(uint16_t slot) {
  uint16_t first = 0xFFFF, second = 0xFFFF;
  DEV_GetPhysicalSlotByGlobalSlot(slot, &first, &second);
  return LIP_GetNodeLip(first, second, 0);
}

uint32_t HQOS_util_IsServiceStarted(uint16_t slot) {
  uint32_t status = 0;
  return SERVICE_GetStatus(NodeOf(slot), kService, 0, &status) == 0 && status != 0 ? 1 : 0;
}

uint32_t HQOS_util_StartService(uint16_t slot) {
  const uint16_t node = NodeOf(slot);
  uint32_t status = 0;
  if (SERVICE_GetStatus(node, kService, 0, &status) == 0 && status != 0) return status;
  return SERVICE_Start(node, kService, 0, 0);
}

void HQOS_util_StartServiceOnAllSlot(void) {
  uint16_t lowest = 0, highest = 0;
  DEV_GetSlotRange(&lowest, &highest);
  auto* const nodes = static_cast<uint16_t*>(calloc(size_t{highest} + 1, sizeof(uint16_t)));
  if (nodes == nullptr) return;
  const uint16_t self = DEV_GetSelfSlot();
  uint32_t count = 0;
  for (uint32_t i = lowest; i <= highest; ++i) {
    const auto slot = static_cast<uint16_t>(i);
    if (IF_IsSlotUp(slot) != 1 || slot == self || HQOS_util_IsServiceStarted(slot) == 1) continue;
    nodes[count++] = NodeOf(slot);
  }
  if (count != 0) SERVICE_BatchStart(nodes, count, kService, 0, 0);
  free(nodes);
}
