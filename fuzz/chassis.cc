// The file that describes the chassis, by way of the platform's operations.
#include <cstdlib>

#include "fuzz/memory_file.h"
#include "hqos.h"
#include "platform/interface.h"
#include "platform/slot.h"

namespace {

using fuzz::Require;

// Whether there is such a slot: it has coordinates, and a node.
bool Exists(uint16_t slot) {
  uint16_t first = 0x5A5A, second = 0x5A5A;
  const bool exists = DEV_GetPhysicalSlotByGlobalSlot(slot, &first, &second) == 0;
  Require(exists || (first == 0x5A5A && second == 0x5A5A), "no slot leaves the outputs");
  const uint32_t node = HQOS_util_GetLipBySlotId(slot) & 0xFFFF;
  Require(exists == (node != 0xFFFF) && node != 0, "slots have nodes");
  Require(exists || IF_IsSlotUp(slot) == 0, "no slot is not up");
  return exists;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::MemoryFile file;
  static const int set = setenv("HQOS_CHASSIS", file.Name().c_str(), 1);
  Require(set == 0, "the environment can be set");
  file.Write(data, size);
  uint16_t lowest = 1, highest = 0, slot = 0;
  DEV_GetSlotRange(&lowest, &highest);
  const uint16_t self = DEV_GetSelfSlot();
  Require(lowest <= self && self <= highest && highest != HQOS_SLOT_NONE, "slots are in a range");
  Require(Exists(lowest) && Exists(self) && Exists(highest), "the ends of the range are slots");
  Require(!Exists(HQOS_SLOT_NONE), "no slot has no number");
  if (IF_GetDataByIfIndex(1, IF_DATA_SLOT, &slot) == 0) {
    Require(Exists(slot), "an interface is on a slot");
  }
  return 0;
}
