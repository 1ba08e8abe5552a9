#include "platform/vlan.h"

uint32_t VLAN_GetMinVlanID() { return 1; }

uint32_t VLAN_GetMaxVlanID() { return 4094; }
