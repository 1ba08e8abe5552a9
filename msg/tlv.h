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
  TlvWalk(const uint8_t* data, uint16_t room) : at_(data), room_(room) {}

  // Takes the next whole TLV. False at the end, and from then on.
  bool Next(Tlv& tlv) {
    tlv.value = nullptr;
    STLV_Get(at_, room_, &tlv.type, &tlv.length, &tlv.value);
    const uint8_t* const begin = at_;
    const size_t room = room_;
    room_ = 0;
    if (tlv.value == nullptr) return false;
    const size_t taken = static_cast<size_t>(tlv.value - begin) + tlv.length;
    if (taken == 0 || taken > room) return false;
    at_ = begin + taken;
    room_ = static_cast<uint16_t>(room - taken);
    return true;
  }

 private:
  const uint8_t* at_;
  uint16_t room_;
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
