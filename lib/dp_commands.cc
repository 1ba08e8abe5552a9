// Commands that give DPs their weight and thresholds and take them back.
#include "lib/dp_info.h"
#include "lib/send.h"

namespace {

uint32_t ConfigureThreshold(uint16_t cmdCode, const char* name, uint32_t index,
                            HQOS_DPThreshold threshold, HQOS_Result* result) {
  HQOS_DPThresholdPayload payload{{}, index, threshold};
  strlcpy(payload.name, name, sizeof payload.name);
  return hqos::Configure(cmdCode, hqos::kDPThresholdPayload, payload, result);
}

}  // namespace

uint32_t HQOS_lib_AddDPThreshold(const char* name, uint32_t index, HQOS_DPThreshold thr,
                                 HQOS_Result* result) {
  return ConfigureThreshold(HQOS_CMD_ADD_DP_THRESHOLD, name, index, thr, result);
}

uint32_t HQOS_lib_DelDPThreshold(const char* name, uint32_t index, HQOS_Result* result) {
  return ConfigureThreshold(HQOS_CMD_DEL_DP_THRESHOLD, name, index, {}, result);
}

uint32_t HQOS_lib_AddDPWeight(const char* name, uint32_t weight, HQOS_Result* result) {
  return hqos::Configure(HQOS_CMD_ADD_DP_WEIGHT, hqos::kObjValuePayload,
                         hqos::NamedValue(name, weight), result);
}

uint32_t HQOS_lib_DelDPWeight(const char* name, HQOS_Result* result) {
  return hqos::Configure(HQOS_CMD_DEL_DP_WEIGHT, hqos::kObjPayload, hqos::NamedObject(name),
                         result);
}
