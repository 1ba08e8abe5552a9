// Applying SPs: commands that apply them and undo that, queries that read where they are applied.
#include "lib/round_trip.h"

namespace {

// Writes the payload that applies the SP to the object, two TLVs, to out (HQOS_MSG_MAX bytes), and
// returns its length. An object of unknown type is written with value 0.
uint32_t HQOS_lib_EncapApply(const HQOS_AppObj* obj, const char* spName, uint8_t* out) {
  uint8_t object[hqos::kAppObj.size];
  hqos::EncodeAppObj(*obj, object);
  uint8_t sp[hqos::kObjPayload.size];
  hqos::Encode(hqos::kObjPayload, hqos::NamedObject(spName), sp);
  const uint32_t used = STLV_Set(out, HQOS_MSG_MAX, HQOS_TLV_APPOBJ, sizeof object, object);
  const auto left = static_cast<uint16_t>(HQOS_MSG_MAX - used);
  return used + STLV_Set(out + used, left, HQOS_TLV_SPNAME, sizeof sp, sp);
}

uint32_t CommandApply(uint16_t cmdCode, const HQOS_AppObj* obj, const char* spName,
                      HQOS_Result* result) {
  uint8_t payload[HQOS_MSG_MAX];
  const uint32_t length = HQOS_lib_EncapApply(obj, spName, payload);
  return HQOS_lib_Config(cmdCode, payload, static_cast<uint16_t>(length), result);
}

// Reads the TLVs in the `length` bytes at `value` (may be null when length is 0) into *info, all of
// which is cleared first. TLVs in any order, the last of a type counts.
void HQOS_lib_DecapApplyInfo(const uint8_t* value, uint16_t length, HQOS_ApplyInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::TlvWalk walk(value, length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    if (tlv.type == HQOS_TLV_APPOBJ) hqos::DecodeAppObj(tlv.value, tlv.length, &info->obj);
    hqos::DecodeSPPart(tlv, info->sp);
  }
}

// Sends the payload and decodes the reply.
uint32_t QueryApply(uint8_t opClass, uint16_t queryType, const uint8_t* payload, uint16_t length,
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
  return QueryApply(HQOS_OP_GET, queryType, payload, sizeof payload, info);
}

uint32_t GetNextIfApply(uint16_t queryType, uint32_t prefix, const char* ifName, uint32_t param,
                        HQOS_ApplyInfo* info) {
  HQOS_IfApplyKey key{prefix, {HQOS_APPOBJ_IFINDEX, 0, param, {}}};
  if (ifName != nullptr) strlcpy(key.obj.name, ifName, sizeof key.obj.name);
  uint8_t payload[hqos::kIfApplyKey.size];
  hqos::Encode(hqos::kIfApplyKey, key, payload);
  return QueryApply(HQOS_OP_GETNEXT, queryType, payload, sizeof payload, info);
}

}  // namespace

uint32_t HQOS_lib_ApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result) {
  return CommandApply(HQOS_CMD_APPLY_SP, obj, spName, result);
}

uint32_t HQOS_lib_UndoApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result) {
  return CommandApply(HQOS_CMD_UNDO_APPLY_SP, obj, spName, result);
}

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
