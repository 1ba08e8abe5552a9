// Writing out the bytes of messages.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wire {

using Bytes = std::vector<uint8_t>;

// Bytes from hex digits; blanks are skipped.
Bytes Hex(const std::string& digits);
// `text` in a field of `width` bytes, the rest zero.
Bytes Field(const std::string& text, size_t width);
Bytes operator+(Bytes a, const Bytes& b);
// A TLV as the host's codec lays it out.
Bytes Tlv(uint16_t type, const Bytes& value);
// A message: the 8-byte head with the given class, then `tlvs`.
Bytes Message(uint8_t kind, uint8_t opClass, const Bytes& tlvs);
// A reply whose only TLV is a status.
Bytes Status(uint32_t code, const std::string& text);

// Every cut of a message, and many with some bytes changed.
std::vector<Bytes> Damaged(const Bytes& whole);

}  // namespace wire
