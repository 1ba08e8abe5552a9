// DPs: commands that set and remove weight and thresholds, queries that read them.
#include "lib/round_trip.h"

static_assert(HQOS_BULK_DP_MAX == hqos::MaxRecords(hqos::kDPInfo.size));

namespace {

uint32_t CommandThreshold(uint16_t cmdCode, const char* name, uint32_t index,
                          HQOS_DPThreshold threshold, HQOS_Result* result) {
  HQOS_DPThresholdPayload payload{{}, index, threshold};
  strlcpy(payload.name, name, sizeof payload.name);
  return hqos::Command(cmdCode, hqos::kDPThresholdPayload, payload, result);
}

}  // namespace

uint32_t HQOS_lib_AddDPThreshold(const char* name, uint32_t index, HQOS_DPThreshold thr,
                                 HQOS_Result* result) {
  return CommandThreshold(HQOS_CMD_ADD_DP_THRESHOLD, name, index, thr, result);
}

uint32_t HQOS_lib_DelDPThreshold(const char* name, uint32_t index, HQOS_Result* result) {
  return CommandThreshold(HQOS_CMD_DEL_DP_THRESHOLD, name, index, {}, result);
}

uint32_t HQOS_lib_AddDPWeight(const char* name, uint32_t weight, HQOS_Result* result) {
  return hqos::Command(HQOS_CMD_ADD_DP_WEIGHT, hqos::kObjValuePayload,
                       hqos::NamedValue(name, weight), result);
}

uint32_t HQOS_lib_DelDPWeight(const char* name, HQOS_Result* result) {
  return hqos::Command(HQOS_CMD_DEL_DP_WEIGHT, hqos::kObjPayload, hqos::NamedObject(name), result);
}

uint32_t HQOS_lib_GetDP(const char* name, HQOS_DPInfo* info) {
  return hqos::GetByName(HQOS_GET_DP, name, hqos::kDPInfo, info);
}

uint32_t HQOS_lib_GetBulkDP(uint16_t startId, uint32_t count, uint32_t* outCount,
                            HQOS_DPInfo* infos) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Query(HQOS_OP_BULK, HQOS_BULK_DP, hqos::kBulkKey, HQOS_BulkKey{startId, count}, reply);
  return status != 0 ? status : hqos::DecodeAll(reply, hqos::kDPInfo, outCount, infos);
}
