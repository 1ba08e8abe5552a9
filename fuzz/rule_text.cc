// Match rules as texts, the library's form and the command line's. The input is two texts, a line
// each.
#include <algorithm>
#include <cstring>
#include <optional>

#include "cli/failure.h"
#include "cli/rule_argument.h"
#include "fuzz/guard.h"
#include "util/match_rule.h"

namespace {

using fuzz::Require;

bool IsSame(const HQOS_MatchRule& a, const HQOS_MatchRule& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard, secondGuard;
  const uint8_t* const end = data + size;
  const uint8_t* const line = std::find(data, end, '\n');
  const uint8_t* const rest = line == end ? end : line + 1;
  const char* const texts[] = {
      guard.Text(data, static_cast<size_t>(line - data)),
      secondGuard.Text(rest, static_cast<size_t>(end - rest)),
  };
  std::optional<HQOS_MatchRule> rules[2];
  for (int i = 0; i < 2; ++i) {
    rules[i] = ReadWritten(texts[i]);
    if (!rules[i]) rules[i] = ReadForm(texts[i]);
    if (rules[i]) hqosctl::RuleText(*rules[i]);
  }
  if (rules[0] && rules[1]) HQOS_util_MatchRuleCompare(&*rules[0], &*rules[1]);
  return 0;
}
