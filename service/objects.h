// What all kinds of objects have in common: finding, creating and deleting them.
#pragma once

#include <algorithm>

#include "lib/payload.h"
#include "service/requests.h"

namespace hqosd {

inline bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// "SP gold", for texts; control characters in a name do not get into them.
inline std::string Title(const char* kind, std::string name) {
  std::replace_if(name.begin(), name.end(), IsControl, '?');
  return std::string(kind) + " " + name;
}

inline bool IsUsableName(const std::string& name) {
  return !name.empty() && std::none_of(name.begin(), name.end(), IsControl);
}

// The object that the payload record names. When there is none, `refusal` says why.
template <class Value>
auto* FindObject(ObjectTable<Value>& table, const char* kind, const std::string& name,
                 Answer& refusal) {
  auto* const object = table.Find(name);
  if (object == nullptr) {
    refusal = Refuse(HQOSD_NOT_FOUND, Title(kind, name) + " does not exist");
  }
  return object;
}

// The same for a payload that may carry an identifier, which must then be the object's own.
template <class Value>
auto* FindObject(ObjectTable<Value>& table, const char* kind, const Payload& payload,
                 Answer& refusal) {
  decltype(table.Find("")) object = nullptr;
  HQOS_ObjPayload key{};
  if (!Read(payload, hqos::kObjPayload, key)) {
    refusal = TooShort();
    return object;
  }
  object = FindObject(table, kind, key.name, refusal);
  if (object != nullptr && key.id != HQOS_ID_NONE && key.id != object->id) {
    refusal = Refuse(HQOSD_BAD_VALUE, Title(kind, key.name) + " has another identifier than " +
                                          std::to_string(key.id));
    object = nullptr;
  }
  return object;
}

template <class Value>
Answer AddObject(ObjectTable<Value>& table, const char* kind, const Payload& payload) {
  HQOS_ObjPayload key{};
  if (!Read(payload, hqos::kObjPayload, key)) return TooShort();
  const std::string title = Title(kind, key.name);
  if (!IsUsableName(key.name)) {
    return Refuse(HQOSD_BAD_NAME, std::string(kind) +
                                      ": a name has 1 to 31 characters, none of them a control "
                                      "character");
  }
  if (table.Find(std::string(key.name)) != nullptr) {
    return Refuse(HQOSD_EXISTS, title + " already exists");
  }
  const uint16_t id = key.id == HQOS_ID_NONE ? table.FreeId() : key.id;
  if (id == HQOS_ID_NONE) return Refuse(HQOSD_ID_TAKEN, title + ": no identifier is free");
  if (const auto* owner = table.Find(id)) {
    return Refuse(HQOSD_ID_TAKEN, title + ": identifier " + std::to_string(id) + " belongs to " +
                                      Title(kind, owner->name));
  }
  table.Add(key.name, id);
  return {};
}

template <class Value>
Answer DelObject(ObjectTable<Value>& table, const char* kind, const Payload& payload) {
  Answer refusal;
  const auto* const object = FindObject(table, kind, payload, refusal);
  if (object == nullptr) return refusal;
  table.Remove(object->name);
  return {};
}

}  // namespace hqosd
