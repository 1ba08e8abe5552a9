// What a request is answered with.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace hqosd {

using Bytes = std::vector<uint8_t>;

struct Answer {
  uint32_t code = 0;  // 0, or one of HQOSD_Status
  std::string text;   // for people
  Bytes data;         // the data TLVs of a query that succeeded
};

inline Answer Refuse(uint32_t code, std::string text) { return {code, std::move(text), {}}; }

}  // namespace hqosd
