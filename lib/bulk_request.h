// Layouts of the bulk request record, a sequence of TLVs.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

// TLV HQOS_TLV_APPOBJ. The value stands there as HQOS_util_GetAppObjByType packs it.
inline constexpr auto kAppObj = Table<60>(Row{0, 4, kBig, &HQOS_AppObj::type},   //
                                          Row{4, 4, kBig, &HQOS_AppObj::value},  //
                                          Row{8, 4, kBig, &HQOS_AppObj::param},  //
                                          Row{12, 48, kText, &HQOS_AppObj::name});

// TLV HQOS_TLV_SONPATH.
inline constexpr auto kSonPath = Table<12>(Row{0, 12, kBig, &HQOS_SPSonPath::field});

// TLV HQOS_TLV_COUNT.
struct BulkCount {
  uint32_t value;
};
inline constexpr auto kBulkCount = Table<4>(Row{0, 4, kBig, &BulkCount::value});

// Writes an application object in its layout, its value packed; a type without a value gives 0.
inline void EncodeAppObj(const HQOS_AppObj& obj, uint8_t (&out)[kAppObj.size]) {
  HQOS_AppObj packed = obj;
  packed.value = 0;
  HQOS_util_GetAppObjByType(obj.type, obj.value, &packed.value);
  Encode(kAppObj, packed, out);
}

// Reads one; false, with *obj untouched, when the value is too short for it.
inline bool DecodeAppObj(const uint8_t* value, uint16_t length, HQOS_AppObj* obj) {
  HQOS_AppObj packed{};
  if (!Decode(kAppObj, value, length, packed)) return false;
  *obj = packed;
  obj->value = 0;
  HQOS_util_GetAppObjByTypeEx(packed.type, packed.value, &obj->value);
  return true;
}

}  // namespace hqos
