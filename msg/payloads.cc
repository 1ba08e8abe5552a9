// The payloads that callers encode and decode themselves: FPs and bulk requests.
#include <string.h>

#include "msg/records.h"

uint32_t HQOS_msg_EncapFPInfo(const HQOS_FPInfo* info, uint16_t room, uint8_t* out) {
  return hqos::EncodeParts(hqos::kFPParts, *info, room, out);
}

void HQOS_msg_DecapFPInfo(const uint8_t* tlvs, uint16_t len, HQOS_FPInfo* out) {
  memset(out, 0, sizeof *out);
  out->id = out->dpId = HQOS_ID_NONE;
  hqos::DecodeParts(hqos::kFPParts, tlvs, len, *out);
}

uint32_t HQOS_msg_EncapBulkReq(const HQOS_AppObj* obj, const HQOS_SPSonPath* start, uint32_t count,
                               uint16_t bufLen, uint8_t* buf) {
  uint32_t used = 0;
  const auto append = [&](uint16_t type, uint16_t length, const uint8_t* value) {
    used += STLV_Set(buf + used, static_cast<uint16_t>(bufLen - used), type, length, value);
  };
  if (obj != nullptr) {
    uint8_t value[hqos::kAppObj.size];
    hqos::EncodeAppObj(*obj, value);
    append(HQOS_TLV_APPOBJ, sizeof value, value);
  }
  uint8_t path[hqos::kSonPath.size];
  hqos::Encode(hqos::kSonPath, *start, path);
  append(HQOS_TLV_SONPATH, sizeof path, path);
  uint8_t number[hqos::kBulkCount.size];
  hqos::Encode(hqos::kBulkCount, hqos::BulkCount{count}, number);
  append(HQOS_TLV_COUNT, sizeof number, number);
  return used;
}

uint32_t HQOS_msg_DecapBulkReq(const uint8_t* buf, uint16_t len, HQOS_AppObj* obj,
                               HQOS_SPSonPath* start, uint32_t* count) {
  hqos::TlvWalk walk(buf, len);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    hqos::BulkCount number{};
    switch (tlv.type) {
      case HQOS_TLV_APPOBJ:
        hqos::DecodeAppObj(tlv.value, tlv.length, obj);
        break;
      case HQOS_TLV_SONPATH:
        hqos::Decode(hqos::kSonPath, tlv.value, tlv.length, *start);
        break;
      case HQOS_TLV_COUNT:
        if (hqos::Decode(hqos::kBulkCount, tlv.value, tlv.length, number)) *count = number.value;
        break;
      default:
        break;
    }
  }
  return 0;
}
