// Nanoseconds of the match rule functions.
#include <chrono>
#include <cstdio>

#include "hqos.h"

namespace {

constexpr int kCalls = 2'000'000;

template <class Call>
void Measure(const char* what, Call call) {
  uint32_t sum = 0;  // keeps the calls from being left out
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kCalls; ++i) sum += call();
  const double ns =
      std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
  std::printf("%-48s %7.1f ns (%u)\n", what, ns / kCalls, sum);
}

HQOS_MatchRule Rule(uint16_t first, uint16_t step) {
  HQOS_MatchRule rule{HQOS_MATCH_QOS_LOCAL_ID, {}};
  for (HQOS_ValueRange& range : rule.ranges) {
    range = {first, static_cast<uint16_t>(first + step / 2)};
    first = static_cast<uint16_t>(first + step);
  }
  return rule;
}

}  // namespace

int main() {
  const HQOS_MatchRule low = Rule(1, 100), high = Rule(2000, 100), between = Rule(61, 100);
  Measure("HQOS_util_MatchRuleCompare, disjoint by span",
          [&] { return HQOS_util_MatchRuleCompare(&low, &high); });
  Measure("HQOS_util_MatchRuleCompare, disjoint by bitmaps",
          [&] { return HQOS_util_MatchRuleCompare(&low, &between); });
  Measure("HQOS_util_MatchRuleCompare, equal by bitmaps",
          [&] { return HQOS_util_MatchRuleCompare(&low, &low); });
  char text[HQOS_MATCHRULE_STR_SIZE];
  Measure("HQOS_util_MatchRuleToStr", [&] {
    HQOS_util_MatchRuleToStr(&low, text);
    return static_cast<uint32_t>(text[20]);
  });
  return 0;
}
