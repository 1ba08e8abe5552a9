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
