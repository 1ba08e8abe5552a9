// The text form of a match rule: "%04u-", then three characters for each low and each high.
#include <stdio.h>

#include "util/match_rule.h"

namespace {

constexpr size_t kRangesAt = 5;
constexpr size_t kValueLength = 3;

// Six bits, five bits and five bits, the least significant first, in characters from '0' up.
void HQOS_util_EncodeValue3(uint16_t value, char* out) {
  out[0] = static_cast<char>('0' + (value & 63));
  out[1] = static_cast<char>('0' + (value >> 6 & 31));
  out[2] = static_cast<char>('0' + (value >> 11));
}

// Characters are not checked: others spill into the bits beside theirs.
uint16_t HQOS_util_DecodeValue3(const char* text) {
  const auto digit = [text](int i) { return static_cast<uint8_t>(text[i] - '0'); };
  return static_cast<uint16_t>(digit(0) | digit(1) << 6 | digit(2) << 11);
}

}  // namespace

void HQOS_util_MatchRuleToStr(const HQOS_MatchRule* rule, char* str) {
  char* at = str + scnprintf(str, HQOS_MATCHRULE_STR_SIZE, "%04u-", rule->type);
  for (const HQOS_ValueRange& range : rule->ranges) {
    HQOS_util_EncodeValue3(range.low, at);
    HQOS_util_EncodeValue3(range.high, at + kValueLength);
    at += 2 * kValueLength;
  }
  *at = '\0';
}

uint32_t HQOS_util_CalcMatchRuleStrLen() {
  const HQOS_MatchRule empty = hqos::EmptyRule(HQOS_MATCH_NONE);
  char str[HQOS_MATCHRULE_STR_SIZE];
  HQOS_util_MatchRuleToStr(&empty, str);
  return static_cast<uint32_t>(hqos::Length(str));
}

uint32_t HQOS_util_StrToMatchRule(const char* str, HQOS_MatchRule* rule) {
  if (hqos::Length(str) != HQOS_util_CalcMatchRuleStrLen()) return HQOS_ERR_FAILED;
  sscanf(str, "%4u-", &rule->type);  // a text without a number leaves the type as it was
  const char* at = str + kRangesAt;
  for (HQOS_ValueRange& range : rule->ranges) {
    range.low = HQOS_util_DecodeValue3(at);
    range.high = HQOS_util_DecodeValue3(at + kValueLength);
    at += 2 * kValueLength;
  }
  return 0;
}
