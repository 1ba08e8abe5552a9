// The chassis file, read anew at each call: the layer keeps no state.
#include "platform/host/chassis.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/host/toml.h"
#include "platform/slot.h"
#include "platform/text.h"

namespace hqos::host {

namespace {

struct Chassis {
  uint16_t self = 0;
  std::vector<Slot> slots;
  toml::table file;
  uint32_t line = 0;            // of the fault
  const char* fault = nullptr;  // why the file cannot be used
};

bool Fail(Chassis& chassis, const toml::node& at, const char* fault) {
  chassis.line = at.source().begin.line;
  chassis.fault = fault;
  return false;
}

// A number from the file that is below 65535; false when there is none.
bool ReadNumber(const toml::node_view<toml::node>& from, uint16_t& number) {
  const auto value = from.value<int64_t>();
  if (!value || *value < 0 || *value >= 0xFFFF) return false;
  number = static_cast<uint16_t>(*value);
  return true;
}

bool AreStrings(const toml::node_view<toml::node>& view) {
  if (!view) return true;
  const auto* const all = view.as_array();
  return all != nullptr && std::all_of(all->begin(), all->end(),
                                       [](const toml::node& one) { return one.is_string(); });
}

bool ReadSlot(Chassis& chassis, toml::node& entry) {
  const toml::node_view<toml::node> slot(entry);
  if (slot["up"] && !slot["up"].is_boolean()) {
    return Fail(chassis, *slot["up"].node(), "up is neither true nor false");
  }
  Slot one{0, 0, slot["up"].value_or(true)};
  if (!ReadNumber(slot["number"], one.number)) {
    return Fail(chassis, entry, "the slot has no number from 0 to 65534");
  }
  one.node = static_cast<uint16_t>(one.number + 1);
  if (slot["node"] && (!ReadNumber(slot["node"], one.node) || one.node == 0)) {
    return Fail(chassis, *slot["node"].node(), "node is not a number from 1 to 65534");
  }
  if (one.node == kNoNode) return Fail(chassis, entry, "slot 65534 needs a node of its own");
  if (!AreStrings(slot["interfaces"])) {
    return Fail(chassis, *slot["interfaces"].node(), "interfaces is not an array of names");
  }
  for (const Slot& other : chassis.slots) {
    if (other.number == one.number) return Fail(chassis, entry, "another slot has this number");
    if (other.node == one.node) return Fail(chassis, entry, "another slot has this node");
  }
  chassis.slots.push_back(one);
  return true;
}

bool ReadSlots(Chassis& chassis) {
  auto* const slots = chassis.file["slot"].as_array();
  if (slots == nullptr) return Fail(chassis, chassis.file, "there is no [[slot]]");
  if (!ReadNumber(chassis.file["self"], chassis.self)) {
    return Fail(chassis, chassis.file, "self is not a slot's number");
  }
  for (auto& entry : *slots) {
    if (!ReadSlot(chassis, entry)) return false;
  }
  std::sort(chassis.slots.begin(), chassis.slots.end(),
            [](const Slot& a, const Slot& b) { return a.number < b.number; });
  const bool isThere = std::any_of(chassis.slots.begin(), chassis.slots.end(),
                                   [&](const Slot& slot) { return slot.number == chassis.self; });
  return isThere || Fail(chassis, *chassis.file["self"].node(), "self is none of the slots");
}

const char* FileName() {
  const char* const file = secure_getenv("HQOS_CHASSIS");
  return file != nullptr && *file != '\0' ? file : nullptr;
}

// `why` gets the reason and its line when the file that there is cannot be used.
Chassis Read(std::string* why = nullptr) {
  Chassis chassis;
  struct stat info {};
  if (FileName() != nullptr && stat(FileName(), &info) == 0 && !S_ISREG(info.st_mode)) {
    // A pipe would hold the caller up.
    if (why != nullptr) *why = " it is not a regular file";
  } else if (FileName() != nullptr) {
    toml::parse_result parsed = toml::parse_file(FileName());
    const bool isParsed = static_cast<bool>(parsed);
    if (isParsed) {
      chassis.file = std::move(parsed).table();
      if (ReadSlots(chassis)) return chassis;
    }
    if (why != nullptr) {
      const std::string_view reason =
          isParsed ? chassis.fault
                   : parsed.error().description();  // NOLINT(bugprone-use-after-move)
      const uint32_t line =
          isParsed ? chassis.line
                   : parsed.error().source().begin.line;  // NOLINT(bugprone-use-after-move)
      *why = (line != 0 ? std::to_string(line) + ": " : " ") + std::string(reason);
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

uint32_t DEV_GetChassisFault(char* text, uint32_t room) {
  std::string why;
  hqos::host::Read(&why);
  if (why.empty()) return 0;
  scnprintf(text, room, "%s:%s", hqos::host::FileName(), why.c_str());
  return 1;
}
