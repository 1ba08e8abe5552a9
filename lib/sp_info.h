// The SP record, a sequence of TLVs: this one and its two words (lib/words.h).
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

// TLV HQOS_TLV_SPBASE. Bytes 34-35 are padding.
inline constexpr auto kSPBase = Table<44>(Row{0, 32, kText, &HQOS_SPInfo::name},   //
                                          Row{32, 2, kBig, &HQOS_SPInfo::id},      //
                                          Row{36, 4, kBig, &HQOS_SPInfo::value1},  //
                                          Row{40, 4, kBig, &HQOS_SPInfo::value2});

}  // namespace hqos

// Reads the TLVs in the `length` bytes at `value` (may be null when length is 0) into *info, all of
// which is cleared first. TLVs in any order, the last of a type counts.
void HQOS_lib_DecapSPInfo(const uint8_t* value, uint16_t length, HQOS_SPInfo* info);
