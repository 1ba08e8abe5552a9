// hqosctl against a real service.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/process.h"

namespace {

using nlohmann::json;
using process::Outcome;
using process::Service;

Outcome Ctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), HQOSCTL);
  return process::Run(arguments);
}

void ExpectDone(std::vector<std::string> arguments) {
  const Outcome outcome = Ctl(std::move(arguments));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(Ctl, CreatesListsAndDeletes) {
  Service service;
  ExpectDone({"sp", "add", "gold", "--id", "1"});
  ExpectDone({"sp", "add", "silver"});
  ExpectDone({"sp", "unit", "gold", "weight"});
  for (const char* kind : {"fg", "fp", "dp"}) {
    ExpectDone({kind, "add", "one", "--id", "7"});
    EXPECT_EQ(Ctl({kind, "add", "two", "--id", "7"}).status, 1);
    ExpectDone({kind, "del", "one"});
  }
  EXPECT_EQ(Ctl({"sp", "show"}).out,
            "NAME    ID  UNIT\n"
            "silver  0   byte-count\n"
            "gold    1   weight\n");
  EXPECT_EQ(Ctl({"sp", "show", "gold"}).out,
            "NAME  ID  UNIT\n"
            "gold  1   weight\n");
  const json gold = {{"name", "gold"}, {"id", 1}, {"value1", 1}, {"value2", 0}, {"words", {0, 0}}};
  EXPECT_EQ(json::parse(Ctl({"sp", "show", "gold", "--json"}).out), json::array({gold}));
  EXPECT_EQ(json::parse(Ctl({"--json", "sp", "show"}).out).size(), 2u);
  ExpectDone({"sp", "unit", "gold", "default"});
  ExpectDone({"sp", "del", "silver"});
  ExpectDone({"debug", "on", "requests"});
  ExpectDone({"debug", "off", "0x3"});
  EXPECT_EQ(json::parse(Ctl({"--json", "sp", "show"}).out)[0]["value1"], 0);
}

TEST(Ctl, TellsFailuresApart) {
  Service service;
  struct {
    std::vector<std::string> arguments;
    int status;
    std::string err, out;
  } const cases[] = {
      {{"sp", "del", "tin"}, 1, "hqosctl: SP tin does not exist\n", ""},
      {{"sp", "show", "tin"}, 1, "hqosctl: SP tin: does not exist\n", ""},
      {{"sp", "show", "tin", "--json"}, 1, "hqosctl: SP tin: does not exist\n", "[]\n"},
      {{}, 2, "", ""},
      {{"sp"}, 2, "", ""},
      {{"sp", "frob"}, 2, "", ""},
      {{"sp", "add"}, 2, "", ""},
      {{"sp", "add", ""}, 2, "", ""},
      {{"sp", "add", std::string(32, 'n')}, 2, "", ""},
      {{"sp", "add", "a", "--id", "65535"}, 2, "", ""},
      {{"sp", "unit", "a", "kilo"}, 2, "", ""},
      {{"debug", "on", "everything"}, 2, "", ""},
      {{"--batch", "x", "sp", "show"}, 2, "", ""},
      {{"--batch", service.dir() + "/none"}, 2, "", ""},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Ctl(c.arguments);
    EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.arguments);
    EXPECT_EQ(outcome.out, c.out);
    EXPECT_NE(outcome.err, "");
    if (!c.err.empty()) {
      EXPECT_EQ(outcome.err, c.err);
    }
  }
  EXPECT_EQ(Ctl({"--batch", service.dir()}).status, 2);
  EXPECT_EQ(Ctl({"--json", "--batch", "/dev/null"}).out, "[]\n");
  service.Signal(15);
  service.Wait();
  const Outcome alone = Ctl({"sp", "show"});
  EXPECT_EQ(alone.status, 3);
  EXPECT_EQ(alone.err, "hqosctl: no answer from an hqos service at " + service.endpoint() +
                           "; start one with: hqosd\n");
}

TEST(Ctl, EndsABatchWithoutAService) {
  Service service;
  const std::string file = service.dir() + "/batch";
  std::ofstream(file) << "sp add a\nsp add b\n";
  service.Signal(15);
  service.Wait();
  const Outcome outcome = Ctl({"--force", "--batch", file});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err.find(":2:"), std::string::npos);
}

TEST(Ctl, CarriesOutBatches) {
  Service service;
  const std::string file = service.dir() + "/batch";
  std::ofstream(file) << "# objects\n"
                         "sp add gold --id 1  # the first\n"
                         "\n"
                         "  sp add 'with # and blank'\r\n"
                         "sp show\n"
                         "sp add gold\n"
                         "sp frob\n"
                         "fg add last\n";
  const Outcome stopped = Ctl({"--batch", file});
  EXPECT_EQ(stopped.status, 1);
  EXPECT_EQ(stopped.err, "hqosctl: " + file + ":6: SP gold already exists\n");
  EXPECT_EQ(stopped.out,
            "NAME              ID  UNIT\n"
            "with # and blank  0   byte-count\n"
            "gold              1   byte-count\n");
  EXPECT_EQ(Ctl({"fg", "del", "last"}).status, 1);

  const Outcome forced = Ctl({"--json", "--force", "--batch", file});
  EXPECT_EQ(forced.status, 1);
  EXPECT_EQ(json::parse(forced.out).size(), 2u);
  EXPECT_NE(forced.err.find(file + ":7: "), std::string::npos);
  ExpectDone({"fg", "del", "last"});
}

}  // namespace
