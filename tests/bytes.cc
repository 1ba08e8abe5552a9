#include "tests/bytes.h"

#include <cstddef>
#include <random>

namespace wire {

Bytes Hex(const std::string& digits) {
  Bytes bytes;
  for (size_t i = 0; i < digits.size();) {
    if (digits[i] == ' ') {
      ++i;
      continue;
    }
    bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    i += 2;
  }
  return bytes;
}

Bytes Field(const std::string& text, size_t width) {
  Bytes bytes(text.begin(), text.end());
  bytes.resize(width);
  return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes Tlv(uint16_t type, const Bytes& value) {
  const size_t n = value.size();
  return Bytes{static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type),
               static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)} +
         value;
}

Bytes Message(uint8_t kind, uint8_t opClass, const Bytes& tlvs) {
  return Bytes{8, 1, kind, opClass, 1, 0, 0, 0} + tlvs;
}

Bytes Status(uint32_t code, const std::string& text) {
  const Bytes value{static_cast<uint8_t>(code >> 24), static_cast<uint8_t>(code >> 16),
                    static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
  return Message(2, 1, Tlv(0x7000, value + Field(text, text.size() + 1)));
}

std::vector<Bytes> Damaged(const Bytes& whole) {
  std::vector<Bytes> all;
  for (size_t length = 1; length < whole.size(); ++length) {
    all.emplace_back(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
  }
  std::mt19937 random(7);
  for (int round = 0; round < 1000; ++round) {
    all.push_back(whole);
    for (int i = 0; i < 4; ++i) {
      all.back()[random() % whole.size()] = static_cast<uint8_t>(random() % 3 == 0 ? 0 : random());
    }
  }
  return all;
}

}  // namespace wire
