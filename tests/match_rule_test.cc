// Match rules: text form, bitmaps, comparison.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "hqos.h"
#include "platform/bitmap.h"
#include "tests/records.h"
#include "tests/rule_bytes.h"

namespace {

using wire::Rule;
using wire::Same;
using Ranges = std::vector<HQOS_ValueRange>;

// What a test lets Bitmap_GetRange do instead of the host's.
std::function<void(uint32_t start, BitmapRange& run)> g_getRange;

std::string Repeat(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

std::string Text(const HQOS_MatchRule& rule) {
  char str[HQOS_MATCHRULE_STR_SIZE];
  memset(str, 'x', sizeof str);
  HQOS_util_MatchRuleToStr(&rule, str);
  return str;
}

TEST(RuleText, IsExact) {
  struct {
    HQOS_MatchRule rule;
    std::string text;
  } const cases[] = {
      {Rule(7, {}), "0007-" + Repeat("oOO", 16)},
      {Rule(2, {{3, 5}, {7, 7}}), "0002-300500700700" + Repeat("oOO", 12)},
      {Rule(4, {{1, 4095}}), "0004-100oO1" + Repeat("oOO", 14)},
      {Rule(9999, Ranges(8, {0x8421, 0x1248})), "9999-" + Repeat("Q@@892", 8)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Text(c.rule), c.text);
    EXPECT_EQ(c.text.size(), size_t{HQOS_MATCHRULE_STR_LEN});
    auto read = wire::Filled<HQOS_MatchRule>(wire::kBefore);
    EXPECT_EQ(HQOS_util_StrToMatchRule(c.text.c_str(), &read), 0u);
    EXPECT_TRUE(Same(read, c.rule)) << c.text;
  }
  EXPECT_EQ(HQOS_util_CalcMatchRuleStrLen(), 53u);
}

TEST(RuleText, CarriesEveryValue) {
  for (uint32_t v = 0; v <= 0xFFFF; v += 2) {
    const HQOS_ValueRange range{static_cast<uint16_t>(v), static_cast<uint16_t>(v + 1)};
    const HQOS_MatchRule rule = Rule(5, Ranges(8, range));
    HQOS_MatchRule read{};
    const std::string text = Text(rule);
    ASSERT_EQ(text.find_first_of("- \r\n", 5), text.npos);
    ASSERT_EQ(HQOS_util_StrToMatchRule(text.c_str(), &read), 0u);
    ASSERT_TRUE(Same(read, rule)) << v;
  }
}

TEST(RuleText, OfAnotherLengthIsRejected) {
  const HQOS_MatchRule before = Rule(3, {{1, 2}});
  const std::string tooLong = Text(Rule(10000, {}));
  EXPECT_EQ(tooLong, "10000-" + Repeat("oOO", 16));
  EXPECT_EQ(Text(Rule(0xFFFFFFFF, {})).size(), 59u);
  for (const std::string& text : {std::string(), std::string(52, '0'), std::string(54, '0'),
                                  tooLong, std::string(500, '0')}) {
    HQOS_MatchRule rule = before;
    EXPECT_EQ(HQOS_util_StrToMatchRule(text.c_str(), &rule), uint32_t{HQOS_ERR_FAILED});
    EXPECT_TRUE(Same(rule, before));
  }
}

// Characters are not checked; the arithmetic is that of bytes.
TEST(RuleText, TakesAnyCharacters) {
  struct {
    std::string type, value;
    uint32_t readType;
    uint16_t readValue;
  } const cases[] = {
      {"abcd-", "000", 3, 0},          {"  12x", "000", 12, 0},     {"12345", "000", 1234, 0},
      {"-1  -", "000", 0xFFFFFFFF, 0}, {"0002-", "///", 2, 0xFFFF}, {"0002-", "0p0", 2, 64 << 6},
      {"0002-", "\37700", 2, 0xCF},
  };
  for (const auto& c : cases) {
    HQOS_MatchRule rule = Rule(3, {});
    const std::string text = c.type + Repeat(c.value, 16);
    EXPECT_EQ(HQOS_util_StrToMatchRule(text.c_str(), &rule), 0u);
    EXPECT_EQ(rule.type, c.readType) << text;
    EXPECT_EQ(rule.ranges[7].high, c.readValue) << text;
  }
}

TEST(RuleRelations, OfGroupsAndTypes) {
  struct {
    HQOS_MatchRule a, b;
    uint32_t ab, ba;
  } const cases[] = {
      {Rule(6, {}), Rule(2, {{0, 3}}), HQOS_REL_CONTAINS, HQOS_REL_CONTAINED},
      {Rule(6, {{1, 2}}), Rule(6, {{3, 4}}), HQOS_REL_EQUAL, HQOS_REL_EQUAL},
      {Rule(2, {{0, 3}}), Rule(3, {{0, 3}}), HQOS_REL_OTHER_TYPE, HQOS_REL_OTHER_TYPE},
      // Values beyond the bitmaps are compared by their span.
      {Rule(2, {{5000, 5000}}), Rule(2, {{6000, 6000}}), HQOS_REL_DISJOINT, HQOS_REL_DISJOINT},
      {Rule(4, {{4095, 4095}}), Rule(4, {{0, 4095}}), HQOS_REL_CONTAINED, HQOS_REL_CONTAINS},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HQOS_util_MatchRuleCompare(&c.a, &c.b), c.ab) << Text(c.a) << " " << Text(c.b);
    EXPECT_EQ(HQOS_util_MatchRuleCompare(&c.b, &c.a), c.ba) << Text(c.b) << " " << Text(c.a);
  }
}

using Values = std::set<uint16_t>;

uint32_t RelationOf(const Values& a, const Values& b) {
  if (a == b) return HQOS_REL_EQUAL;
  Values common;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(),
                        std::inserter(common, common.end()));
  if (common.empty()) return HQOS_REL_DISJOINT;
  if (common == a) return HQOS_REL_CONTAINED;
  return common == b ? HQOS_REL_CONTAINS : HQOS_REL_OVERLAP;
}

// Random rules against plain sets: relation, union through a bitmap, and back.
TEST(RuleRelations, AreThoseOfSets) {
  std::mt19937 random(3);
  const auto draw = [&](Values& values) {
    const uint16_t span = random() % 2 == 0 ? 12 : 4094;
    std::set<uint16_t> bounds;
    for (uint32_t i = 0, n = random() % 16; i < n; ++i) {
      bounds.insert(static_cast<uint16_t>(1 + random() % span));
    }
    Ranges ranges;
    for (auto low = bounds.begin(); low != bounds.end(); ++low) {
      const auto high = std::next(low) == bounds.end() || random() % 3 == 0 ? low : std::next(low);
      if (ranges.size() == HQOS_MATCHRULE_RANGES) break;
      ranges.push_back({*low, *high});
      for (uint32_t v = *low; v <= *high; ++v) values.insert(static_cast<uint16_t>(v));
      low = high;
    }
    return Rule(HQOS_MATCH_QOS_LOCAL_ID, ranges);
  };
  for (int round = 0; round < 3000; ++round) {
    Values a, b;
    const HQOS_MatchRule ruleA = draw(a), ruleB = draw(b);
    ASSERT_EQ(HQOS_util_MatchRuleCompare(&ruleA, &ruleB), RelationOf(a, b))
        << Text(ruleA) << " " << Text(ruleB);

    alignas(8) uint8_t buffer[1024];
    Bitmap* const bitmap = Bitmap_CreateFromBuffer(buffer, sizeof buffer, HQOS_RULE_BITMAP_BITS);
    HQOS_util_MatchRule2Bitmap(&ruleA, bitmap);
    HQOS_util_AppendMatchRule(&ruleB, bitmap);
    Values both = a;
    both.insert(b.begin(), b.end());
    Ranges runs;
    for (const uint16_t v : both) {
      if (!runs.empty() && runs.back().high + 1 == v) {
        runs.back().high = v;
      } else {
        runs.push_back({v, v});
      }
    }
    HQOS_MatchRule merged = ruleA;
    const uint32_t status = HQOS_util_Bitmap2MatchRule(bitmap, HQOS_MATCH_QOS_LOCAL_ID, &merged);
    const bool fits = runs.size() <= HQOS_MATCHRULE_RANGES;
    ASSERT_EQ(status, fits ? 0u : uint32_t{HQOS_ERR_FAILED});
    ASSERT_TRUE(Same(merged, fits ? Rule(HQOS_MATCH_QOS_LOCAL_ID, runs) : ruleA));
  }
}

// Runs of a bitmap, as ranges of the types.
TEST(RuleBitmaps, StartAtTheLowestValueAndEndAtTheLast) {
  const Ranges even{{0, 0}, {2, 2}, {4, 4}, {6, 6}, {8, 8}, {10, 10}, {12, 12}, {14, 14}, {16, 16}};
  const Ranges withoutZero(even.begin() + 1, even.end());
  const Ranges large{{3, 4}, {5000, 6000}, {8191, 8191}};
  const struct {
    uint32_t bits, type;
    Ranges runs, ranges;
  } cases[] = {{4096, 2, even, {}},  // more than a rule holds
               {4096, 6, large, {}},
               {4096, 4, even, withoutZero},
               {4096, 2, {{4000, 4095}}, {{4000, 4095}}},
               {8192, 2, large, large}};
  for (const auto& c : cases) {
    alignas(8) uint8_t buffer[2048];
    Bitmap* const bitmap = Bitmap_CreateFromBuffer(buffer, sizeof buffer, c.bits);
    for (const HQOS_ValueRange& run : c.runs) {
      const BitmapRange range{1, run.low, run.high};
      Bitmap_SetRange(bitmap, &range);
    }
    HQOS_MatchRule rule = Rule(7, {});
    const bool done = !c.ranges.empty();
    EXPECT_EQ(HQOS_util_Bitmap2MatchRule(bitmap, c.type, &rule),
              done ? 0u : uint32_t{HQOS_ERR_FAILED});
    EXPECT_TRUE(Same(rule, Rule(done ? c.type : 7, c.ranges)));
  }
}

// Platforms that answer otherwise than the host's.
TEST(RuleBitmaps, EndByTheSizeThatTheBitmapRecords) {
  using Run = BitmapRange;
  const auto until = [](uint32_t start, uint32_t value, uint32_t last) {
    return Run{value, start, last};
  };
  const struct {
    const char* platform;
    uint32_t bits;
    std::function<void(uint32_t start, Run& run)> getRange;
    uint32_t status;
    Ranges ranges;
  } cases[] = {
      {"the run past the end is one of ones, with a low last index",
       100,
       [&](uint32_t start, Run& run) {
         run = start < 10    ? until(start, 1, 9)
               : start < 100 ? until(start, 0, 99)
                             : until(start, 1, start);
       },
       0,
       {{0, 9}}},
      {"a run begins beyond 16 bits",
       70000,
       [&](uint32_t start, Run& run) {
         run = start < 65538 ? until(start, 0, 65537) : until(start, start == 65538, start + 4);
       },
       0,
       {{2, 6}}},
      {"nine runs and more, some of them beyond 16 bits",
       70000,
       [&](uint32_t start, Run& run) { run = until(start, start / 3500 % 2, start + 3499); },
       HQOS_ERR_FAILED,
       {}},
      {"no progress",
       4096,
       [](uint32_t, Run& run) {
         run = {1, 2, 3};
       },
       0,
       {{2, 3}}},
      {"only the value is filled in", 4096, [](uint32_t, Run& run) { run.value = 1; }, 0, {}},
      {"only the last index",
       4096,
       [](uint32_t start, Run& run) { run.last = start + 999; },
       0,
       {}},
      {"nothing", 4096, [](uint32_t, Run&) {}, 0, {}},
  };
  for (const auto& c : cases) {
    const Bitmap bitmap{c.bits, 0};
    g_getRange = c.getRange;
    HQOS_MatchRule rule = Rule(7, {});
    const uint32_t status = HQOS_util_Bitmap2MatchRule(&bitmap, HQOS_MATCH_DOT1P, &rule);
    g_getRange = nullptr;
    EXPECT_EQ(status, c.status) << c.platform;
    EXPECT_TRUE(Same(rule, Rule(status == 0 ? 2 : 7, c.ranges))) << c.platform << Text(rule);
  }
}

TEST(ValueRanges, OfTheMatchTypes) {
  struct {
    uint32_t type, status;
    uint16_t min, max;
  } const cases[] = {{0, HQOS_ERR_FAILED, 9, 9},
                     {2, 0, 0, 7},
                     {3, 0, 0, 7},
                     {4, 0, 1, 4095},
                     {6, HQOS_ERR_FAILED, 9, 9},
                     {7, HQOS_ERR_FAILED, 9, 9}};
  for (const auto& c : cases) {
    uint16_t min = 9, max = 9;
    EXPECT_EQ(HQOS_util_GetValueRangeByType(c.type, &min, &max), c.status) << c.type;
    EXPECT_EQ(min, c.min) << c.type;
    EXPECT_EQ(max, c.max) << c.type;
  }
}

}  // namespace

uint32_t Bitmap_GetRange(const Bitmap* bitmap, uint32_t start, BitmapRange* run) {
  if (g_getRange) return g_getRange(start, *run), 0;
  static const auto host =
      reinterpret_cast<decltype(&Bitmap_GetRange)>(dlsym(RTLD_NEXT, "Bitmap_GetRange"));
  return host(bitmap, start, run);
}
