// Messages: their head, building them TLV by TLV, sending and receiving them.
#include <errno.h>
#include <sys/socket.h>

#include "hqos.h"
#include "msg/records.h"
#include "platform/stlv.h"

// ---- Head ---------------------------------------------------------------------------------------

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

// ---- Message buffer -----------------------------------------------------------------------------

void HQOS_msg_InitBuf(uint16_t capacity, const uint32_t context[4], uint16_t mode,
                      HQOS_MsgBufFlush flush, HQOS_MsgBuf* buf) {
  buf->capacity = capacity < HQOS_MSGBUF_SIZE ? capacity : uint16_t{HQOS_MSGBUF_SIZE};
  buf->used = 0;
  buf->mode = mode;
  for (int i = 0; i < 4; ++i) buf->context[i] = context[i];
  buf->flush = flush;
}

void HQOS_msg_AppendHead(uint8_t kind, uint8_t opClass, uint8_t flag, HQOS_MsgBuf* buf) {
  if (buf == nullptr) return;
  buf->used = static_cast<uint16_t>(HQOS_msg_EncapMsgHead(kind, opClass, flag, buf->data));
}

namespace {

// Appends the TLV; false when it does not fit.
bool Append(uint16_t type, uint16_t length, const void* value, HQOS_MsgBuf& buf) {
  if (buf.used >= buf.capacity) return false;  // a head may take more than there is
  const auto room = static_cast<uint16_t>(buf.capacity - buf.used);
  const uint32_t written = STLV_Set(buf.data + buf.used, room, type, length, value);
  buf.used = static_cast<uint16_t>(buf.used + written);
  return written != 0;
}

}  // namespace

uint32_t HQOS_msg_AppendTlv2Buf(uint16_t type, uint16_t length, const void* value,
                                HQOS_MsgBuf* buf) {
  if (Append(type, length, value, *buf)) return 0;
  const uint32_t result = buf->flush(buf);
  buf->used = buf->mode == HQOS_MSGBUF_WITH_HEAD ? uint16_t{HQOS_MSGHEAD_LEN} : uint16_t{0};
  Append(type, length, value, *buf);
  return result;
}

// ---- One message out, one message in, on a connected socket -------------------------------------

uint32_t HQOS_msg_Send(int fd, const void* buf, uint16_t len) {
  for (;;) {
    errno = 0;
    if (send(fd, buf, len, 0) == len) return 0;
    // A message goes whole or not at all, so what was cut short is never continued.
    if (errno != EAGAIN && errno != EINTR) return HQOS_ERR_FAILED;
  }
}

uint32_t HQOS_msg_Recv(int fd, uint16_t cap, void* buf, uint16_t* len) {
  for (;;) {
    errno = 0;
    const ssize_t n = recv(fd, buf, cap, MSG_WAITALL);
    if (n > 0) {
      *len = static_cast<uint16_t>(n);
      return 0;
    }
    if (n == 0 || errno != EINTR) return HQOS_ERR_FAILED;
  }
}
