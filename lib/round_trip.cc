#include "lib/round_trip.h"

#include <arpa/inet.h>
#include <errno.h>
#include <unistd.h>

#include <algorithm>

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

// The length of a status TLV's text; -1 when the code is not whole or the text does not end inside
// the TLV.
int TextLength(const hqos::Tlv& tlv) {
  for (int i = hqos::kResultCode.size; i < tlv.length; ++i) {
    if (tlv.value[i] == 0) return i - int{hqos::kResultCode.size};
  }
  return -1;
}

// Writes a request, a message head and one TLV, into buf (HQOS_MSG_MAX bytes); returns its length.
uint32_t HQOS_lib_EncapReq(uint8_t opClass, uint16_t type, const void* value, uint16_t length,
                           uint8_t* buf) {
  HQOS_msg_EncapMsgHead(1, opClass, 1, buf);
  return HQOS_MSGHEAD_LEN +
         STLV_Set(buf + HQOS_MSGHEAD_LEN, HQOS_MSG_MAX - HQOS_MSGHEAD_LEN, type, length, value);
}

// Sends the request and receives the reply, at most replyCap bytes, over a socket of its own.
// Return: 0, or HQOS_ERR_FAILED.
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

// A request and its reply, which has room for HQOS_MSG_MAX bytes.
uint32_t RoundTrip(uint8_t opClass, uint16_t type, const void* value, uint16_t length,
                   uint8_t* reply, uint16_t* replyLen) {
  uint8_t request[HQOS_MSG_MAX];
  const uint32_t reqLen = HQOS_lib_EncapReq(opClass, type, value, length, request);
  return HQOS_lib_Transact(static_cast<uint16_t>(reqLen), request, HQOS_MSG_MAX, reply, replyLen);
}

// Reads the status with which a reply begins. Return: 0, or HQOS_ERR_BADREPLY with *result cleared
// when the reply does not begin with a usable status TLV.
uint32_t HQOS_lib_DecapResult(const uint8_t* reply, uint16_t replyLen, HQOS_Result* result) {
  *result = {};
  hqos::Tlv tlv;
  if (!hqos::WalkMessage(reply, replyLen).Next(tlv) || tlv.type != HQOS_TLV_RESULT) {
    return HQOS_ERR_BADREPLY;
  }
  const int length = TextLength(tlv);
  if (length < 0) return HQOS_ERR_BADREPLY;
  hqos::Decode(hqos::kResultCode, tlv.value, tlv.length, *result);
  const size_t kept = std::min(static_cast<size_t>(length), sizeof result->text - 1);
  memcpy(result->text, tlv.value + hqos::kResultCode.size, kept);
  return 0;
}

}  // namespace

uint32_t HQOS_lib_Config(uint16_t cmdCode, const void* payload, uint16_t length,
                         HQOS_Result* result) {
  uint8_t reply[HQOS_MSG_MAX];
  uint16_t replyLen = 0;
  const uint32_t status = RoundTrip(HQOS_OP_CONFIG, cmdCode, payload, length, reply, &replyLen);
  return status != 0 ? status : HQOS_lib_DecapResult(reply, replyLen, result);
}

uint32_t HQOS_lib_Query(uint8_t opClass, uint16_t queryType, uint16_t length, const void* value,
                        uint8_t* reply, uint16_t* replyLen) {
  const uint32_t status = RoundTrip(opClass, queryType, value, length, reply, replyLen);
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
