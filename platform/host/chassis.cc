// The chassis file, read anew at each call: the layer keeps no state.
#include "platform/host/chassis.h"

#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "platform/host/toml.h"
#include "platform/slot.h"

namespace hqos::host {

namespace {

struct Chassis {
  uint16_t self = 0;
  std::vector<Slot> slots;
  toml::table file;
};

// A number from the file that is below 65535; false when there is none.
bool ReadNumber(const toml::node_view<toml::node>& from, uint16_t& number) {
  const auto value = from.value<int64_t>();
  if (!value || *value < 0 || *value >= 0xFFFF) return false;
  number = static_cast<uint16_t>(*value);
  return true;
}

bool ReadSlots(Chassis& chassis) {
  auto* const slots = chassis.file["slot"].as_array();
  if (slots == nullptr || !ReadNumber(chassis.file["self"], chassis.self)) return false;
  for (auto& entry : *slots) {
    const toml::node_view<toml::node> slot(entry);
    Slot one{0, 0, slot["up"].value_or(true)};
    if (!ReadNumber(slot["number"], one.number)) return false;
    one.node = static_cast<uint16_t>(one.number + 1);
    if (one.node == kNoNode) return false;
    if (slot["node"] && (!ReadNumber(slot["node"], one.node) || one.node == 0)) return false;
    const bool isTaken = std::any_of(
        chassis.slots.begin(), chassis.slots.end(),
        [&](const Slot& other) { return other.number == one.number || other.node == one.node; });
    if (isTaken) return false;
    chassis.slots.push_back(one);
  }
  std::sort(chassis.slots.begin(), chassis.slots.end(),
            [](const Slot& a, const Slot& b) { return a.number < b.number; });
  return std::any_of(chassis.slots.begin(), chassis.slots.end(),
                     [&](const Slot& slot) { return slot.number == chassis.self; });
}

Chassis Read() {
  Chassis chassis;
  const char* const file = secure_getenv("HQOS_CHASSIS");
  if (file != nullptr && *file != '\0') {
    toml::parse_result parsed = toml::parse_file(file);
    if (parsed) {
      chassis.file = std::move(parsed).table();
      if (ReadSlots(chassis)) return chassis;
    }
  }
  Chassis alone;
  alone.slots.push_back({0, 1, true});
  return alone;
}

}  // namespace

uint16_t VisitSlots(void (*visit)(const Slot& slot, void* user), void* user) {
  const Chassis chassis = Read();
  for (const Slot& slot : chassis.slots) visit(slot, user);
  return chassis.self;
}

uint16_t SlotOfInterface(const char* name) {
  Chassis chassis = Read();
  auto* const slots = chassis.file["slot"].as_array();
  if (slots == nullptr) return chassis.self;
  for (auto& entry : *slots) {
    const toml::node_view<toml::node> slot(entry);
    const auto* const names = slot["interfaces"].as_array();
    if (names == nullptr) continue;
    for (const auto& one : *names) {
      uint16_t number = chassis.self;
      if (one.value_or(std::string_view()) == name && ReadNumber(slot["number"], number)) {
        return number;
      }
    }
  }
  return chassis.self;
}

uint16_t SelfNode() {
  struct Search {
    uint16_t self, node;
  } search{DEV_GetSelfSlot(), kNoNode};
  VisitSlots(
      [](const Slot& slot, void* user) {
        auto* const s = static_cast<Search*>(user);
        if (slot.number == s->self) s->node = slot.node;
      },
      &search);
  return search.node;
}

}  // namespace hqos::host
