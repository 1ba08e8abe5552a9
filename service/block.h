// A block of a listing: as many data TLVs as a reply and the request allow.
#pragma once

#include "hqos.h"
#include "service/objects.h"
#include "service/tlvs.h"

namespace hqosd {

// Collects the data TLVs of an answer while there is room in a reply and `count`, 0 for no limit,
// is not reached.
class Block {
 public:
  explicit Block(uint32_t count) : left_(count == 0 ? UINT32_MAX : count) {
    constexpr uint32_t kContext[4] = {};
    HQOS_msg_InitBuf(HQOS_MSG_MAX - HQOS_MSGHEAD_LEN, kContext, 0, Close, &buffer_);
  }
  // False when it has no place any more; the block is over then.
  bool Add(uint16_t type, const uint8_t* value, size_t length) {
    if (left_ == 0) return false;
    const auto valueLength = static_cast<uint16_t>(length);
    left_ = HQOS_msg_AppendTlv2Buf(type, valueLength, value, &buffer_) == 0 ? left_ - 1 : 0;
    if (left_ == 0 && buffer_.capacity == 0) return false;
    used_ = buffer_.used;
    return true;
  }

  Answer Take() const { return {0, "", Bytes(buffer_.data, buffer_.data + used_)}; }

 private:
  // One reply is all there is: what does not fit closes the buffer, which keeps what it has.
  static uint32_t Close(HQOS_MsgBuf* buffer) {
    buffer->capacity = 0;
    return 1;
  }

  uint32_t left_;
  uint16_t used_ = 0;
  HQOS_MsgBuf buffer_;
};

// Lists the objects behind the identifier in the payload; `describe` gives the value of each.
template <class Value, class Describe>
Answer ListObjects(const ObjectTable<Value>& table, const Payload& payload, uint16_t type,
                   const Describe& describe) {
  HQOS_BulkKey key{};
  if (!Read(payload, hqos::kBulkKey, key)) return TooShort();
  Block block(key.count);
  for (const auto* object = table.Next(key.startId); object != nullptr;
       object = table.Next(object->id)) {
    const Bytes value = describe(*object);
    if (!block.Add(type, value.data(), value.size())) break;
  }
  return block.Take();
}

}  // namespace hqosd
