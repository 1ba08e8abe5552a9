#include "hqos.h"
#include "platform/stlv.h"

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
