// Match rules as texts, the library's form and the command line's, and what is done with them. The
// input is two texts, a line each.
#include "cli/rule_text.h"

#include <algorithm>
#include <bitset>
#include <cstring>
#include <optional>

#include "cli/failure.h"
#include "fuzz/guard.h"
#include "service/model/rule_bits.h"
#include "util/match_rule.h"

namespace {

using fuzz::Require;
using hqosd::RuleBits;
using Values = std::bitset<HQOS_RULE_BITMAP_BITS>;

bool IsSame(const HQOS_MatchRule& a, const HQOS_MatchRule& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// ---- Texts --------------------------------------------------------------------------------------

// A rule in the library's form; written and read again it is the same.
std::optional<HQOS_MatchRule> ReadForm(const char* text) {
  const HQOS_MatchRule before = hqos::EmptyRule(HQOS_MATCH_NONE);
  HQOS_MatchRule rule = before, again = before;
  if (HQOS_util_StrToMatchRule(text, &rule) != 0) {
    Require(IsSame(rule, before), "a text that is no rule leaves the rule");
    Require(std::strlen(text) != HQOS_MATCHRULE_STR_LEN, "a text of that length is a rule");
    return std::nullopt;
  }
  char made[HQOS_MATCHRULE_STR_SIZE];
  HQOS_util_MatchRuleToStr(&rule, made);
  Require((std::strlen(made) == HQOS_MATCHRULE_STR_LEN) == (rule.type <= 9999), "a text's length");
  if (rule.type > 9999) return rule;
  Require(HQOS_util_StrToMatchRule(made, &again) == 0 && IsSame(rule, again),
          "a rule is read as it was written");
  return rule;
}

// A rule as people write it.
std::optional<HQOS_MatchRule> ReadWritten(const char* text) {
  try {
    const HQOS_MatchRule rule = hqosctl::ParseRule(text);
    Require(IsSame(hqosctl::ParseRule(hqosctl::RuleText(rule)), rule),
            "a rule is read as it was written");
    return rule;
  } catch (const hqosctl::Failure&) {
    return std::nullopt;
  }
}

// ---- Values -------------------------------------------------------------------------------------

Values ValuesOf(const HQOS_MatchRule& rule) {
  Values values;
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) break;
    for (uint32_t i = range.low; i <= range.high && i < values.size(); ++i) values.set(i);
  }
  return values;
}

// The rule in ascending order, made of its bitmap; none when its type has no values, or it would
// take more ranges than there are.
std::optional<HQOS_MatchRule> Ascending(const HQOS_MatchRule& rule) {
  uint16_t min, max;
  HQOS_MatchRule ascending;
  if (HQOS_util_Bitmap2MatchRule(RuleBits(rule).get(), rule.type, &ascending) != 0) {
    return std::nullopt;
  }
  Require(HQOS_util_GetValueRangeByType(rule.type, &min, &max) == 0, "its type has values");
  Values values = ValuesOf(rule);
  for (uint32_t i = 0; i < min; ++i) values.reset(i);
  Require(ValuesOf(ascending) == values, "a bitmap holds the values of its rule");
  return ascending;
}

uint32_t Relation(const Values& a, const Values& b) {
  const Values common = a & b;
  if (a == b) return HQOS_REL_EQUAL;
  if (common.none()) return HQOS_REL_DISJOINT;
  if (common == a) return HQOS_REL_CONTAINED;
  return common == b ? HQOS_REL_CONTAINS : HQOS_REL_OVERLAP;
}

void Compare(const HQOS_MatchRule& a, const HQOS_MatchRule& b) {
  Require(HQOS_util_RuleBitmapCompare(RuleBits(a).get(), RuleBits(b).get()) ==
              Relation(ValuesOf(a), ValuesOf(b)),
          "bitmaps relate as their values do");
  RuleBits both(a);
  HQOS_util_AppendMatchRule(&b, both.get());
  const uint32_t toBoth = HQOS_util_RuleBitmapCompare(RuleBits(a).get(), both.get());
  Require(toBoth == Relation(ValuesOf(a), ValuesOf(a) | ValuesOf(b)), "appending makes the union");
  HQOS_util_MatchRuleCompare(&a, &b);  // in no order: anything but a fault
  const auto first = Ascending(a), second = Ascending(b);
  if (!first || !second) return;
  const uint32_t relation = HQOS_util_MatchRuleCompare(&*first, &*second);
  const Values firstValues = ValuesOf(*first), secondValues = ValuesOf(*second);
  if (firstValues.none() || secondValues.none()) return;  // not rules that relate
  Require(relation == (first->type == second->type ? Relation(firstValues, secondValues)
                                                   : uint32_t{HQOS_REL_OTHER_TYPE}),
          "rules relate as their values do");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard, secondGuard;
  const uint8_t* const end = data + size;
  const uint8_t* const line = std::find(data, end, '\n');
  const uint8_t* const behind = line == end ? end : line + 1;
  const char* const texts[] = {
      guard.Text(data, static_cast<size_t>(line - data)),
      secondGuard.Text(behind, static_cast<size_t>(end - behind)),
  };
  std::optional<HQOS_MatchRule> rules[2];
  for (int i = 0; i < 2; ++i) {
    rules[i] = ReadWritten(texts[i]);
    if (!rules[i]) rules[i] = ReadForm(texts[i]);
    if (rules[i]) hqosctl::RuleText(*rules[i]);
  }
  if (rules[0]) Compare(*rules[0], rules[1] ? *rules[1] : *rules[0]);
  return 0;
}
