// The hierarchy that the service keeps, through the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "hqos.h"
#include "tests/process.h"
#include "tests/records.h"
#include "tests/rule_bytes.h"

namespace {

using process::Service;
using wire::Same;

constexpr uint16_t kNone = 0xFFFF;
constexpr HQOS_SPSonPath kStart{{3, kNone, kNone, kNone, kNone, kNone}};

HQOS_MatchRule Value(uint16_t value) {
  return wire::Rule(HQOS_MATCH_QOS_LOCAL_ID, {{value, value}});
}

bool Before(const HQOS_SPSonPath& a, const HQOS_SPSonPath& b) {
  return HQOS_util_SPSonPathCompare(&a, &b) == 2;
}

constexpr uint16_t kPerLevel = 4, kFGs = 5 * kPerLevel;

// A service that has an SP with FGs on five levels, each below several parents, and FCs.
class Hierarchy : public testing::Test {
 protected:
  Hierarchy() {
    HQOS_lib_AddSP("sp", 3, &result_);
    HQOS_lib_AddSP("other", 2, &result_);
    HQOS_lib_AddFP("fp", 1, &result_);
    for (uint16_t fg = 0; fg < kFGs; ++fg) {
      const HQOS_MatchRule rule = Value(static_cast<uint16_t>(fg + 1));
      HQOS_lib_AddFG(Name(fg).c_str(), fg, &result_);
      if (fg < kPerLevel) {
        HQOS_lib_AddSPNestFG("sp", &rule, Name(fg).c_str(), "fp", &result_);
        continue;
      }
      const int above = fg / kPerLevel * kPerLevel - kPerLevel;
      for (const int parent : {above + fg % kPerLevel, above + (fg + 1) % kPerLevel}) {
        HQOS_lib_AddFGNestFG(Name(parent).c_str(), &rule, Name(fg).c_str(), nullptr, &result_);
        EXPECT_EQ(result_.code, 0u) << result_.text;
      }
      HQOS_lib_AddFGNestFC(Name(above).c_str(), ("fc" + std::to_string(fg % 3)).c_str(), "fp",
                           &result_);
    }
    HQOS_SPSonPath path = kStart;
    for (uint16_t fg = 0; fg < kPerLevel; ++fg) {
      path.field[1] = fg;
      all_.push_back({{}, path, {fg, 1, {}, "fp", Value(static_cast<uint16_t>(fg + 1))}});
      Name(fg).copy(all_.back().cfg.name1, 31);
      Collect(fg, 2, path);
    }
  }

  Service service_;
  HQOS_Result result_;
  std::vector<HQOS_SPSon> all_;  // what a listing must be, in its order, except for the words

 private:
  static std::string Name(int fg) { return "fg" + std::to_string(fg); }

  // Adds the children at that level as those of the FG alone are listed.
  void Collect(uint16_t fg, int level, HQOS_SPSonPath path) {
    HQOS_FGSon sons[HQOS_BULK_FGSON_MAX];
    const HQOS_FGSonKey start{{fg, kNone, kNone}};
    uint32_t n = 0;
    EXPECT_EQ(HQOS_lib_GetBulkFGSon(&start, 0, &n, sons), 0u);
    for (const HQOS_FGSon* son = sons; son != sons + n; ++son) {
      path.field[level] = son->key.field[1];
      all_.push_back({{}, path, {path.field[level], static_cast<uint16_t>(son->word), {}, {}, {}}});
      HQOS_SonCfg& cfg = all_.back().cfg;
      memcpy(cfg.name1, son->name1, sizeof cfg.name1);
      memcpy(cfg.name2, son->name2, sizeof cfg.name2);
      cfg.rule = son->rule;
      if (son->word == 1) Collect(son->key.field[1], level + 1, path);
    }
  }
};

TEST_F(Hierarchy, IsListedInBlocksOfAnySize) {
  ASSERT_GT(all_.size(), 120u);
  for (const uint32_t count : {0u, 1u, 3u, 1000u}) {
    std::vector<HQOS_SPSon> sons, block(HQOS_BULK_SPSON_MAX);
    size_t roundTrips = 0;
    for (uint32_t got = 1; got != 0; ++roundTrips) {
      const HQOS_SPSonPath start = sons.empty() ? kStart : sons.back().path;
      ASSERT_EQ(HQOS_lib_GetBulkSPSon(&start, count, &got, block.data()), 0u);
      sons.insert(sons.end(), block.begin(), block.begin() + got);
    }
    const size_t perBlock = count == 0 || count > 10 ? 10 : count;
    EXPECT_EQ(roundTrips, (all_.size() + perBlock - 1) / perBlock + 1);
    ASSERT_EQ(sons.size(), all_.size()) << count;
    for (size_t i = 0; i < sons.size(); ++i) {
      ASSERT_TRUE(Same(sons[i].path, all_[i].path)) << i;
      ASSERT_TRUE(Same(sons[i].cfg, all_[i].cfg)) << i;
    }
  }
}

// A listing goes on from where a child was, also when it is there no more.
TEST_F(Hierarchy, IsListedOnFromAnywhere) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    HQOS_SPSonPath start = all_[random() % all_.size()].path;
    for (int level = 1; level <= 5; ++level) {
      if (random() % 3 == 0) start.field[level] = static_cast<uint16_t>(random() % (kFGs + 5));
      if (level > 1 && start.field[level - 1] == kNone) start.field[level] = kNone;
    }
    const auto next = std::find_if(all_.begin(), all_.end(),
                                   [&](const HQOS_SPSon& e) { return Before(start, e.path); });
    HQOS_SPSon son;
    uint32_t got = 9;
    ASSERT_EQ(HQOS_lib_GetBulkSPSon(&start, 1, &got, &son), 0u);
    ASSERT_EQ(got, next == all_.end() ? 0u : 1u);
    if (got == 1) {
      ASSERT_TRUE(Same(son.path, next->path));
    }
  }
}

}  // namespace
