// What all kinds of objects have in common: finding, creating and deleting them.
#pragma once

#include <algorithm>

#include "msg/records.h"
#include "service/requests.h"

namespace hqosd {

inline bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// "SP gold", for texts; control characters in a name do not get into them.
inline std::string Title(const char* kind, std::string name) {
  std::replace_if(name.begin(), name.end(), IsControl, '?');
  return std::string(kind) + " " + name;
}

inline void CopyName(const std::string& name, char (&field)[HQOS_NAME_SIZE]) {
  name.copy(field, sizeof field - 1);
}

// A record, all zero but for the object's name and identifier.
template <class Record, class Object>
Record NamedRecord(const Object& object) {
  Record record{};
  CopyName(object.name, record.name);
  record.id = object.id;
  return record;
}

inline HQOS_DPInfo DPRecord(const ObjectTable<DP>::Object& dp) {
  auto info = NamedRecord<HQOS_DPInfo>(dp);
  info.weight = dp.value.weight;
  std::copy(std::begin(dp.value.thresholds), std::end(dp.value.thresholds), info.thresholds);
  return info;
}

inline bool IsUsableName(const std::string& name) {
  return !name.empty() && std::none_of(name.begin(), name.end(), IsControl);
}

// The object that the payload record names. When there is none, `refusal` says why.
template <class Value>
auto* FindObject(ObjectTable<Value>& table, const char* kind, const std::string& name,
                 Answer& refusal) {
  auto* const object = table.Find(name);
  if (name.empty()) {
    refusal = Refuse(HQOSD_NOT_FOUND, std::string(kind) + ": no name is given");
  } else if (object == nullptr) {
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

// The object that follows the identifier in the payload.
template <class Value>
const auto* FindNext(const ObjectTable<Value>& table, const char* kind, const Payload& payload,
                     Answer& refusal) {
  decltype(table.Next(0)) object = nullptr;
  HQOS_NextKey key{};
  if (!Read(payload, hqos::kNextKey, key)) {
    refusal = TooShort();
  } else if (key.id > HQOS_ID_NONE) {
    refusal = Refuse(HQOSD_BAD_VALUE, std::to_string(key.id) + " is not an identifier");
  } else if ((object = table.Next(static_cast<uint16_t>(key.id))) == nullptr) {
    refusal = Refuse(HQOSD_END, std::string("no ") + kind + " follows");
  }
  return object;
}

inline Answer BadName(const char* kind, const std::string& name) {
  return Refuse(HQOSD_BAD_NAME,
                Title(kind, "\"" + name + "\"") +
                    ": a name has 1 to 31 characters, none of them a control character");
}

// Creates an object. `taken` tells who else has an identifier, "" when nobody.
template <class Value, class Taken>
Answer AddObject(ObjectTable<Value>& table, const char* kind, const Payload& payload,
                 const Taken& taken) {
  HQOS_ObjPayload key{};
  if (!Read(payload, hqos::kObjPayload, key)) return TooShort();
  if (!IsUsableName(key.name)) return BadName(kind, key.name);
  const std::string title = Title(kind, key.name);
  if (table.Find(std::string(key.name)) != nullptr) {
    return Refuse(HQOSD_EXISTS, title + " already exists");
  }
  const auto ownerOf = [&](uint16_t id) {
    const auto* const object = table.Find(id);
    return object != nullptr ? Title(kind, object->name) : taken(id);
  };
  uint16_t id = key.id;
  if (id == HQOS_ID_NONE) {
    id = table.FreeId();
    while (id != HQOS_ID_NONE && !ownerOf(id).empty()) ++id;
    if (id == HQOS_ID_NONE) return Refuse(HQOSD_ID_TAKEN, title + ": no identifier is free");
  }
  const std::string owner = ownerOf(id);
  if (!owner.empty()) {
    return Refuse(HQOSD_ID_TAKEN,
                  title + ": identifier " + std::to_string(id) + " belongs to " + owner);
  }
  table.Add(key.name, id);
  return {};
}

template <class Value>
Answer AddObject(ObjectTable<Value>& table, const char* kind, const Payload& payload) {
  return AddObject(table, kind, payload, [](uint16_t) { return std::string(); });
}

// Deletes an object. `needed` tells why it cannot go, behind its title; "" when it can.
template <class Value, class Needed>
Answer DelObject(ObjectTable<Value>& table, const char* kind, const Payload& payload,
                 const Needed& needed) {
  Answer refusal;
  const auto* const object = FindObject(table, kind, payload, refusal);
  if (object == nullptr) return refusal;
  const std::string why = needed(*object);
  if (!why.empty()) return Refuse(HQOSD_IN_USE, Title(kind, object->name) + " " + why);
  table.Remove(std::string(object->name));
  return {};
}

}  // namespace hqosd
