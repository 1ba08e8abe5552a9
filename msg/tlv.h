// The walk over a sequence of TLVs.
#pragma once

#include <cstddef>

#include "platform/stlv.h"

namespace hqos {

struct Tlv {
  uint16_t type;
  uint16_t length;
  const uint8_t* value;
};

// Steps through the TLVs that lie back to back in `room` bytes at `data`. No length that a TLV
// claims leads outside them.
class TlvWalk {
 public:
  TlvWalk(const uint8_t* data, uint16_t room) : at_(data), end_(data + room) {}

  // Takes the next whole TLV. False at the end, and from then on.
  bool Next(Tlv& tlv) {
    const uint8_t* const begin = at_;
    if (begin == end_) return false;
    at_ = end_;
    tlv.value = nullptr;
    STLV_Get(begin, static_cast<uint16_t>(end_ - begin), &tlv.type, &tlv.length, &tlv.value);
    if (tlv.value == nullptr) return false;
    const uint8_t* const next = tlv.value + tlv.length;
    if (next <= begin || next > end_) return false;
    at_ = next;
    return true;
  }

 private:
  const uint8_t* at_;
  const uint8_t* end_;
};

// The walk over the TLVs of a message of at least one byte; they begin after its head, whose
// length is its first byte. A head longer than the message leaves nothing to walk.
inline TlvWalk WalkMessage(const uint8_t* msg, uint16_t msgLen) {
  const uint16_t headLen = msg[0] < msgLen ? msg[0] : msgLen;
  return {msg + headLen, static_cast<uint16_t>(msgLen - headLen)};
}

// The first of them; its value is null and its length 0 when there is none.
inline Tlv FirstTlv(const uint8_t* msg, uint16_t msgLen) {
  Tlv tlv;
  if (!WalkMessage(msg, msgLen).Next(tlv)) tlv = {};
  return tlv;
}

}  // namespace hqos
