// Queries that read FPs.
#include "lib/flat_reply.h"

static_assert(HQOS_BULK_FP_MAX == hqos::MostRecords(0));  // an FP's TLVs may be missing

uint32_t HQOS_lib_GetFP(const char* name, HQOS_FPInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GET, HQOS_GET_FP, hqos::kObjPayload, hqos::NamedObject(name), reply);
  if (status != 0) return status;
  const hqos::Tlv data = hqos::FirstTlv(reply.data, reply.length);
  if (data.value == nullptr) return HQOS_ERR_BADREPLY;
  HQOS_msg_DecapFPInfo(data.value, data.length, info);
  return 0;
}

uint32_t HQOS_lib_GetBulkFP(uint16_t startId, uint32_t count, uint32_t* outCount,
                            HQOS_FPInfo* infos) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_BULK, HQOS_BULK_FP, hqos::kBulkKey, HQOS_BulkKey{startId, count}, reply);
  if (status != 0) return status;
  *outCount = 0;
  hqos::TlvWalk walk = hqos::WalkMessage(reply.data, reply.length);
  for (hqos::Tlv data; walk.Next(data);) {
    HQOS_msg_DecapFPInfo(data.value, data.length, &infos[(*outCount)++]);
  }
  return 0;
}
