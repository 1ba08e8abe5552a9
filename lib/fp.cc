// FPs: commands that give them settings and remove them, queries that read them.
#include "lib/round_trip.h"

using hqos::Command;
using hqos::kObjPayload;
using hqos::NamedObject;

static_assert(HQOS_BULK_FP_MAX == hqos::MaxRecords(0));  // an FP's TLVs may be missing

namespace {

// An FP with one setting, for the caller to fill in.
HQOS_FPInfo NamedFP(const char* name, uint32_t flag) {
  HQOS_FPInfo info{};
  strlcpy(info.name, name, sizeof info.name);
  info.flags = flag;
  return info;
}

uint32_t CommandFP(uint16_t cmdCode, const HQOS_FPInfo& info, HQOS_Result* result) {
  uint8_t payload[HQOS_MSG_MAX];
  const uint32_t length = HQOS_msg_EncapFPInfo(&info, sizeof payload, payload);
  return HQOS_lib_Config(cmdCode, payload, static_cast<uint16_t>(length), result);
}

}  // namespace

uint32_t HQOS_lib_AddQueue(const char* name, const uint32_t queue[3], HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_QUEUE);
  for (int i = 0; i < 3; ++i) info.queue[i] = queue[i];
  return CommandFP(HQOS_CMD_ADD_QUEUE, info, result);
}

uint32_t HQOS_lib_DelQueue(const char* name, uint32_t queueSel, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_QUEUE);
  info.queue[0] = queueSel;
  return CommandFP(HQOS_CMD_DEL_QUEUE, info, result);
}

uint32_t HQOS_lib_AddGTS(const char* name, const uint32_t gts[4], HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_GTS);
  for (int i = 0; i < 4; ++i) info.gts[i] = gts[i];
  return CommandFP(HQOS_CMD_ADD_GTS, info, result);
}

uint32_t HQOS_lib_DelGTS(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_GTS, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddBandwidth(const char* name, const uint32_t* bandwidth, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_BANDWIDTH);
  info.bandwidth = *bandwidth;
  return CommandFP(HQOS_CMD_ADD_BANDWIDTH, info, result);
}

uint32_t HQOS_lib_DelBandwidth(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_BANDWIDTH, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_FPReferDP(const char* name, const char* dpName, HQOS_Result* result) {
  HQOS_FPInfo info = NamedFP(name, HQOS_FPI_DPREF);
  strlcpy(info.dpName, dpName, sizeof info.dpName);
  return CommandFP(HQOS_CMD_FP_REFER_DP, info, result);
}

uint32_t HQOS_lib_DelFPReferDP(const char* name, HQOS_Result* result) {
  return Command(HQOS_CMD_DEL_FP_REFER_DP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_GetFP(const char* name, HQOS_FPInfo* info) {
  memset(info, 0, sizeof *info);
  hqos::Reply reply;
  const uint32_t status =
      hqos::Query(HQOS_OP_GET, HQOS_GET_FP, hqos::kObjPayload, hqos::NamedObject(name), reply);
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
      hqos::Query(HQOS_OP_BULK, HQOS_BULK_FP, hqos::kBulkKey, HQOS_BulkKey{startId, count}, reply);
  if (status != 0) return status;
  *outCount = 0;
  hqos::TlvWalk walk = hqos::WalkMessage(reply.data, reply.length);
  for (hqos::Tlv data; walk.Next(data);) {
    HQOS_msg_DecapFPInfo(data.value, data.length, &infos[(*outCount)++]);
  }
  return 0;
}
