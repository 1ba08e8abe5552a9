// Settings of FPs and DPs, and listings of many objects, against a real service.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "hqos.h"
#include "tests/process.h"

namespace {

using nlohmann::json;
using process::Batch;
using process::Outcome;
using process::Service;

TEST(Settings, OfAnFPAreKept) {
  Service service;
  const Outcome set = Batch(service,
                            "dp add dp0\ndp add dp1 --id 9\nfp add bare\nfp add fp1 --id 5\n"
                            "fp set fp1 --queue 7,1,100 --gts 10000,20000,4000,0 "
                            "--bandwidth 5000 --dp dp0\n"
                            "fp set fp1 --dp dp1 --queue 8,0,4294967295\n"
                            "fp set bare --dp tin\n"
                            "fp show\n"
                            "dp del dp0\n"  // no longer referred to
                            "dp del dp1\n"
                            "fp set fp1 --dp tin --bandwidth 1\n"
                            "fp set tin --bandwidth 1\n"
                            "fp unset fp1 --queue 7\n"
                            "fp unset bare --queue 0\n"
                            "fp unset bare --gts\n"
                            "fp unset bare --bandwidth\n"
                            "fp unset bare --dp\n"
                            "fp set bare\nfp unset bare\n");
  EXPECT_EQ(set.out,
            "NAME  ID  QUEUE           GTS                 BANDWIDTH  DP\n"
            "bare  0   -               -                   -          -\n"
            "fp1   5   8,0,4294967295  10000,20000,4000,0  5000       dp1\n");
  EXPECT_EQ(set.err,
            "DP tin does not exist\nDP dp1 is used by FP fp1\nDP tin does not exist\nFP tin does "
            "not exist\n"
            "FP fp1 has no queue 7\nFP bare has no queue 0\nFP bare has no GTS\n"
            "FP bare has no bandwidth\nFP bare has no DP reference\n"
            "no setting is given\nno setting is given\n");
  EXPECT_EQ(json::parse(Batch(service, "fp show fp1\n", true).out),
            (json{{{"name", "fp1"},
                   {"id", 5},
                   {"flags", 15},
                   {"dpName", "dp1"},
                   {"dpId", 9},
                   {"gts", {10000, 20000, 4000, 0}},
                   {"queue", {8, 0, 4294967295}},
                   {"bandwidth", 5000}}}));
  const Outcome unset = Batch(service,
                              "fp unset fp1 --queue 8\nfp unset fp1 --dp\ndp del dp1\nfp show fp1\n"
                              "dp add dp1\nfp set fp1 --dp dp1\nfp del fp1\ndp del dp1\n");
  EXPECT_EQ(unset.err, "");
  EXPECT_EQ(unset.out,
            "NAME  ID  QUEUE  GTS                 BANDWIDTH  DP\n"
            "fp1   5   -      10000,20000,4000,0  5000       -\n");
}

TEST(Settings, CountTheUsersOfADP) {
  Service service;
  const Outcome outcome = Batch(service,
                                "dp add dp0\ndp add dp1\nfp add fp0\nfp add fp1\nfg add fg\n"
                                "fp set fp0 --dp dp0\nfp set fp1 --dp dp1\n"
                                "nest fg fg fc fc --fp fp1\n"
                                "fp del fp1\n"
                                "dp del dp1\n"
                                "fp set fp0 --dp dp1\nfp unset fp1 --dp\ndp del dp0\n"
                                "dp del dp1\n");
  EXPECT_EQ(outcome.err,
            "FP fp1 is used by FC fc below FG fg\nDP dp1 is used by FP fp1\n"
            "DP dp1 is used by FP fp0\n");
}

TEST(Settings, OfADPAreKept) {
  Service service;
  const Outcome set = Batch(service,
                            "dp add a\ndp add b --id 7\n"
                            "dp weight b 9\n"
                            "dp threshold b 0 1,2,3,4\n"
                            "dp threshold b 1 5,6,7,8\n"
                            "dp threshold b 2 65535,10,11,4294967295\n"
                            "dp threshold b 1 --none\n"
                            "dp threshold b 3 1,2,3,4\n"
                            "dp threshold tin 0 1,2,3,4\n"
                            "dp threshold b 0 65536,2,3,4\n"
                            "dp weight tin 1\ndp weight tin --none\n"
                            "dp weight b\ndp threshold b 0\n"
                            "dp show\n"
                            "dp weight b --none\n");
  EXPECT_EQ(set.err,
            "DP b: there is no threshold 3\nDP tin does not exist\n"
            "the first two values of a threshold have 16 bits\n"
            "DP tin does not exist\nDP tin does not exist\n"
            "WEIGHT or --none is needed\nVALUES or --none is needed\n");
  EXPECT_EQ(set.out,
            "NAME  ID  WEIGHT  THRESHOLD 0  THRESHOLD 1  THRESHOLD 2\n"
            "a     0   0       0,0,0,0      0,0,0,0      0,0,0,0\n"
            "b     7   9       1,2,3,4      0,0,0,0      65535,10,11,4294967295\n");
  const json b = json::parse(Batch(service, "dp show b\n", true).out)[0];
  EXPECT_EQ(b["weight"], 0);
  EXPECT_EQ(b["thresholds"][0], (json{{"value1", 1}, {"value2", 2}, {"value3", 3}, {"value4", 4}}));
}

TEST(Listings, GoOnToTheEnd) {
  Service service;
  constexpr int kEach = 120;
  std::string lines = "fg add fg0\nfg add fg1\n";
  for (int i = 0; i < kEach; ++i) {
    const std::string n = std::to_string(i);
    lines += "fp add fp" + n + "\ndp add dp" + n + "\nfp set fp" + n +
             " --queue 1,2,3 --gts 1,2,3,4 --bandwidth 5 --dp dp" + n + "\nnest fg fg" +
             std::to_string(i % 2) + " fc fc" + n + "\n";
  }
  // An FC that is nested twice, and an FG, which is none.
  lines += "nest fg fg0 fc fc1\nnest fg fg0 fg fg1 --match dot1p:1\n";
  EXPECT_EQ(Batch(service, lines).err, "");
  for (const std::string kind : {"fp", "dp", "fc"}) {
    const json all = json::parse(Batch(service, kind + " show\n", true).out);
    ASSERT_EQ(all.size(), size_t{kEach});
    for (int i = 0; i < kEach; ++i) {
      const int n = kind == "fc" ? kEach - 1 - i : i;  // FCs have their identifiers from the top
      EXPECT_EQ(all[static_cast<size_t>(i)]["name"], kind + std::to_string(n));
    }
  }
  const Outcome fc = Batch(service, "fc show fc1\nfc show tin\n");
  EXPECT_EQ(fc.out, "NAME  ID\nfc1   65533\n");
  EXPECT_EQ(fc.err, "FC tin: does not exist\n");
}

TEST(Listings, StartBehindAnIdentifierAndStopAtACount) {
  Service service;
  HQOS_Result result;
  for (const uint16_t id : std::vector<uint16_t>{3, 5, 9, 0xFFFE}) {
    HQOS_lib_AddDP(("dp" + std::to_string(id)).c_str(), id, &result);
    HQOS_lib_AddFP(("fp" + std::to_string(id)).c_str(), id, &result);
  }
  const struct {
    uint16_t start;
    uint32_t count;
    std::vector<int> ids;
  } cases[] = {{0xFFFF, 0, {3, 5, 9, 0xFFFE}}, {0xFFFF, 1, {3}}, {0, 2, {3, 5}},
               {3, 9, {5, 9, 0xFFFE}},         {4, 1, {5}},      {0xFFFE, 0, {}}};
  for (const auto& c : cases) {
    HQOS_DPInfo dps[HQOS_BULK_DP_MAX];
    std::vector<HQOS_FPInfo> fps(HQOS_BULK_FP_MAX);
    uint32_t count = 99;
    EXPECT_EQ(HQOS_lib_GetBulkDP(c.start, c.count, &count, dps), 0u);
    ASSERT_EQ(count, c.ids.size());
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(dps[i].id, c.ids[i]);
    EXPECT_EQ(HQOS_lib_GetBulkFP(c.start, c.count, &count, fps.data()), 0u);
    ASSERT_EQ(count, c.ids.size());
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(fps[i].id, c.ids[i]);
  }
}

// Of FPs without settings 33 fit into a reply, and of the 1500 bytes 40 are left for a reference.
TEST(Listings, FillAReply) {
  Service service;
  HQOS_Result result;
  for (uint16_t id = 0; id < 40; ++id) {
    HQOS_lib_AddFP(("fp" + std::to_string(id)).c_str(), id, &result);
  }
  HQOS_lib_AddDP("dp", 0, &result);
  for (int round = 0; round < 2; ++round) {
    std::vector<HQOS_FPInfo> fps(HQOS_BULK_FP_MAX);
    uint32_t count = 0;
    EXPECT_EQ(HQOS_lib_GetBulkFP(0xFFFF, 0, &count, fps.data()), 0u);
    EXPECT_EQ(count, 33u);
    EXPECT_STREQ(fps[32].name, "fp32");
    HQOS_lib_FPReferDP("fp32", "dp", &result);
  }
}

}  // namespace
