// Queries that read SPs.
#include <string.h>

#include "lib/send.h"
#include "lib/sp_info.h"

void HQOS_lib_DecapSPInfo(const uint8_t* value, uint16_t length, HQOS_SPInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::TlvWalk walk(value, length);
  for (hqos::Tlv tlv; walk.Next(tlv);) hqos::DecodeSPPart(tlv, *info);
}

namespace {

void DecodeReply(const hqos::Reply& reply, HQOS_SPInfo* info) {
  const hqos::Tlv data = hqos::FirstTlv(reply.data, reply.length);
  HQOS_lib_DecapSPInfo(data.value, data.length, info);
}

}  // namespace

uint32_t HQOS_lib_GetSP(const char* name, HQOS_SPInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GET, HQOS_GET_SP, hqos::kObjPayload, hqos::NamedObject(name), reply);
  if (status == 0) DecodeReply(reply, info);
  return status;
}

uint32_t HQOS_lib_GetNextSP(uint16_t id, HQOS_SPInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GETNEXT, HQOS_GETNEXT_SP, hqos::kNextKey, HQOS_NextKey{id}, reply);
  if (status == 0) DecodeReply(reply, info);
  return status;
}
