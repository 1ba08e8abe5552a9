// Messages built TLV by TLV.
#include <gtest/gtest.h>

#include <vector>

#include "hqos.h"
#include "tests/bytes.h"

namespace {

using namespace wire;

std::vector<Bytes> g_flushed;

uint32_t Flush(HQOS_MsgBuf* buf) {
  g_flushed.emplace_back(buf->data, buf->data + buf->used);
  EXPECT_EQ(buf->context[3], 4u);
  return 77;
}

Bytes Held(const HQOS_MsgBuf& buf) { return {buf.data, buf.data + buf.used}; }

HQOS_MsgBuf Buffer(uint16_t capacity, uint16_t mode) {
  constexpr uint32_t kContext[] = {1, 2, 3, 4};
  HQOS_MsgBuf buf;
  g_flushed.clear();
  HQOS_msg_InitBuf(capacity, kContext, mode, Flush, &buf);
  return buf;
}

uint32_t Append(HQOS_MsgBuf& buf, uint16_t type, const Bytes& value) {
  return HQOS_msg_AppendTlv2Buf(type, static_cast<uint16_t>(value.size()), value.data(), &buf);
}

TEST(MsgBuf, FlushesWhatDoesNotFit) {
  const Bytes head = Hex("08 01 02 04 05 00 00 00"), ten(10, 0xAA), big(89, 0xBB);
  for (const uint16_t mode : std::vector<uint16_t>{0, 1, 2}) {
    HQOS_MsgBuf buf = Buffer(36, mode);
    HQOS_msg_AppendHead(2, 4, 5, &buf);
    EXPECT_EQ(Append(buf, 1, ten), 0u);
    EXPECT_EQ(Append(buf, 2, ten), 0u);
    EXPECT_EQ(buf.used, 36);  // to the last byte
    const Bytes full = head + Tlv(1, ten) + Tlv(2, ten), next = mode == 1 ? head : Bytes();
    EXPECT_EQ(Append(buf, 3, {}), 77u);
    EXPECT_EQ(g_flushed, std::vector<Bytes>{full});
    EXPECT_EQ(Held(buf), next + Tlv(3, {}));
    // One that fits nowhere is lost, after one flush.
    EXPECT_EQ(Append(buf, 4, big), 77u);
    EXPECT_EQ(g_flushed.size(), 2u);
    EXPECT_EQ(Held(buf), next);
    EXPECT_EQ(Append(buf, 5, ten), 0u);
    HQOS_msg_AppendHead(2, 4, 5, &buf);  // begins anew
    EXPECT_EQ(Held(buf), head);
    EXPECT_EQ(Append(buf, 6, Bytes(25)), 77u);  // one byte too many
  }
  HQOS_msg_AppendHead(1, 1, 1, nullptr);
}

TEST(MsgBuf, StaysInItsArea) {
  const Bytes value(4088);
  HQOS_MsgBuf large = Buffer(0xFFFF, 0);
  EXPECT_EQ(large.capacity, HQOS_MSGBUF_SIZE);
  EXPECT_EQ(Append(large, 1, value), 0u);
  EXPECT_EQ(large.used, 4092);
  EXPECT_EQ(Append(large, 1, {}), 0u);
  EXPECT_EQ(Append(large, 1, {}), 77u);
  HQOS_MsgBuf tiny = Buffer(4, 1);  // not even the head
  HQOS_msg_AppendHead(1, 1, 1, &tiny);
  EXPECT_EQ(Append(tiny, 1, {}), 77u);
  EXPECT_EQ(tiny.used, 8);
  EXPECT_EQ(Append(tiny, 1, value), 77u);
  EXPECT_EQ(tiny.used, 8);
}

}  // namespace
