// Match rules: one from its ranges, and one whose numbers all differ, with its bytes. And a name.
#pragma once

#include <algorithm>
#include <vector>

#include "hqos.h"
#include "tests/bytes.h"

namespace wire {

// The rule with those ranges; the others are unused.
inline HQOS_MatchRule Rule(uint32_t type, const std::vector<HQOS_ValueRange>& ranges) {
  HQOS_MatchRule rule{type, {}};
  std::fill(rule.ranges, rule.ranges + HQOS_MATCHRULE_RANGES, HQOS_ValueRange{0xFFFF, 0xFFFF});
  std::copy(ranges.begin(), ranges.end(), rule.ranges);
  return rule;
}

inline const HQOS_MatchRule kRule{
    2, {{3, 5}, {7, 7}, {0xFFFF, 0xFFFF}, {9, 10}, {0x1112, 0x1314}, {1, 2}, {3, 4}, {5, 0x6162}}};
inline const Bytes kRuleBytes =
    Hex("00000002 0003 0005 0007 0007 ffff ffff 0009 000a 1112 1314 0001 0002 0003 0004 0005 6162");

// A name as it is read, and the bytes that fill its field without a NUL.
#define WIRE_NAME "0123456789abcdefghijklmnopqrstu"
inline const Bytes kFullName = Field(WIRE_NAME "v", 32);

}  // namespace wire
