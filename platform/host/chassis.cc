// The chassis file, read again at each call: the layer keeps no state.
#include "platform/host/chassis.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host/toml.h"
#include "platform/slot.h"
#include "platform/text.h"

namespace hqos::host {

namespace {

// Why a file cannot be used, and where.
struct Fault {
  uint32_t line = 0;
  std::string reason;

  bool Set(const toml::node& at, const char* text) {
    line = at.source().begin.line;
    reason = text;
    return false;
  }
};

// Reads a number below 65535; false when there is none.
bool ReadNumber(const toml::node_view<toml::node>& from, uint16_t& number) {
  const auto value = from.value<int64_t>();
  if (!value || *value < 0 || *value >= 0xFFFF) return false;
  number = static_cast<uint16_t>(*value);
  return true;
}

// Reads an array of strings; no value is an empty array.
bool ReadStrings(const toml::node_view<toml::node>& from, std::vector<std::string>& strings) {
  if (!from) return true;
  const auto* const array = from.as_array();
  if (array == nullptr) return false;
  for (const toml::node& element : *array) {
    if (!element.is_string()) return false;
    strings.push_back(element.as_string()->get());
  }
  return true;
}

bool ReadSlot(toml::node& entry, Chassis& chassis, Fault& fault) {
  const toml::node_view<toml::node> table(entry);
  if (table["up"] && !table["up"].is_boolean()) {
    return fault.Set(*table["up"].node(), "up is neither true nor false");
  }
  Slot slot{0, 0, table["up"].value_or(true), {}};
  if (!ReadNumber(table["number"], slot.number)) {
    return fault.Set(entry, "the slot has no number from 0 to 65534");
  }
  slot.node = static_cast<uint16_t>(slot.number + 1);
  if (table["node"] && (!ReadNumber(table["node"], slot.node) || slot.node == 0)) {
    return fault.Set(*table["node"].node(), "node is not a number from 1 to 65534");
  }
  if (slot.node == kNoNode) return fault.Set(entry, "slot 65534 needs a node of its own");
  if (!ReadStrings(table["interfaces"], slot.interfaces)) {
    return fault.Set(*table["interfaces"].node(), "interfaces is not an array of names");
  }
  if (chassis.FindSlot(slot.number) != nullptr) {
    return fault.Set(entry, "another slot has this number");
  }
  if (chassis.FindNode(slot.node) != nullptr) {
    return fault.Set(entry, "another slot has this node");
  }
  chassis.slots.push_back(std::move(slot));
  return true;
}

bool ReadTable(toml::table& file, Chassis& chassis, Fault& fault) {
  auto* const slots = file["slot"].as_array();
  if (slots == nullptr) return fault.Set(file, "there is no [[slot]]");
  if (!ReadNumber(file["self"], chassis.self)) {
    return fault.Set(file, "self is not a slot's number");
  }
  for (auto& entry : *slots) {
    if (!ReadSlot(entry, chassis, fault)) return false;
  }
  std::sort(chassis.slots.begin(), chassis.slots.end(),
            [](const Slot& a, const Slot& b) { return a.number < b.number; });
  return chassis.FindSlot(chassis.self) != nullptr ||
         fault.Set(*file["self"].node(), "self is none of the slots");
}

bool ReadFile(const char* name, Chassis& chassis, Fault& fault) {
  struct stat info {};
  if (stat(name, &info) != 0 || access(name, R_OK) != 0) {
    fault.reason = std::strerror(errno);
    return false;
  }
  if (!S_ISREG(info.st_mode)) {
    fault.reason = "it is not a regular file";  // reading a pipe would block
    return false;
  }
  toml::parse_result parsed = toml::parse_file(name);
  if (parsed) return ReadTable(parsed.table(), chassis, fault);
  fault = {parsed.error().source().begin.line, std::string(parsed.error().description())};
  return false;
}

const char* FileName() {
  const char* const file = secure_getenv("HQOS_CHASSIS");
  return file != nullptr && *file != '\0' ? file : nullptr;
}

const Slot* Find(const std::vector<Slot>& slots, uint16_t Slot::*member, uint16_t value) {
  const auto found = std::find_if(slots.begin(), slots.end(),
                                  [&](const Slot& slot) { return slot.*member == value; });
  return found != slots.end() ? &*found : nullptr;
}

}  // namespace

const Slot* Chassis::FindSlot(uint16_t number) const { return Find(slots, &Slot::number, number); }
const Slot* Chassis::FindNode(uint16_t node) const { return Find(slots, &Slot::node, node); }

Chassis ReadChassis(std::string* error) {
  Chassis chassis;
  Fault fault;
  if (FileName() != nullptr) {
    if (ReadFile(FileName(), chassis, fault)) return chassis;
    if (error != nullptr) {
      *error = (fault.line != 0 ? std::to_string(fault.line) + ": " : " ") + fault.reason;
    }
  }
  return {0, {{0, 1, true, {}}}};
}

}  // namespace hqos::host

uint32_t DEV_GetChassisFault(char* text, uint32_t room) {
  std::string error;
  hqos::host::ReadChassis(&error);
  if (error.empty()) return 0;
  scnprintf(text, room, "%s:%s", hqos::host::FileName(), error.c_str());
  return 1;
}
