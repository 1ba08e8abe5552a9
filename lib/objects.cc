// Commands that create and delete objects, set the unit of an SP and switch debugging; queries that
// read SPs, FGs and FCs.
#include "lib/round_trip.h"

using hqos::Command;
using hqos::kDebugPayload;
using hqos::kObjPayload;
using hqos::NamedObject;

namespace {

// Reads the TLVs in the `length` bytes at `value` (may be null when length is 0) into *info, all of
// which is cleared first. TLVs in any order, the last of a type counts.
void HQOS_lib_DecapSPInfo(const uint8_t* value, uint16_t length, HQOS_SPInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::TlvWalk walk(value, length);
  for (hqos::Tlv tlv; walk.Next(tlv);) hqos::DecodeSPPart(tlv, *info);
}

void DecodeReply(const hqos::Reply& reply, HQOS_SPInfo* info) {
  const hqos::Tlv data = hqos::FirstTlv(reply.data, reply.length);
  HQOS_lib_DecapSPInfo(data.value, data.length, info);
}

constexpr auto& kFGInfo = hqos::kNamedInfo<HQOS_FGInfo>;
constexpr auto& kFCInfo = hqos::kNamedInfo<HQOS_FCInfo>;
static_assert(HQOS_BULK_FC_MAX == hqos::MaxRecords(kFCInfo.size));

}  // namespace

uint32_t HQOS_lib_AddSP(const char* name, uint16_t id, HQOS_Result* result) {
  return Command(HQOS_CMD_ADD_SP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelSP(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_SP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFG(const char* name, uint16_t id, HQOS_Result* result) {
  return Command(HQOS_CMD_ADD_FG, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFG(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_FG, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFP(const char* name, uint16_t id, HQOS_Result* result) {
  return Command(HQOS_CMD_ADD_FP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFP(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_FP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddDP(const char* name, uint16_t id, HQOS_Result* result) {
  return Command(HQOS_CMD_ADD_DP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelDP(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_DP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_SetSPUnit(const char* name, uint32_t unit, HQOS_Result* result) {
  return Command(HQOS_CMD_SET_SP_UNIT, hqos::kObjValuePayload, hqos::NamedValue(name, unit),
                 result);
}

uint32_t HQOS_lib_ResetSPUnit(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_RESET_SP_UNIT, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_SetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Command(HQOS_CMD_SET_DEBUG, kDebugPayload, HQOS_DebugPayload{debug}, &verdict);
}

uint32_t HQOS_lib_ResetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Command(HQOS_CMD_RESET_DEBUG, kDebugPayload, HQOS_DebugPayload{debug}, &verdict);
}

uint32_t HQOS_lib_GetSP(const char* name, HQOS_SPInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Query(HQOS_OP_GET, HQOS_GET_SP, hqos::kObjPayload, hqos::NamedObject(name), reply);
  if (status == 0) DecodeReply(reply, info);
  return status;
}

uint32_t HQOS_lib_GetNextSP(uint16_t id, HQOS_SPInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Query(HQOS_OP_GETNEXT, HQOS_GETNEXT_SP, hqos::kNextKey, HQOS_NextKey{id}, reply);
  if (status == 0) DecodeReply(reply, info);
  return status;
}

uint32_t HQOS_lib_GetFG(const char* name, HQOS_FGInfo* info) {
  return hqos::GetByName(HQOS_GET_FG, name, kFGInfo, info);
}

uint32_t HQOS_lib_GetFC(const char* name, HQOS_FCInfo* info) {
  return hqos::GetByName(HQOS_GET_FC, name, kFCInfo, info);
}

uint32_t HQOS_lib_GetNextFG(uint16_t id, HQOS_FGInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Query(HQOS_OP_GETNEXT, HQOS_GETNEXT_FG, hqos::kNextKey, HQOS_NextKey{id}, reply);
  return status != 0 ? status : hqos::DecodeFirst(reply, kFGInfo, info);
}

uint32_t HQOS_lib_GetAllFC(uint32_t* outCount, HQOS_FCInfo* infos) {
  hqos::Reply reply;
  const uint32_t status =
      HQOS_lib_Query(HQOS_OP_BULK, HQOS_BULK_ALL_FC, 0, nullptr, reply.data, &reply.length);
  return status != 0 ? status : hqos::DecodeAll(reply, kFCInfo, outCount, infos);
}
