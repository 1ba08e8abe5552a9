// Queries that read DPs.
#include "lib/dp_info.h"
#include "lib/flat_reply.h"

static_assert(HQOS_BULK_DP_MAX == hqos::MostRecords(hqos::kDPInfo.size));

uint32_t HQOS_lib_GetDP(const char* name, HQOS_DPInfo* info) {
  return hqos::GetByName(HQOS_GET_DP, name, hqos::kDPInfo, info);
}

uint32_t HQOS_lib_GetBulkDP(uint16_t startId, uint32_t count, uint32_t* outCount,
                            HQOS_DPInfo* infos) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_BULK, HQOS_BULK_DP, hqos::kBulkKey, HQOS_BulkKey{startId, count}, reply);
  return status != 0 ? status : hqos::DecodeAll(reply, hqos::kDPInfo, outCount, infos);
}
