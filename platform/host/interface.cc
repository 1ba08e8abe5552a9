// Interfaces that a command line offers, and the range of VLAN identifiers.
#include <errno.h>
#include <net/if.h>
#include <string.h>

#include "platform/if_select.h"
#include "platform/text.h"
#include "platform/vlan.h"

int32_t IF_Select_Init(uint32_t kind, void* select) {
  memset(select, 0, sizeof(IF_Select));
  static_cast<IF_Select*>(select)->kind = kind;
  return 0;
}

int32_t IF_SelectType_Set(uint32_t type, void* select) {
  auto* const s = static_cast<IF_Select*>(select);
  if (s->typeCount == sizeof s->types / sizeof s->types[0]) return ENOSPC;
  s->types[s->typeCount++] = type;
  return 0;
}

int32_t IF_SelectProperty_Set(uint32_t property, void* select) {
  auto* const s = static_cast<IF_Select*>(select);
  if (s->propertyCount == sizeof s->properties / sizeof s->properties[0]) return ENOSPC;
  s->properties[s->propertyCount++] = property;
  return 0;
}

int32_t IF_Select_GetNext(const IF_Select* select, const char* after, char* name) {
  if (select->typeCount == 0) return 0;
  struct if_nameindex* const all = if_nameindex();
  const char* next = nullptr;
  for (const auto* i = all; i != nullptr && i->if_index != 0; ++i) {
    const bool follows = strcmp(i->if_name, after) > 0;
    if (follows && (next == nullptr || strcmp(i->if_name, next) < 0)) next = i->if_name;
  }
  if (next != nullptr) strlcpy(name, next, IF_NAMESIZE);
  if (all != nullptr) if_freenameindex(all);
  return next != nullptr ? 1 : 0;
}

uint32_t VLAN_GetMinVlanID(void) { return 1; }

uint32_t VLAN_GetMaxVlanID(void) { return 4094; }
