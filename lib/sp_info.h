// The SP record, a sequence of TLVs: this one and its two words.
#pragma once

#include "lib/words.h"
#include "msg/tlv.h"

namespace hqos {

// TLV HQOS_TLV_SPBASE. Bytes 34-35 are padding.
inline constexpr auto kSPBase = Table<44>(Row{0, 32, kText, &HQOS_SPInfo::name},   //
                                          Row{32, 2, kBig, &HQOS_SPInfo::id},      //
                                          Row{36, 4, kBig, &HQOS_SPInfo::value1},  //
                                          Row{40, 4, kBig, &HQOS_SPInfo::value2});

// Reads a TLV of the record; one of another type, or too short, is passed over.
inline void DecodeSPPart(const Tlv& tlv, HQOS_SPInfo& sp) {
  if (tlv.type == HQOS_TLV_SPBASE) Decode(kSPBase, tlv.value, tlv.length, sp);
  if (tlv.type == HQOS_TLV_WORDS) Decode(kWords<HQOS_SPInfo>, tlv.value, tlv.length, sp);
}

}  // namespace hqos

// Reads the TLVs in the `length` bytes at `value` (may be null when length is 0) into *info, all of
// which is cleared first. TLVs in any order, the last of a type counts.
void HQOS_lib_DecapSPInfo(const uint8_t* value, uint16_t length, HQOS_SPInfo* info);
