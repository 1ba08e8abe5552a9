// A rule whose numbers all differ, and its bytes.
#pragma once

#include "hqos.h"
#include "tests/bytes.h"

namespace wire {

inline const HQOS_MatchRule kRule{
    2, {{3, 5}, {7, 7}, {0xFFFF, 0xFFFF}, {9, 10}, {0x1112, 0x1314}, {1, 2}, {3, 4}, {5, 0x6162}}};
inline const Bytes kRuleBytes =
    Hex("00000002 0003 0005 0007 0007 ffff ffff 0009 000a 1112 1314 0001 0002 0003 0004 0005 6162");

}  // namespace wire
