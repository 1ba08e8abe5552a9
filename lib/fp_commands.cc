// Commands that give FPs their settings and take them back.
#include "lib/send.h"

using hqos::Configure;
using hqos::kObjPayload;
using hqos::NamedObject;

namespace {

// An FP with one setting, for the caller to fill in.
HQOS_FPInfo NamedFP(const char* name, uint32_t flag) {
  HQOS_FPInfo info{};
  strlcpy(info.name, name, sizeof info.name);
  info.flags = flag;
  return info;
}

uint32_t ConfigureFP(uint16_t cmdCode, const HQOS_FPInfo& info, HQOS_Result* result) {
  uint8_t payload[HQOS_MSG_MAX];
  const uint32_t length = HQOS_msg_EncapFPInfo(&info, sizeof payload, payload);
  return HQOS_lib_Config(cmdCode, payload, static_cast<uint16_t>(length), result);
}

}  // namespace

uint32_t HQOS_lib_AddQueue(const char* name, const uint32_t queue[3], HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_QUEUE);
  for (int i = 0; i < 3; ++i) info.queue[i] = queue[i];
  return ConfigureFP(HQOS_CMD_ADD_QUEUE, info, result);
}

uint32_t HQOS_lib_DelQueue(const char* name, uint32_t queueSel, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_QUEUE);
  info.queue[0] = queueSel;
  return ConfigureFP(HQOS_CMD_DEL_QUEUE, info, result);
}

uint32_t HQOS_lib_AddGTS(const char* name, const uint32_t gts[4], HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_GTS);
  for (int i = 0; i < 4; ++i) info.gts[i] = gts[i];
  return ConfigureFP(HQOS_CMD_ADD_GTS, info, result);
}

uint32_t HQOS_lib_DelGTS(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_GTS, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddBandwidth(const char* name, const uint32_t* bandwidth, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_BANDWIDTH);
  info.bandwidth = *bandwidth;
  return ConfigureFP(HQOS_CMD_ADD_BANDWIDTH, info, result);
}

uint32_t HQOS_lib_DelBandwidth(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_BANDWIDTH, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_FPReferDP(const char* name, const char* dpName, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_DPREF);
  strlcpy(info.dpName, dpName, sizeof info.dpName);
  return ConfigureFP(HQOS_CMD_FP_REFER_DP, info, result);
}

uint32_t HQOS_lib_DelFPReferDP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_FP_REFER_DP, kObjPayload, NamedObject(name), result);
}
