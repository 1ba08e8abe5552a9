// The hierarchy that the service keeps, by way of the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "hqos.h"
#include "tests/process.h"

namespace {

using process::Service;

constexpr uint16_t kNone = 0xFFFF;

HQOS_MatchRule Value(uint16_t value) {
  HQOS_MatchRule rule{HQOS_MATCH_QOS_LOCAL_ID, {}};
  for (HQOS_ValueRange& range : rule.ranges) range = {kNone, kNone};
  rule.ranges[0] = {value, value};
  return rule;
}

// What a path and its record must be.
struct Expected {
  HQOS_SPSonPath path;
  std::string name, fp;
  HQOS_MatchRule rule;
};

bool Before(const HQOS_SPSonPath& a, const HQOS_SPSonPath& b) {
  return HQOS_util_SPSonPathCompare(&a, &b) == 2;
}

// A random hierarchy, built in the service and kept here as plain lists: FG n may have FGs of
// higher levels as children, and a few FCs.
class Hierarchy {
 public:
  static constexpr uint16_t kFGs = 40, kLevels = 5;

  explicit Hierarchy(unsigned seed) : random_(seed) {
    HQOS_Result result;
    EXPECT_EQ(HQOS_lib_AddSP("sp", 3, &result), 0u);
    EXPECT_EQ(HQOS_lib_AddSP("other", 2, &result), 0u);
    EXPECT_EQ(HQOS_lib_AddFP("fp", 1, &result), 0u);
    for (uint16_t fg = 0; fg < kFGs; ++fg) {
      EXPECT_EQ(HQOS_lib_AddFG(Name(fg).c_str(), fg, &result), 0u);
    }
    for (uint16_t fg = 0; fg < kFGs; ++fg) NestBelow(fg);
    for (uint16_t fg = 0; fg < 8; ++fg) {
      const HQOS_MatchRule rule = Value(static_cast<uint16_t>(fg + 1));
      EXPECT_EQ(HQOS_lib_AddSPNestFG("sp", &rule, Name(fg).c_str(), "fp", &result), 0u);
      EXPECT_EQ(result.code, 0u) << result.text;
      top_.push_back({fg, Name(fg), "fp", rule});
    }
  }

  std::vector<Expected> All() const {
    std::vector<Expected> all;
    HQOS_SPSonPath path{{3, kNone, kNone, kNone, kNone, kNone}};
    Collect(top_, 1, path, all);
    std::sort(all.begin(), all.end(),
              [](const Expected& a, const Expected& b) { return Before(a.path, b.path); });
    return all;
  }

 private:
  struct Child {
    uint16_t id;
    std::string name, fp;
    HQOS_MatchRule rule;
  };

  static std::string Name(uint16_t fg) { return "fg" + std::to_string(fg); }

  // FGs of one level are eight in a row; their children are of the next.
  void NestBelow(uint16_t fg) {
    HQOS_Result result;
    const auto level = static_cast<uint16_t>(fg / 8 + 1);
    const std::string parent = Name(fg);
    std::set<uint16_t> chosen;
    for (int i = 0; i < 3 && level < kLevels; ++i) {
      const auto child = static_cast<uint16_t>(size_t{level} * 8 + random_() % 8);
      if (!chosen.insert(child).second) continue;
      const HQOS_MatchRule rule = Value(static_cast<uint16_t>(child + 1));
      EXPECT_EQ(HQOS_lib_AddFGNestFG(parent.c_str(), &rule, Name(child).c_str(), nullptr, &result),
                0u);
      EXPECT_EQ(result.code, 0u) << result.text;
      below_[fg].push_back({child, Name(child), "", rule});
    }
    if (level == kLevels || random_() % 2 == 0) return;
    const std::string fc = "fc" + std::to_string(random_() % 6);
    EXPECT_EQ(HQOS_lib_AddFGNestFC(parent.c_str(), fc.c_str(), "fp", &result), 0u);
    if (!fcs_.contains(fc)) fcs_[fc] = static_cast<uint16_t>(0xFFFE - fcs_.size());
    HQOS_MatchRule none = Value(kNone);
    none.type = HQOS_MATCH_NONE;
    below_[fg].push_back({fcs_[fc], fc, "fp", none});
  }

  void Collect(const std::vector<Child>& children, int level, HQOS_SPSonPath path,
               std::vector<Expected>& all) const {
    for (const Child& child : children) {
      path.field[level] = child.id;
      all.push_back({path, child.name, child.fp, child.rule});
      const auto below = below_.find(child.id);
      if (below != below_.end()) Collect(below->second, level + 1, path, all);
    }
  }

  std::mt19937 random_;
  std::vector<Child> top_;
  std::map<uint16_t, std::vector<Child>> below_;
  std::map<std::string, uint16_t> fcs_;
};

std::vector<HQOS_SPSon> List(uint32_t count, size_t& roundTrips) {
  std::vector<HQOS_SPSon> all, block(HQOS_BULK_SPSON_MAX);
  HQOS_SPSonPath start{{3, kNone, kNone, kNone, kNone, kNone}};
  for (uint32_t got = 1; got != 0;) {
    EXPECT_EQ(HQOS_lib_GetBulkSPSon(&start, count, &got, block.data()), 0u);
    EXPECT_LE(got, count == 0 ? uint32_t{HQOS_BULK_SPSON_MAX} : count);
    all.insert(all.end(), block.begin(), block.begin() + got);
    if (got != 0) start = all.back().path;
    ++roundTrips;
  }
  return all;
}

TEST(Hierarchy, IsListedInBlocksOfAnySize) {
  Service service;
  const Hierarchy hierarchy(11);
  const std::vector<Expected> expected = hierarchy.All();
  ASSERT_GT(expected.size(), 300u);
  for (const uint32_t count : {0u, 1u, 3u, 1000u}) {
    size_t roundTrips = 0;
    const std::vector<HQOS_SPSon> sons = List(count, roundTrips);
    ASSERT_EQ(sons.size(), expected.size()) << count;
    const size_t perBlock = count == 0 || count > 10 ? 10 : count;
    EXPECT_EQ(roundTrips, (expected.size() + perBlock - 1) / perBlock + 1);
    for (size_t i = 0; i < sons.size(); ++i) {
      ASSERT_EQ(memcmp(&sons[i].path, &expected[i].path, sizeof sons[i].path), 0) << i;
      ASSERT_EQ(sons[i].cfg.name1, expected[i].name);
      ASSERT_EQ(sons[i].cfg.name2, expected[i].fp);
      ASSERT_EQ(memcmp(&sons[i].cfg.rule, &expected[i].rule, sizeof expected[i].rule), 0) << i;
    }
  }
}

TEST(Hierarchy, IsTheSameInAllThreeListings) {
  Service service;
  const Hierarchy hierarchy(11);
  const HQOS_SPSonPath start{{3, kNone, kNone, kNone, kNone, kNone}};
  std::vector<HQOS_SPSon> sons(HQOS_BULK_SPSON_MAX);
  std::vector<HQOS_SPSonStat> stats(HQOS_BULK_SPSON_MAX);
  std::vector<HQOS_SPSonDiag> diags(HQOS_BULK_SPSON_MAX);
  uint32_t n = 0, withStats = 0, withDiags = 0;
  EXPECT_EQ(HQOS_lib_GetBulkSPSon(&start, 0, &n, sons.data()), 0u);
  EXPECT_EQ(HQOS_lib_GetBulkSPSonStat(nullptr, &start, 0, &withStats, stats.data()), 0u);
  EXPECT_EQ(HQOS_lib_GetBulkSPSonDiag(nullptr, &start, 0, &withDiags, diags.data()), 0u);
  EXPECT_EQ(n, 10u);
  EXPECT_EQ(withStats, 5u);
  EXPECT_EQ(withDiags, 9u);
  const HQOS_SPSonCounters zero{};
  for (uint32_t i = 0; i < withStats; ++i) {
    EXPECT_EQ(memcmp(&stats[i].son, &sons[i], sizeof sons[i]), 0);
    EXPECT_EQ(memcmp(stats[i].counters.stat64, zero.stat64, sizeof zero.stat64), 0);
  }
  for (uint32_t i = 0; i < withDiags; ++i) {
    EXPECT_EQ(memcmp(&diags[i].son, &sons[i], sizeof sons[i]), 0);
  }
}

// A listing goes on from where a child was, also when it is there no more.
TEST(Hierarchy, IsListedOnFromAnywhere) {
  Service service;
  const Hierarchy hierarchy(12);
  const std::vector<Expected> all = hierarchy.All();
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    HQOS_SPSonPath start = all[random() % all.size()].path;
    for (int level = 1; level <= 5; ++level) {
      if (random() % 3 == 0) start.field[level] = static_cast<uint16_t>(random() % 45);
    }
    for (int level = 2; level <= 5; ++level) {
      if (start.field[level - 1] == kNone) start.field[level] = kNone;
    }
    const auto next = std::find_if(all.begin(), all.end(),
                                   [&](const Expected& e) { return Before(start, e.path); });
    HQOS_SPSon son;
    uint32_t got = 9;
    ASSERT_EQ(HQOS_lib_GetBulkSPSon(&start, 1, &got, &son), 0u);
    ASSERT_EQ(got, next == all.end() ? 0u : 1u);
    if (got == 1) {
      ASSERT_EQ(memcmp(&son.path, &next->path, sizeof son.path), 0);
    }
  }
}

TEST(Hierarchy, BeginsWithTheFirstAndKnowsItsEnd) {
  Service service;
  HQOS_Result result;
  HQOS_SPSon son[HQOS_BULK_SPSON_MAX];
  HQOS_FGSon fgSon[HQOS_BULK_FGSON_MAX];
  const HQOS_SPSonPath begin{{kNone, kNone, kNone, kNone, kNone, kNone}};
  const HQOS_FGSonKey fgBegin{{kNone, kNone, kNone}};
  uint32_t got = 9;
  EXPECT_EQ(HQOS_lib_GetBulkSPSon(&begin, 0, &got, son), 0u);
  EXPECT_EQ(got, 0u);
  got = 9;
  EXPECT_EQ(HQOS_lib_GetBulkFGSon(&fgBegin, 0, &got, fgSon), 0u);
  EXPECT_EQ(got, 0u);

  HQOS_lib_AddSP("sp", 3, &result);
  HQOS_lib_AddFG("fg", 5, &result);
  const HQOS_MatchRule rule = Value(1);
  HQOS_lib_AddSPNestFG("sp", &rule, "fg", nullptr, &result);
  EXPECT_EQ(HQOS_lib_GetBulkSPSon(&begin, 0, &got, son), 0u);
  ASSERT_EQ(got, 1u);
  EXPECT_EQ(son[0].path.field[0], 3);

  std::vector<HQOS_FGSon> all;
  for (int i = 0; i < 30; ++i) {
    HQOS_lib_AddFGNestFC("fg", ("fc" + std::to_string(i)).c_str(), nullptr, &result);
    EXPECT_EQ(result.code, 0u) << result.text;
  }
  HQOS_FGSonKey start = fgBegin;
  for (got = 1; got != 0; start = got != 0 ? all.back().key : start) {
    ASSERT_EQ(HQOS_lib_GetBulkFGSon(&start, 7, &got, fgSon), 0u);
    all.insert(all.end(), fgSon, fgSon + got);
    if (got == 0) break;
  }
  ASSERT_EQ(all.size(), 30u);
  for (size_t i = 0; i < all.size(); ++i) {
    const std::string name = "fc" + std::to_string(29 - i);  // the first got the highest identifier
    EXPECT_EQ(all[i].name1, name);
    EXPECT_EQ(all[i].key.field[0], 5);
    EXPECT_EQ(all[i].key.field[1], 0xFFFE - 29 + i);
    EXPECT_EQ(all[i].word, 2u);
  }
  const HQOS_SPSonPath nowhere{{9, kNone, kNone, kNone, kNone, kNone}};
  EXPECT_NE(HQOS_lib_GetBulkSPSon(&nowhere, 0, &got, son), 0u);

  // FCs end with their last nesting, and their identifiers come back.
  HQOS_lib_DelFGNestFC("fg", "fc0", &result);
  EXPECT_EQ(result.code, 0u) << result.text;
  HQOS_lib_DelFGNestFC("fg", "fc0", &result);
  EXPECT_NE(result.code, 0u);
  HQOS_lib_AddFG("fc-id", 0xFFFD, &result);
  EXPECT_STREQ(result.text, "FG fc-id: identifier 65533 belongs to FC fc1");
  HQOS_lib_AddFG("fc-id", 0xFFFE, &result);
  EXPECT_EQ(result.code, 0u) << result.text;
  // An identifier that an FG gives back is free for an FC.
  HQOS_lib_DelFG("fc-id", &result);
  HQOS_lib_AddFGNestFC("fg", "again", nullptr, &result);
  start = {{5, 0xFFFD, kNone}};
  ASSERT_EQ(HQOS_lib_GetBulkFGSon(&start, 0, &got, fgSon), 0u);
  ASSERT_EQ(got, 1u);
  EXPECT_STREQ(fgSon[0].name1, "again");
  HQOS_lib_DelFGNestFC("fg", "again", &result);
  HQOS_lib_AddFG("fc-id", 0xFFFE, &result);
  HQOS_FGInfo info;
  EXPECT_EQ(HQOS_lib_GetNextFG(5, &info), 0u);
  EXPECT_STREQ(info.name, "fc-id");
  EXPECT_EQ(info.id, 0xFFFE);
  EXPECT_EQ(HQOS_lib_GetFG("fg", &info), 0u);
  EXPECT_EQ(info.id, 5);
}

}  // namespace
