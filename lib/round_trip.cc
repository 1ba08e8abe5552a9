#include "lib/round_trip.h"

#include <arpa/inet.h>
#include <errno.h>
#include <unistd.h>

#include "platform/lip.h"

namespace {

static_assert(sizeof(sockaddr_lip) == 16);

uint32_t Connect(int fd) {
  const sockaddr_lip address{
      sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
  while (LIP_Connect(fd, &address, sizeof address) != 0) {
    if (errno == EISCONN) break;
    if (errno != EINTR) return HQOS_ERR_FAILED;
  }
  return 0;
}

// A status can be used when its code is whole and its text ends inside the TLV.
bool IsUsableStatus(const hqos::Tlv& tlv) {
  for (size_t i = hqos::kResultCode.size; i < tlv.length; ++i) {
    if (tlv.value[i] == 0) return true;
  }
  return false;
}

}  // namespace

uint32_t HQOS_lib_EncapReq(uint8_t opClass, uint16_t type, const void* value, uint16_t length,
                           uint8_t* buf) {
  const uint32_t headLen = HQOS_msg_EncapMsgHead(1, opClass, 1, buf);
  return headLen + STLV_Set(buf + headLen, static_cast<uint16_t>(HQOS_MSG_MAX - headLen), type,
                            length, value);
}

uint32_t HQOS_lib_Transact(uint16_t reqLen, const uint8_t* req, uint16_t replyCap, uint8_t* reply,
                           uint16_t* replyLen) {
  const int fd = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  if (fd < 0) return HQOS_ERR_FAILED;
  uint32_t status = Connect(fd);
  if (status == 0) status = HQOS_msg_Send(fd, req, reqLen);
  if (status == 0) status = HQOS_msg_Recv(fd, replyCap, reply, replyLen);
  close(fd);
  return status;
}

uint32_t HQOS_lib_DecapResult(const uint8_t* reply, uint16_t replyLen, HQOS_Result* result) {
  *result = {};
  hqos::Tlv tlv;
  if (!hqos::WalkMessage(reply, replyLen).Next(tlv) || tlv.type != HQOS_TLV_RESULT ||
      !IsUsableStatus(tlv)) {
    return HQOS_ERR_BADREPLY;
  }
  hqos::Decode(hqos::kResultCode, tlv.value, tlv.length, *result);
  strlcpy(result->text, reinterpret_cast<const char*>(tlv.value) + hqos::kResultCode.size,
          sizeof result->text);
  return 0;
}

uint32_t HQOS_lib_Config(uint16_t cmdCode, const void* payload, uint16_t length,
                         HQOS_Result* result) {
  uint8_t request[HQOS_MSG_MAX];
  uint8_t reply[HQOS_MSG_MAX];
  const uint32_t reqLen = HQOS_lib_EncapReq(HQOS_OP_CONFIG, cmdCode, payload, length, request);
  uint16_t replyLen = 0;
  const uint32_t status =
      HQOS_lib_Transact(static_cast<uint16_t>(reqLen), request, sizeof reply, reply, &replyLen);
  if (status != 0) return status;
  return HQOS_lib_DecapResult(reply, replyLen, result);
}

uint32_t HQOS_lib_Query(uint8_t opClass, uint16_t queryType, uint16_t length, const void* value,
                        uint8_t* reply, uint16_t* replyLen) {
  uint8_t request[HQOS_MSG_MAX];
  const uint32_t reqLen = HQOS_lib_EncapReq(opClass, queryType, value, length, request);
  const uint32_t status =
      HQOS_lib_Transact(static_cast<uint16_t>(reqLen), request, HQOS_MSG_MAX, reply, replyLen);
  if (status != 0) return status;
  HQOS_Result verdict;
  if (HQOS_lib_DecapResult(reply, *replyLen, &verdict) == 0) return verdict.code;
  // No status first means data, unless there is no first TLV to trust: a head that reaches beyond
  // the reply, or a status that cannot be used.
  hqos::Tlv tlv;
  const bool isStatus =
      hqos::WalkMessage(reply, *replyLen).Next(tlv) && tlv.type == HQOS_TLV_RESULT;
  return reply[0] > *replyLen || isStatus ? uint32_t{HQOS_ERR_BADREPLY} : 0;
}
