// What all kinds of objects have in common: names, finding and creating them. Functions that fail
// throw a Refusal.
#pragma once

#include <algorithm>

#include "service/model/model.h"
#include "service/model/names.h"
#include "service/model/refusal.h"

namespace hqosd {

// "SP gold", for texts.
inline std::string Label(const char* kind, const std::string& name) {
  return fmt::format("{} {}", kind, Shown(name));
}
inline std::string Label(Kind kind, const std::string& name) { return Label(Name(kind), name); }

// "FG voice below SP gold"
inline std::string NestingLabel(Kind kind, const std::string& child, Kind parentKind,
                                const std::string& parent) {
  return fmt::format("{} below {}", Label(kind, child), Label(parentKind, parent));
}

inline void CopyName(const std::string& name, char (&field)[HQOS_NAME_SIZE]) {
  name.copy(field, sizeof field - 1);
}

inline void CheckName(Kind kind, const std::string& name) {
  if (IsUsableName(name)) return;
  Refuse(HQOSD_BAD_NAME,
         "{}: a name has 1 to 31 bytes of UTF-8, without control and bidirectional characters",
         Label(kind, "\"" + name + "\""));
}

// The object of that name.
template <class Table>
auto& Get(Table& table, const std::string& name) {
  if (name.empty()) Refuse(HQOSD_NOT_FOUND, "{}: no name is given", Name(Table::kKind));
  auto* const object = table.Find(name);
  if (object == nullptr) Refuse(HQOSD_NOT_FOUND, "{} does not exist", Label(Table::kKind, name));
  return *object;
}

// The same, whose identifier must be `id` unless that is HQOS_ID_NONE.
template <class Table>
auto& Get(Table& table, const std::string& name, uint16_t id) {
  auto& object = Get(table, name);
  if (id != HQOS_ID_NONE && id != object.id) {
    Refuse(HQOSD_BAD_VALUE, "{} has another identifier than {}", Label(Table::kKind, name), id);
  }
  return object;
}

// The object that follows the identifier.
template <class Table>
const auto& GetNext(const Table& table, uint32_t id) {
  if (id > HQOS_ID_NONE) Refuse(HQOSD_BAD_VALUE, "{} is not an identifier", id);
  const auto* const object = table.Next(static_cast<uint16_t>(id));
  if (object == nullptr) Refuse(HQOSD_END, "no {} follows", Name(Table::kKind));
  return *object;
}

// Which object has the identifier; "" when none. FGs and FCs have theirs from one range, so that a
// path names a child by itself.
template <class Table>
std::string OwnerOf(const Model& model, const Table& table, uint16_t id) {
  const auto owner = [id](const auto& objects, Kind kind) {
    const auto found = objects.All().find(id);
    return found == objects.All().end() ? "" : Label(kind, found->second.name);
  };
  std::string text = owner(table, Table::kKind);
  if (text.empty() && Table::kKind == Kind::FG) text = owner(model.fcs, Kind::FC);
  if (text.empty() && Table::kKind == Kind::FC) text = owner(model.fgs, Kind::FG);
  return text;
}

// Creates an object, whose name has been checked; HQOS_ID_NONE gives it the lowest free identifier.
template <class Table>
void Create(const Model& model, Table& table, const std::string& name, uint16_t id) {
  const std::string label = Label(Table::kKind, name);
  if (table.Find(name) != nullptr) Refuse(HQOSD_EXISTS, "{} already exists", label);
  if (id == HQOS_ID_NONE) {
    id = table.FreeId();
    while (id != HQOS_ID_NONE && !OwnerOf(model, table, id).empty()) ++id;
    if (id == HQOS_ID_NONE) Refuse(HQOSD_ID_TAKEN, "{}: no identifier is free", label);
  }
  const std::string owner = OwnerOf(model, table, id);
  if (!owner.empty()) {
    Refuse(HQOSD_ID_TAKEN, "{}: identifier {} belongs to {}", label, id, owner);
  }
  table.Add(name, id);
}

}  // namespace hqosd
