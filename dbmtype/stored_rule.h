// A match rule as it is stored: its type is in another TLV than its ranges.
#pragma once

#include "msg/records.h"
#include "util/match_rule.h"

namespace hqos {

// The type, in the one byte order or the other.
template <class Form>
inline constexpr auto kRuleType = Table<4>(Field{0, 4, Form{}, &HQOS_MatchRule::type});

// TLV HQOS_DBTLV_RULE_RANGES.
inline constexpr auto kRuleRanges = Table<32>(Field{0, 32, kValueRange, &HQOS_MatchRule::ranges});

// Types whose ranges are not stored. Type 1 is one of them though no match type has that number.
constexpr bool HasStoredRanges(uint32_t type) {
  return type != 1 && type != HQOS_MATCH_GROUP && type != HQOS_MATCH_NONE;
}

}  // namespace hqos
