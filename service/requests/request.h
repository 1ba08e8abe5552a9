// Requests: what a handler gets and returns, and the tables of those that the service knows.
#pragma once

#include <span>
#include <type_traits>

#include "service/model/tlvs.h"

namespace hqosd {

// The value of a request's TLV.
struct Payload {
  const uint8_t* value;
  uint16_t length;
};

// A request that the service knows. `handle` carries it out and returns the data TLVs of a query,
// or throws a Refusal before it changes the model.
struct Request {
  uint8_t opClass;
  uint16_t type;
  const char* name;
  Bytes (*handle)(Model&, const Payload&);
};

extern const std::span<const Request> kObjectRequests, kFPRequests, kDPRequests, kNestRequests,
    kApplyRequests, kSonRequests;

[[noreturn]] inline void RefuseShort() { Refuse(HQOSD_MALFORMED, "the payload is too short"); }

template <class Result, class Record>
Record RecordOf(Result (*)(Model&, const Record&));

// A handler that takes a record, whose payload has the layout.
template <auto handler, const auto& layout>
Bytes With(Model& model, const Payload& payload) {
  decltype(RecordOf(handler)) record{};
  if (!Decode(layout, payload.value, payload.length, record)) RefuseShort();
  if constexpr (std::is_void_v<decltype(handler(model, record))>) {
    handler(model, record);
    return {};
  } else {
    return handler(model, record);
  }
}

// A block of a list: collects data TLVs while there is room in a reply and `count`, 0 for no limit,
// is not reached.
class Block {
 public:
  explicit Block(uint32_t count) : left_(count == 0 ? UINT32_MAX : count) {
    constexpr uint32_t kContext[4] = {};
    HQOS_msg_InitBuf(HQOS_MSG_MAX - HQOS_MSGHEAD_LEN, kContext, 0, Close, &buffer_);
  }
  // False when there is no room; the block is complete then.
  bool Add(uint16_t type, const Bytes& value) {
    if (left_ == 0) return false;
    const auto length = static_cast<uint16_t>(value.size());
    left_ = HQOS_msg_AppendTlv2Buf(type, length, value.data(), &buffer_) == 0 ? left_ - 1 : 0;
    if (left_ == 0 && buffer_.capacity == 0) return false;
    used_ = buffer_.used;
    return true;
  }

  Bytes Take() const { return {buffer_.data, buffer_.data + used_}; }

 private:
  // There is one reply only: what does not fit closes the buffer, which keeps what it has.
  static uint32_t Close(HQOS_MsgBuf* buffer) {
    buffer->capacity = 0;
    return 1;
  }

  uint32_t left_;
  uint16_t used_ = 0;
  HQOS_MsgBuf buffer_;
};

// Lists the objects after the identifier; `encode` gives the value of each.
template <class Table, class Encode>
Bytes ListObjects(const Table& table, const HQOS_BulkKey& key, uint16_t type,
                  const Encode& encode) {
  Block block(key.count);
  for (const auto* object = table.Next(key.startId); object != nullptr;
       object = table.Next(object->id)) {
    if (!block.Add(type, encode(*object))) break;
  }
  return block.Take();
}

// The one data TLV of a query.
inline Bytes DataTlv(uint16_t type, const Bytes& value) {
  Bytes data;
  AppendTlv(data, type, value.data(), value.size());
  return data;
}

}  // namespace hqosd
