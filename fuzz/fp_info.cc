// The TLVs of an FP, and a message head.
#include <cstring>

#include "fuzz/guard.h"
#include "hqos.h"

namespace {

using fuzz::Require;

// Decoded, encoded and decoded again an FP is the same.
void CheckFP(const uint8_t* tlvs, size_t size) {
  HQOS_FPInfo info, again;
  std::memset(&info, 0x5A, sizeof info);
  HQOS_msg_DecapFPInfo(tlvs, static_cast<uint16_t>(size), &info);
  uint8_t whole[104 + 5 * 4];
  const uint32_t length = HQOS_msg_EncapFPInfo(&info, sizeof whole, whole);
  std::memset(&again, 0xA5, sizeof again);
  HQOS_msg_DecapFPInfo(whole, static_cast<uint16_t>(length), &again);
  Require(std::memcmp(&info, &again, sizeof info) == 0, "an FP is read as it was written");
}

// A head takes as many bytes as it says, at most 8, and leaves the rest.
void CheckHead(const uint8_t* msg, size_t size) {
  uint8_t head[HQOS_MSGHEAD_LEN];
  std::memset(head, 0x5A, sizeof head);
  const uint32_t status = HQOS_msg_DecapMsgHead(msg, static_cast<uint32_t>(size), head);
  Require((status == 0) == (msg[0] <= size), "a head is whole");
  for (size_t i = 0; i < sizeof head; ++i) {
    const bool isTaken = status == 0 && i < msg[0];
    Require(head[i] == (isTaken ? msg[i] : 0x5A), "a head is copied");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  const uint8_t* const input = guard.Bytes(data, size);
  CheckFP(input, size);
  if (size != 0) CheckHead(input, size);
  return 0;
}
