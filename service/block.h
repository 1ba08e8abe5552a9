// A block of a listing: as many data TLVs as a reply and the request allow.
#pragma once

#include "hqos.h"
#include "service/objects.h"
#include "service/tlvs.h"

namespace hqosd {

// Adds a data TLV while there is room in a reply and `count`, 0 for no limit, is not reached.
class Block {
 public:
  Block(Answer& answer, uint32_t count) : answer_(answer), left_(count == 0 ? UINT32_MAX : count) {}

  // False when it has no place any more.
  bool Add(uint16_t type, const uint8_t* value, size_t length) {
    const size_t before = answer_.data.size();
    AppendTlv(answer_.data, type, value, length);
    if (left_-- > 0 && HQOS_MSGHEAD_LEN + answer_.data.size() <= HQOS_MSG_MAX) return true;
    answer_.data.resize(before);
    return false;
  }

 private:
  Answer& answer_;
  uint32_t left_;
};

// Lists the objects behind the identifier in the payload; `describe` gives the value of each.
template <class Value, class Describe>
Answer ListObjects(const ObjectTable<Value>& table, const Payload& payload, uint16_t type,
                   const Describe& describe) {
  HQOS_BulkKey key{};
  if (!Read(payload, hqos::kBulkKey, key)) return TooShort();
  Answer answer;
  Block block(answer, key.count);
  for (const auto* object = table.Next(key.startId); object != nullptr;
       object = table.Next(object->id)) {
    const Bytes value = describe(*object);
    if (!block.Add(type, value.data(), value.size())) break;
  }
  return answer;
}

}  // namespace hqosd
