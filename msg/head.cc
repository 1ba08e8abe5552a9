#include "msg/records.h"

uint32_t HQOS_msg_EncapMsgHead(uint8_t kind, uint8_t opClass, uint8_t flag, uint8_t* buf) {
  const HQOS_MsgHead head{HQOS_MSGHEAD_LEN, 1, kind, opClass, flag, {}};
  hqos::Encode(hqos::kMsgHead, head, buf);
  return HQOS_MSGHEAD_LEN;
}

uint32_t HQOS_msg_DecapMsgHead(const uint8_t* msg, uint32_t msgLen, uint8_t* head) {
  if (msg[0] > msgLen) return HQOS_ERR_FAILED;
  const uint32_t headLen = msg[0];
  for (uint32_t i = 0; i < headLen && i < HQOS_MSGHEAD_LEN; ++i) head[i] = msg[i];
  return 0;
}
