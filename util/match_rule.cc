// Match rules: as bitmaps, how two of them relate, and their text form.
#include "util/match_rule.h"

#include <stdio.h>

#include "platform/bitmap.h"
#include "platform/vlan.h"

// ---- Bitmaps and relations ----------------------------------------------------------------------

namespace {

// A bitmap for the values of any match type, on the stack.
struct RuleBitmap {
  alignas(8) uint8_t buffer[1024];
  Bitmap* const bitmap = Bitmap_CreateFromBuffer(buffer, sizeof buffer, HQOS_RULE_BITMAP_BITS);
};

// The lowest and the highest value of ascending ranges.
void HQOS_util_GetRuleSpan(const HQOS_ValueRange* ranges, uint16_t* min, uint16_t* max) {
  int last = 0;
  while (last + 1 < HQOS_MATCHRULE_RANGES && ranges[last + 1].low != HQOS_RANGE_UNUSED) ++last;
  *min = ranges[0].low;
  *max = ranges[last].high;
}

uint32_t HQOS_util_CompareSameType(const HQOS_MatchRule* first, const HQOS_MatchRule* second) {
  if (first->type == HQOS_MATCH_GROUP) return HQOS_REL_EQUAL;
  uint16_t firstMin, firstMax, secondMin, secondMax;
  HQOS_util_GetRuleSpan(first->ranges, &firstMin, &firstMax);
  HQOS_util_GetRuleSpan(second->ranges, &secondMin, &secondMax);
  if (firstMax < secondMin || secondMax < firstMin) return HQOS_REL_DISJOINT;
  RuleBitmap a, b;
  HQOS_util_MatchRule2Bitmap(first, a.bitmap);
  HQOS_util_MatchRule2Bitmap(second, b.bitmap);
  return HQOS_util_RuleBitmapCompare(a.bitmap, b.bitmap);
}

}  // namespace

void HQOS_util_MatchRule2Bitmap(const HQOS_MatchRule* rule, Bitmap* bitmap) {
  for (const HQOS_ValueRange& range : rule->ranges) {
    if (range.low == HQOS_RANGE_UNUSED) break;
    const BitmapRange run{1, range.low, range.high};
    Bitmap_SetRange(bitmap, &run);
  }
}

void HQOS_util_AppendMatchRule(const HQOS_MatchRule* rule, Bitmap* bitmap) {
  HQOS_util_MatchRule2Bitmap(rule, bitmap);
}

uint32_t HQOS_util_Bitmap2MatchRule(const Bitmap* bitmap, uint32_t type, HQOS_MatchRule* rule) {
  uint16_t min, max;
  const uint32_t status = HQOS_util_GetValueRangeByType(type, &min, &max);
  if (status != 0) return status;
  HQOS_MatchRule found = hqos::EmptyRule(type);
  int count = 0;
  for (uint32_t start = min;;) {
    BitmapRange run{0, start, UINT32_MAX};  // ends the walk if the platform leaves it as it is
    Bitmap_GetRange(bitmap, start, &run);
    if (run.last >= bitmap->bits || run.last < start) break;
    start = run.last + 1;
    if (run.value != 1) continue;
    if (count == HQOS_MATCHRULE_RANGES) return HQOS_ERR_FAILED;
    found.ranges[count++] = {static_cast<uint16_t>(run.first), static_cast<uint16_t>(run.last)};
  }
  *rule = found;
  return 0;
}

// The platform's predicates are true when they give exactly 1.
uint32_t HQOS_util_RuleBitmapCompare(const Bitmap* bitmapA, const Bitmap* bitmapB) {
  if (Bitmap_IsEqual(bitmapA, bitmapB) == 1) return HQOS_REL_EQUAL;
  RuleBitmap common;
  Bitmap_And(bitmapA, bitmapB, common.bitmap);
  if (Bitmap_IsEmpty(common.bitmap) == 1) return HQOS_REL_DISJOINT;
  if (Bitmap_IsEqual(bitmapA, common.bitmap) == 1) return HQOS_REL_CONTAINED;
  if (Bitmap_IsEqual(bitmapB, common.bitmap) == 1) return HQOS_REL_CONTAINS;
  return HQOS_REL_OVERLAP;
}

uint32_t HQOS_util_MatchRuleCompare(const HQOS_MatchRule* ruleA, const HQOS_MatchRule* ruleB) {
  if (ruleA->type == ruleB->type) return HQOS_util_CompareSameType(ruleA, ruleB);
  if (ruleA->type == HQOS_MATCH_GROUP) return HQOS_REL_CONTAINS;
  if (ruleB->type == HQOS_MATCH_GROUP) return HQOS_REL_CONTAINED;
  return HQOS_REL_OTHER_TYPE;
}

uint32_t HQOS_util_GetValueRangeByType(uint32_t type, uint16_t* min, uint16_t* max) {
  switch (type) {
    case HQOS_MATCH_DOT1P:
    case HQOS_MATCH_LOCAL_PRECEDENCE:
      *min = 0;
      *max = 7;
      return 0;
    case HQOS_MATCH_QOS_LOCAL_ID:
      *min = 1;
      *max = 4095;
      return 0;
    case HQOS_MATCH_SERVICE_VLAN_ID:
      *max = static_cast<uint16_t>(VLAN_GetMaxVlanID());
      *min = static_cast<uint16_t>(VLAN_GetMinVlanID());
      return 0;
    default:
      return HQOS_ERR_FAILED;
  }
}

// ---- Text form: "%04u-", then three characters for each low and each high -----------------------

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
