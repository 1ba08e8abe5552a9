// Applying SPs from the command line.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/process.h"

namespace {

using nlohmann::json;
using process::Batch;
using process::Outcome;
using process::Service;

const char kTree[] =
    "sp add gold\nfg add data\nfg add rest\nnest sp gold fg data --match dot1p:1\n"
    "nest sp gold fg rest --match group\nnest fg data fc web\n";

TEST(CtlApply, AppliesShowsAndTakesOff) {
  Service service;
  const Outcome outcome = Batch(service, std::string(kTree) +
                                             "apply sp gold --slot 3 --direction both\n"
                                             "apply sp gold --id 3 --direction inbound\n"
                                             "apply sp gold --system --direction outbound\n"
                                             "apply sp gold --interface lo --direction outbound\n"
                                             "apply sp gold --interface lo --direction both\n"
                                             "applied\napplied --slot 3\napplied --id 3\n"
                                             "applied --system --direction outbound\n"
                                             "applied --system --direction inbound\n"
                                             "apply sp gold --interface no-if --direction both\n"
                                             "apply sp gold --slot 3\n"
                                             "apply sp gold --direction both\n"
                                             "apply sp gold --slot 3 --id 3 --direction both\n"
                                             "apply sp gold --slot 65536 --direction both\n"
                                             "unapply sp gold --interface no-if --direction both\n"
                                             "unapply sp gold --interface lo --direction outbound\n"
                                             "unapply sp gold --slot 3 --direction both\n"
                                             "applied\n");
  EXPECT_EQ(outcome.out,
            "OBJECT        DIRECTION  SP\ninterface lo  outbound   gold\n\n"
            "OBJECT  DIRECTION  SP\nslot 3  both       gold\n\n"
            "OBJECT        DIRECTION  SP\nidentifier 3  inbound    gold\n\n"
            "OBJECT  DIRECTION  SP\nsystem  outbound   gold\n\n"
            "OBJECT  DIRECTION  SP\n");
  EXPECT_TRUE(
      outcome.err.starts_with("interface lo both: SP gold is applied\n"
                              "system inbound: nothing is applied there\n"
                              "there is no interface no-if, but "))
      << outcome.err;
  for (const char* text :
       {"--direction is required\n", "--system] is required\n", "required and 2 were given\n",
        "\"65536\" is not a decimal number from 0 to 65535\n"}) {
    EXPECT_NE(outcome.err.find(text), std::string::npos) << text;
  }
  EXPECT_EQ(Batch(service, "applied --slot 0\n").out, "");
  const json applied = json::parse(Batch(service, "applied --id 3\n", true).out)[0];
  EXPECT_EQ(applied["obj"], (json{{"type", 2}, {"value", 3}, {"param", 0}, {"name", ""}}));
  EXPECT_EQ(applied["sp"]["name"], "gold");
}

TEST(CtlApply, ShowsCountersAndDiagnosis) {
  Service service({"--counters", "@/counters"});
  std::ofstream(service.dir() + "/counters")
      << R"([{"place": "slot 3 both", "path": ["data", "web"], "stat32": [5],
              "stat64": [4294967296, 2, 3, 4]}])";
  const Outcome outcome = Batch(service, std::string(kTree) +
                                             "apply sp gold --slot 3 --direction both\n"
                                             "stats --slot 3\ndiag --slot 3\n"
                                             "stats --slot 3 --watch 0.01 --rounds 2\n"
                                             "stats --slot 4\nstats --slot 3 --rounds 1\n");
  const std::string stats =
      "CHILD                 PACKETS     BYTES  DROPPED PACKETS  DROPPED BYTES  QUEUED\n"
      "slot 3 both: SP gold\n"
      "├─ FG data  dot1p:1   0           0      0                0              0\n"
      "│  └─ FC web          4294967296  2      3                4              5\n"
      "└─ FG rest  group     0           0      0                0              0\n\n";
  EXPECT_EQ(outcome.out,
            stats +
                "CHILD                 IN EFFECT  WHY NOT\n"
                "slot 3 both: SP gold  yes\n"
                "├─ FG data  dot1p:1   yes\n"
                "│  └─ FC web          yes\n"
                "└─ FG rest  group     yes\n\n" +
                stats +
                "CHILD                 PACKETS     /S  BYTES  /S  DROPPED PACKETS  /S  "
                "DROPPED BYTES  /S  QUEUED\n"
                "slot 3 both: SP gold\n"
                "├─ FG data  dot1p:1   0           0   0      0   0                0   0   "
                "           0   0\n"
                "│  └─ FC web          4294967296  0   2      0   3                0   4   "
                "           0   5\n"
                "└─ FG rest  group     0           0   0      0   0                0   0   "
                "           0   0\n");
  EXPECT_TRUE(outcome.err.starts_with("slot 4: nothing is applied there\n")) << outcome.err;
  const json web =
      json::parse(Batch(service, "stats --slot 3\n", true).out)[0]["children"][0]["children"][0];
  EXPECT_EQ(web["cfg"]["name1"], "web");
  EXPECT_EQ(web["counters"]["stat64"][0], 4294967296);
  EXPECT_EQ(web["counters"]["stat32"], (json{5, 0, 0, 0, 0}));
  const json diag = json::parse(Batch(service, "diag --slot 3\n", true).out)[0];
  EXPECT_EQ(diag["sp"]["words"], (json{1, 0}));
  EXPECT_EQ(diag["children"][1]["diag"], (json{1, 0}));
  EXPECT_EQ(Batch(service, "stats --slot 3 --watch 1 --rounds 1\n", true).err,
            "--watch shows tables, not JSON\n");
}

}  // namespace
