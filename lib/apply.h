// What applying an SP carries: the application object (its table is in lib/bulk_request.h) with the
// SP, or with the key of an interface walk.
#pragma once

#include "lib/bulk_request.h"

// The key of an interface walk. The object is an interface that is named, and has no value.
struct HQOS_IfApplyKey {
  uint32_t prefix;
  HQOS_AppObj obj;
};

// Writes the payload that applies the SP to the object, two TLVs, to out (HQOS_MSG_MAX bytes), and
// returns its length. An object of unknown type goes out with value 0.
uint32_t HQOS_lib_EncapApply(const HQOS_AppObj* obj, const char* spName, uint8_t* out);

// Reads the TLVs in the `length` bytes at `value` (may be null when length is 0) into *info, all of
// which is cleared first. TLVs in any order, the last of a type counts.
void HQOS_lib_DecapApplyInfo(const uint8_t* value, uint16_t length, HQOS_ApplyInfo* info);

namespace hqos {

inline constexpr auto kIfApplyKey = Table<64>(Row{0, 4, kBig, &HQOS_IfApplyKey::prefix},
                                              Row{4, 60, kAppObj, &HQOS_IfApplyKey::obj});

}  // namespace hqos
