// The platform's slots and their nodes.
#ifndef HQOS_PLATFORM_SLOT_H
#define HQOS_PLATFORM_SLOT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// On a host the slots are those of the chassis that the TOML file $HQOS_CHASSIS describes:
//
//   self = 0                  # the slot on which the programs run
//   [[slot]]                  # numbers and nodes are all different
//   number = 0                # below 65535
//   node = 1                  # 1 to 65534; default: the number plus 1
//   up = true                 # default: true
//   interfaces = ["eth0"]     # interfaces that no slot names are on the self slot
//
// Without the variable, or without a valid file, there is one slot: number 0, node 1, up, self.

// Writes "FILE:LINE: reason" and returns 1 when the file that the variable names cannot be used;
// otherwise returns 0. Only on a host.
uint32_t DEV_GetChassisFault(char* text, uint32_t room);

// The slot on which the caller runs.
uint16_t DEV_GetSelfSlot(void);

// The lowest and highest slot number.
void DEV_GetSlotRange(uint16_t* lowest, uint16_t* highest);

// The physical coordinates of a slot; on a host 0 and its number. Returns 0, or 1 with both
// unchanged when there is no such slot.
uint32_t DEV_GetPhysicalSlotByGlobalSlot(uint16_t slot, uint16_t* first, uint16_t* second);

// 1 when the slot is up, else 0.
uint16_t IF_IsSlotUp(uint16_t slot);

// The node address of the slot at the coordinates, in the low 16 bits; 0xFFFF when there is none.
// The last argument is 0.
uint32_t LIP_GetNodeLip(uint16_t first, uint16_t second, uint32_t zero);

#ifdef __cplusplus
}
#endif

#endif
