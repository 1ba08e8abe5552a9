// Queries that read where SPs are applied.
#include "lib/apply.h"
#include "lib/send.h"
#include "lib/sp_info.h"

void HQOS_lib_DecapApplyInfo(const uint8_t* value, uint16_t length, HQOS_ApplyInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::TlvWalk walk(value, length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    if (tlv.type == HQOS_TLV_APPOBJ) hqos::DecodeAppObj(tlv.value, tlv.length, &info->obj);
    hqos::DecodeSPPart(tlv, info->sp);
  }
}

namespace {

// Sends the payload and decodes the reply.
uint32_t AskApply(uint8_t opClass, uint16_t queryType, const uint8_t* payload, uint16_t length,
                  HQOS_ApplyInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      HQOS_lib_Query(opClass, queryType, length, payload, reply.data, &reply.length);
  if (status != 0) return status;
  const hqos::Tlv data = hqos::FirstTlv(reply.data, reply.length);
  HQOS_lib_DecapApplyInfo(data.value, data.length, info);
  return 0;
}

uint32_t GetApply(uint16_t queryType, const HQOS_AppObj* target, HQOS_ApplyInfo* info) {
  uint8_t payload[hqos::kAppObj.size];
  hqos::EncodeAppObj(*target, payload);
  return AskApply(HQOS_OP_GET, queryType, payload, sizeof payload, info);
}

uint32_t GetNextIfApply(uint16_t queryType, uint32_t prefix, const char* ifName, uint32_t param,
                        HQOS_ApplyInfo* info) {
  HQOS_IfApplyKey key{prefix, {HQOS_APPOBJ_IFINDEX, 0, param, {}}};
  if (ifName != nullptr) strlcpy(key.obj.name, ifName, sizeof key.obj.name);
  uint8_t payload[hqos::kIfApplyKey.size];
  hqos::Encode(hqos::kIfApplyKey, key, payload);
  return AskApply(HQOS_OP_GETNEXT, queryType, payload, sizeof payload, info);
}

}  // namespace

uint32_t HQOS_lib_GetApplyStat(const HQOS_AppObj* target, HQOS_ApplyInfo* info) {
  return GetApply(HQOS_GET_APPLY_STAT, target, info);
}

uint32_t HQOS_lib_GetApplyDiag(const HQOS_AppObj* target, HQOS_ApplyInfo* info) {
  return GetApply(HQOS_GET_APPLY_DIAG, target, info);
}

uint32_t HQOS_lib_GetNextIfApplyStat(uint32_t prefix, const char* ifName, uint32_t param,
                                     HQOS_ApplyInfo* info) {
  return GetNextIfApply(HQOS_GETNEXT_IF_APPLY_STAT, prefix, ifName, param, info);
}

uint32_t HQOS_lib_GetNextIfApplyDiag(uint32_t prefix, const char* ifName, uint32_t param,
                                     HQOS_ApplyInfo* info) {
  return GetNextIfApply(HQOS_GETNEXT_IF_APPLY_DIAG, prefix, ifName, param, info);
}
