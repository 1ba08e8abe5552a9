// The chassis of a host.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

namespace hqos::host {

constexpr uint16_t kNoNode = 0xFFFF;

struct Slot {
  uint16_t number;
  uint16_t node;
  bool up;
  std::vector<std::string> interfaces;
};

struct Chassis {
  uint16_t self = 0;        // the number of the slot on which the programs run
  std::vector<Slot> slots;  // in the order of their numbers

  // Null when there is no slot of that number, or node.
  const Slot* FindSlot(uint16_t number) const;
  const Slot* FindNode(uint16_t node) const;
};

// Reads the chassis file; without a valid one there is one slot. `error` is set to the line and
// the reason when the file that the environment names cannot be used.
Chassis ReadChassis(std::string* error = nullptr);

}  // namespace hqos::host
