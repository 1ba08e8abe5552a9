// The platform's slots, and the nodes they are.
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
//   node = 1                  # 1 to 65534, optional: the number and 1
//   up = true                 # optional
//   interfaces = ["eth0"]     # optional; all others are on the self slot
//
// Without the variable, or a file that can be read so, there is one slot, number 0: up, node 1,
// self.

// Writes FILE:LINE: and the reason when the file that the variable names cannot be used, and
// returns 1; else 0. Only a host has it.
uint32_t DEV_GetChassisFault(char* text, uint32_t room);

// The slot on which the caller runs.
uint16_t DEV_GetSelfSlot(void);

// The lowest and highest slot number.
void DEV_GetSlotRange(uint16_t* lowest, uint16_t* highest);

// The physical coordinates of a slot; on a host 0 and its number. Returns 0, or 1 with both
// untouched when there is no such slot.
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
