#include "service/model/tlvs.h"

namespace hqosd {

bool DecodeApply(const uint8_t* value, size_t length, HQOS_ApplyInfo& info) {
  if (length > UINT16_MAX) return false;
  HQOS_ApplyInfo found{};
  bool hasObj = false, hasSP = false;
  hqos::TlvWalk walk(value, static_cast<uint16_t>(length));
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    HQOS_ObjPayload sp{};
    if (tlv.type == HQOS_TLV_APPOBJ)
      hasObj |= hqos::DecodeAppObj(tlv.value, tlv.length, &found.obj);
    if (tlv.type == HQOS_TLV_SPNAME && Decode(hqos::kObjPayload, tlv.value, tlv.length, sp)) {
      hasSP = true;
      std::copy(std::begin(sp.name), std::end(sp.name), found.sp.name);
    }
  }
  if (hasObj && hasSP) info = found;
  return hasObj && hasSP;
}

}  // namespace hqosd
