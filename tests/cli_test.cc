// hqosctl against a real service.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/process.h"

namespace {

using nlohmann::json;
using process::Batch;
using process::Outcome;
using process::Service;

// Runs hqosctl with the arguments, which blanks separate; $ stands for an empty one.
Outcome Ctl(const std::string& arguments) {
  std::vector<std::string> all{HQOSCTL};
  std::istringstream words(arguments);
  for (std::string word; words >> word;) all.push_back(word == "$" ? "" : word);
  return process::Run(all);
}

void ExpectDone(const std::string& arguments) {
  const Outcome outcome = Ctl(arguments);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

void ExpectWrong(const char* arguments) {
  const Outcome outcome = Ctl(arguments);
  EXPECT_EQ(outcome.status, 2) << arguments;
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err, "");
}

TEST(Ctl, CreatesListsAndDeletes) {
  Service service;
  ExpectDone("sp add gold --id 1");
  ExpectDone("sp add silver");
  ExpectDone("sp unit gold weight");
  for (const std::string kind : {"fg", "fp", "dp"}) {
    ExpectDone(kind + " add one --id 7");
    EXPECT_EQ(Ctl(kind + " add two --id 7").status, 1);
    ExpectDone(kind + " del one");
  }
  EXPECT_EQ(Ctl("sp show").out,
            "NAME    ID  UNIT\n"
            "silver  0   byte-count\n"
            "gold    1   weight\n");
  EXPECT_EQ(Ctl("sp show gold").out,
            "NAME  ID  UNIT\n"
            "gold  1   weight\n");
  const json gold = {{"name", "gold"}, {"id", 1}, {"value1", 1}, {"value2", 0}, {"words", {0, 0}}};
  EXPECT_EQ(json::parse(Ctl("sp show gold --json").out), json::array({gold}));
  EXPECT_EQ(json::parse(Ctl("--json sp show").out).size(), 2u);
  ExpectDone("sp unit gold default");
  ExpectDone("sp del silver");
  ExpectDone("debug on requests");
  ExpectDone("debug off 0x3");
  EXPECT_EQ(json::parse(Ctl("--json sp show").out)[0]["value1"], 0);
}

TEST(Ctl, TellsFailuresApart) {
  Service service;
  const struct {
    const char *arguments, *err, *out;
  } refused[] = {
      {"sp del tin", "hqosctl: SP tin does not exist\n", ""},
      {"sp show tin", "hqosctl: SP tin: does not exist\n", ""},
      {"sp show tin --json", "hqosctl: SP tin: does not exist\n", "[]\n"},
  };
  for (const auto& c : refused) {
    const Outcome outcome = Ctl(c.arguments);
    EXPECT_EQ(outcome.status, 1) << c.arguments;
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(outcome.out, c.out);
  }
  for (const char* wrong :
       {"", "sp", "sp frob", "sp add", "sp add $", "sp add 0123456789abcdefghijklmnopqrstuv",
        "sp unit a kilo", "debug on everything", "--batch x sp show", "--batch /none"}) {
    ExpectWrong(wrong);
  }
  for (const char* number :
       {"fp set a --bandwidth $", "fp set a --bandwidth 010", "fp set a --bandwidth 0x10",
        "fp set a --bandwidth -1", "fp set a --bandwidth 4294967296", "fp set a --queue 1,2",
        "fp set a --queue 1,2,3,4", "fp set a --gts 1,,3,4", "fp unset a --queue $",
        "dp weight a $", "dp threshold a $ 1,2,3,4", "dp threshold a 0 1,2,3",
        "fp add a --id 65535"}) {
    ExpectWrong(number);
  }
  EXPECT_EQ(Ctl("--batch " + service.dir()).status, 2);
  EXPECT_EQ(Ctl("--json --batch /dev/null").out, "[]\n");
  service.Signal(15);
  service.Wait();
  const Outcome alone = Ctl("sp show");
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
  const Outcome outcome = Ctl("--force --batch " + file);
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
  const Outcome stopped = Ctl("--batch " + file);
  EXPECT_EQ(stopped.status, 1);
  EXPECT_EQ(stopped.err, "hqosctl: " + file + ":6: SP gold already exists\n");
  EXPECT_EQ(stopped.out,
            "NAME              ID  UNIT\n"
            "with # and blank  0   byte-count\n"
            "gold              1   byte-count\n");
  EXPECT_EQ(Ctl("fg del last").status, 1);

  const Outcome forced = Ctl("--json --force --batch " + file);
  EXPECT_EQ(forced.status, 1);
  EXPECT_EQ(json::parse(forced.out).size(), 2u);
  EXPECT_NE(forced.err.find(file + ":7: "), std::string::npos);
  ExpectDone("fg del last");
}

TEST(Ctl, BuildsAndDrawsTrees) {
  Service service;
  const Outcome built = Ctl("--batch " EXAMPLES "/tree.batch");
  EXPECT_EQ(built.status, 0) << built.err;
  EXPECT_EQ(built.out,
            "SP gold\n"
            "├─ FG voice  dot1p:5-7  FP fp-voice\n"
            "├─ FG data  dot1p:0-4\n"
            "│  ├─ FG customer-a  service-vlan-id:100-199\n"
            "│  │  ├─ FC web\n"
            "│  │  └─ FC backup\n"
            "│  └─ FG customer-b  service-vlan-id:200,300-399\n"
            "└─ FG rest  group\n");
  EXPECT_EQ(Ctl("fg children data").out,
            "KIND  NAME        ID  RULE                         FP\n"
            "FG    customer-a  2   service-vlan-id:100-199\n"
            "FG    customer-b  3   service-vlan-id:200,300-399\n");
  EXPECT_EQ(Ctl("fg show data").out, "NAME  ID\ndata  1\n");
  EXPECT_EQ(json::parse(Ctl("fg show --json").out).size(), 5u);
  const json tree = json::parse(Ctl("tree --json").out);
  EXPECT_EQ(tree[0]["children"][1]["children"][0]["children"][1]["cfg"]["name1"], "backup");
  EXPECT_EQ(tree[0]["children"][0]["cfg"]["rule"]["ranges"][0], (json{{"low", 5}, {"high", 7}}));
  const json sons = json::parse(Ctl("fg children customer-a --json").out);
  EXPECT_EQ(sons[0]["key"]["field"], (json{2, 65533, 65535}));
  ExpectDone("match del fg data service-vlan-id:300-399,200");
  ExpectDone("unnest sp gold fg data --match dot1p:0-4");
  ExpectDone("unnest sp gold fg rest");
  EXPECT_EQ(Ctl("tree gold").out, "SP gold\n└─ FG voice  dot1p:5-7  FP fp-voice\n");
  ExpectDone("unnest fg customer-a fc web");
}

// What the service refuses about a hierarchy, and how it says so.
TEST(Ctl, HandsOnWhatIsWrongWithAHierarchy) {
  Service service;
  const Outcome built = Ctl("--batch " EXAMPLES "/tree.batch");
  struct {
    std::string command, text;
  } const cases[] = {
      {"sp del gold", "SP gold still has FG voice below it"},
      {"fg del voice", "FG voice is nested below SP gold"},
      {"fg del customer-a", "FG customer-a is nested below FG data"},
      {"fp del fp-voice", "FP fp-voice is used by FG voice below SP gold"},
      {"nest sp gold fg voice --match dot1p:1", "FG voice below SP gold is nested already"},
      {"nest fg customer-a fc web", "FC web below FG customer-a is nested already"},
      {"nest sp gold fg customer-a --match dot1p:4",
       "FG customer-a below SP gold: the rule overlaps that of FG data"},
      {"nest sp gold fg customer-a --match local-precedence:1",
       "FG customer-a below SP gold: FG voice has a rule of another match type"},
      {"nest sp gold fg customer-a --match group",
       "FG customer-a below SP gold: FG rest is the group already"},
      {"nest sp tin fg rest --match group", "SP tin does not exist"},
      {"nest sp gold fg tin --match group", "FG tin does not exist"},
      {"nest fg rest fg voice --match dot1p:1 --fp tin", "FP tin does not exist"},
      {"nest fg customer-a fg data --match dot1p:1",
       "FG data below FG customer-a would make a cycle or more than five levels"},
      {"nest fg rest fg rest --match dot1p:1",
       "FG rest below FG rest would make a cycle or more than five levels"},
      {"unnest sp gold fg voice --match dot1p:1", "FG voice below SP gold has another rule"},
      {"unnest sp gold fg customer-a", "FG customer-a below SP gold is not nested"},
      {"unnest fg data fc tin", "FC tin does not exist"},
      {"match del sp gold dot1p:1", "SP gold has no child with that rule"},
      {"nest sp gold fc web", "an FC is nested below an FG, not below an SP"},
      {"nest fg data fc web --match dot1p:1", "an FC has no match rule"},
      {"nest sp gold fg customer-b", "an FG needs its values: --match RULE"},
      {"fg children tin", "FG tin: does not exist"},
  };
  std::string commands, expected;
  for (const auto& c : cases) {
    commands += c.command + "\n";
    expected += c.text + "\n";
  }
  EXPECT_EQ(Batch(service, commands).err, expected);
  EXPECT_EQ(Ctl("tree gold").out, built.out);  // nothing has changed
}

TEST(Ctl, KeepsToFiveLevels) {
  Service service;
  std::string commands = "sp add s\n";
  for (const char c : std::string("abcdef")) commands += std::string("fg add ") + c + "\n";
  const Outcome outcome =
      Batch(service, commands +
                         "nest fg a fg b --match dot1p:1\nnest fg b fg c --match dot1p:1\n"
                         "nest fg d fg e --match dot1p:1\nnest fg c fg d --match dot1p:1\n"
                         "nest sp s fg a --match dot1p:1\nnest fg e fc x\n"
                         "nest fg f fg a --match dot1p:1\nnest fg d fc x\n"
                         "nest sp s fg e --match dot1p:2\ntree s\n");
  EXPECT_EQ(outcome.err,
            "FC x below FG e would make more than five levels\n"
            "FG a below FG f would make a cycle or more than five levels\n");
  EXPECT_EQ(outcome.out,
            "SP s\n├─ FG a  dot1p:1\n│  └─ FG b  dot1p:1\n│     └─ FG c  dot1p:1\n"
            "│        └─ FG d  dot1p:1\n│           ├─ FG e  dot1p:1\n│           └─ FC x\n"
            "└─ FG e  dot1p:2\n");
}

TEST(Ctl, ComparesAndMergesRules) {
  const struct {
    const char* arguments;
    int status;
    const char* text;
  } cases[] = {
      {"compare dot1p:0-3 dot1p:2-5", 0,
       "FIRST      RELATION  SECOND\ndot1p:0-3  overlap   dot1p:2-5\n"},
      {"compare dot1p:6,0 dot1p:0,6", 0,
       "FIRST      RELATION  SECOND\ndot1p:0,6  equal     dot1p:0,6\n"},
      {"compare group dot1p:1", 0, "FIRST  RELATION  SECOND\ngroup  contains  dot1p:1\n"},
      {"merge dot1p:2-3,7 dot1p:0-1", 0,
       "RULE         TEXT FORM\n"
       "dot1p:0-3,7  0002-000300700700oOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOO\n"},
      {"compare dot1p:0-8 group", 2,
       "a value from 0 to 7 is expected here\n  dot1p:0-8\n          ^\n"},
      {"compare dotp:0 group", 2, "group\n  dotp:0\n  ^\n"},
      {"compare dot1p:3-1 group", 2, "higher\n  dot1p:3-1\n          ^\n"},
      {"compare dot1p:0,1,2,3,4,5,6,7,1 group", 2,
       "8 ranges\n  dot1p:0,1,2,3,4,5,6,7,1\n                        ^\n"},
      {"compare dot1p group", 2, "expected here\n  dot1p\n       ^\n"},
      {"compare dot1p:1x group", 2, "expected here\n  dot1p:1x\n         ^\n"},
      {"compare dot1p: group", 2, "expected here\n  dot1p:\n        ^\n"},
      {"compare dot1p:4294967297 group", 2, "\n  dot1p:4294967297\n        ^\n"},
      {"compare group:1 group", 2, "no values\n  group:1\n       ^\n"},
      {"merge dot1p:1 group", 2, "do not merge: dot1p:1, group\n"},
      {"merge qos-local-id:1,3,5,7 qos-local-id:9,11,13,15,17", 2, "more than 8 ranges\n"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Ctl(std::string("rule ") + c.arguments);
    EXPECT_EQ(outcome.status, c.status);
    const std::string& got = c.status == 0 ? outcome.out : outcome.err;
    EXPECT_TRUE(got.ends_with(c.text)) << got;
  }
}

}  // namespace
