// The platform's VLANs.
#ifndef HQOS_PLATFORM_VLAN_H
#define HQOS_PLATFORM_VLAN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The lowest and the highest VLAN identifier; on a host 1 and 4094.
uint32_t VLAN_GetMinVlanID(void);
uint32_t VLAN_GetMaxVlanID(void);

#ifdef __cplusplus
}
#endif

#endif
