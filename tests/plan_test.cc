// What a hierarchy becomes in the kernel.
#include "service/kernel/plan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "tests/built_model.h"
#include "tests/classify.h"
#include "tests/random_model.h"

namespace {

using namespace hqosd::kernel;
using built::Build;
using hqosd::KernelClasses;
using hqosd::Model;

constexpr uint32_t kMtu = 1500;
constexpr Link kPort{10'000'000, kMtu};

Model Read(const std::string& toml) {
  client::Model model = built::Parse(toml);
  model.apply.clear();
  return Build(model);
}

const SPObject& FirstSP(const Model& model) { return model.sps.All().begin()->second; }

Tree Plan(const Model& model, const Link& link, const KernelClasses& known = {}) {
  const SPObject& sp = FirstSP(model);
  return PlanTree(model, sp, NumberClasses(model, sp, known), link);
}

std::string NameOf(const Tree& tree, uint16_t minor) {
  for (const Node& node : tree.nodes) {
    if (node.minor != minor && node.leaf != minor) continue;
    const std::string name =
        node.names.empty() ? "SP" : fmt::format("{}", fmt::join(node.names, "."));
    if (minor == kDefaultMinor) return "default";
    return node.minor == minor ? name : name + ".*";
  }
  return minor == kPortMinor ? "port" : "default";
}

// A line for each class: its rates in kbit/s, its buckets in bytes, and of a leaf its priority,
// quantum and limit.
std::string TextOf(const Tree& tree) {
  std::string text;
  for (const Class& one : tree.classes) {
    const auto bytes = [](uint32_t ticks, uint64_t rate) { return ticks * rate / 15'625'000; };
    text += fmt::format("{} {}-{} {}-{}", NameOf(tree, one.minor), one.rate / 125, one.ceil / 125,
                        bytes(one.burst, one.rate), bytes(one.cburst, one.ceil));
    if (one.limit) text += fmt::format(" p{} q{} l{}", one.priority, one.quantum, *one.limit);
    text += "\n";
  }
  return text;
}

// Where the frame of a VLAN and a priority waits.
std::string LeafOf(const Tree& tree, uint16_t vlan, uint32_t priority) {
  classify::Frame frame{std::vector<uint8_t>(64), true,
                        static_cast<uint16_t>(priority << 13 | vlan), 0};
  return NameOf(tree, static_cast<uint16_t>(ResultOf(tree.programs, frame)));
}

std::string Example(const std::string& name) {
  std::ifstream file(EXAMPLES "/" + name + ".toml");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return text.substr(text.find("[sp"));  // without the format
}

TEST(Plan, OfSmallTrees) {
  const struct {
    std::string toml;
    uint64_t rate;
    std::string classes;
    std::string frames;  // VLAN, priority and leaf of some
  } cases[] = {
      {Example("office"), 50'000'000, R"(port 50000-50000 25000-25000
SP 50000-50000 25000-25000
default 8-50000 1522-25000 p7 q1522 l410
calls 4000-8000 2000-20000 p7 q1522 l65
data 40000-48000 20000-250000
data.* 8-48000 1522-250000 p7 q1522 l394
data.guests 5000-20000 2500-100000 p7 q1522 l164
data.work 30000-48000 15000-24000
data.work.* 8-48000 1522-24000 p7 q1522 l394
data.work.sessions 20000-48000 10000-24000 p2 q4566 l394
data.work.backup 2000-48000 1522-24000 p2 q1522 l394
)",
       "10.5 calls 10.1 data.work.backup 10.0 data.work.* 20.0 data.guests 30.0 data.*"},
      // Siblings that are weighted, with the rest for an FC and for a group; queues from above.
      {R"([sp.s]
          unit = "weight"
          children = [{ fg = "a", match = "service-vlan-id:1-2,9", fp = "heavy" },
                      { fg = "b", match = "service-vlan-id:3", fp = "light" },
                      { fg = "c", match = "service-vlan-id:4", fp = "strict" },
                      { fg = "rest", match = "group" }]
          [fg.a]
          children = [{ fc = "x", fp = "shaped" }, { fc = "y" }]
          [fg.b]
          [fg.c]
          children = [{ fc = "x", fp = "shaped" }]
          [fg.rest]
          children = [{ fg = "b", match = "dot1p:1" }]
          [fp.heavy]
          queue = [2, 1, 30]
          bandwidth = "1Mbit"
          [fp.light]
          queue = [4, 1, 10]
          [fp.strict]
          queue = [3, 0, 0]
          gts = ["2Mbit", 0, 0, 0]
          [fp.shaped]
          queue = [5, 0, 0]
          gts = ["4Mbit", "10kB", "5kB", 7])",
       0, R"(port 4294967295-4294967295 2147483647-2147483647
SP 4294967295-4294967295 2147483647-2147483647
default 8-4294967295 1522-2147483647 p7 q1522 l1000
a 1000-4294967295 1522-2147483647
a.y 8-4294967295 1522-2147483647 p3 q1522 l1000
a.x 8-4000 1522-15000 p2 q1522 l7
b 8-4294967295 1522-2147483647 p3 q15220 l1000
c 8-2000 1522-1522
c.* 8-2000 1522-1522 p4 q1522 l20
c.x 8-2000 1522-15000 p2 q1522 l7
rest 8-4294967295 1522-2147483647
rest.* 8-4294967295 1522-2147483647 p7 q1522 l1000
rest.b 8-4294967295 1522-2147483647 p7 q1522 l1000
)",
       "1.5 a.x 9.4 a.y 3.0 b 4.5 c.x 4.0 c.* 5.1 rest.b 5.2 rest.*"},
      // Weights in bytes: scaled up, scaled down, and further apart than quanta can be. Ceilings
      // below what a class has without a bandwidth, and buckets of more than the kernel can count.
      {R"([sp.s]
          children = [{ fg = "up", match = "dot1p:1" }, { fg = "down", match = "dot1p:2" },
                      { fg = "slow", match = "dot1p:3", fp = "slow" },
                      { fg = "slowest", match = "dot1p:4", fp = "slowest" }]
          [fg.slowest]
          [fg.up]
          children = [{ fc = "a", fp = "3" }, { fc = "b", fp = "10" }]
          [fg.down]
          children = [{ fc = "a", fp = "4G" }, { fc = "b", fp = "1G" }]
          [fg.slow]
          children = [{ fc = "a", fp = "3" }, { fc = "b", fp = "4G" }, { fg = "up", match = "group" }]
          [fp.3]
          queue = [0, 1, 3]
          [fp.10]
          queue = [1, 1, 10]
          [fp.4G]
          queue = [6, 1, 4000000000]
          [fp.1G]
          queue = [7, 1, 1000000000]
          [fp.slow]
          gts = [40, 4000000000, 4000000000, 0]
          [fp.slowest]
          gts = [4, 0, 0, 0])",
       1'000'000, R"(port 1000-1000 1522-1522
SP 1000-1000 1522-1522
default 8-1000 1522-1522 p7 q1522 l20
down 16-1000 1522-1522
down.* 8-1000 1522-1522 p7 q1522 l20
down.b 8-1000 1522-1522 p0 q50000 l20
down.a 8-1000 1522-1522 p0 q200000 l20
slow 32-40 1522-1374389
slow.up 16-40 1522-1522
slow.up.* 8-40 1522-1522 p7 q1522 l20
slow.up.b 8-40 1522-1522 p6 q5073 l20
slow.up.a 8-40 1522-1522 p6 q1522 l20
slow.b 8-40 1522-1522 p1 q1073741824 l20
slow.a 8-40 1522-1522 p1 q1522 l20
slowest 4-4 1522-1522 p7 q1522 l20
up 16-1000 1522-1522
up.* 8-1000 1522-1522 p7 q1522 l20
up.b 8-1000 1522-1522 p6 q5073 l20
up.a 8-1000 1522-1522 p6 q1522 l20
)",
       "1.1 up.b 1.4 slowest"},
  };
  for (const auto& c : cases) {
    const Tree tree = Plan(Read(c.toml), {c.rate, kMtu});
    EXPECT_EQ(TextOf(tree), c.classes) << c.toml;
    std::istringstream lines(c.frames);
    uint16_t vlan;
    char dot;
    uint32_t priority;
    std::string leaf;
    while (lines >> vlan >> dot >> priority >> leaf) {
      EXPECT_EQ(LeafOf(tree, vlan, priority), leaf) << vlan << "." << priority;
    }
  }
}

std::string RefusalOf(const Model& model, const Link& link) try {
  Plan(model, link);
  return "";
} catch (const hqosd::Refusal& refusal) {
  EXPECT_EQ(refusal.code, uint32_t{HQOSD_NOT_ENFORCEABLE});
  return refusal.text;
}

TEST(Plan, RefusesWhatTheKernelWouldNotDo) {
  EXPECT_EQ(RefusalOf(Read(Example("edge")), {10'000'000'000, kMtu}), "");
  // FG data below SP gold with FCs web and mail and FG rest, each with an FP of its name.
  const std::string tree = R"([sp.gold]
      children = [{ fg = "data", match = "dot1p:1", fp = "data" }]
      [fg.data]
      children = [{ fc = "web", fp = "web" }, { fc = "mail", fp = "mail" },
                  { fg = "rest", match = "group", fp = "rest" }]
      [fg.rest]
      )";
  const char* const numbers = "[fp.web]\nqueue = [1, 0, 0]\n[fp.mail]\nqueue = [2, 0, 0]\n";
  const struct {
    const char *data, *fps, *text;
  } cases[] = {
      {"", "[fp.rest]", ""},
      {"gts = [8000, 0, 0, 0]", "[fp.rest]\nbandwidth = 7984", ""},
      {"gts = [8000, 0, 0, 0]", "[fp.rest]\nbandwidth = 7985",
       "the guarantees below FG data, 8001 kbit/s, exceed its ceiling of 8000 kbit/s"},
      {"bandwidth = 10000", "[fp.rest]\nbandwidth = 9990",
       "the guarantees below FG data, 10006 kbit/s, exceed its ceiling of 10000 kbit/s, the rate "
       "of "
       "the link"},
      {"bandwidth = 10001", "[fp.rest]",
       "the bandwidth of FG data below SP gold, 10001 kbit/s, exceeds its ceiling of 10000 kbit/s, "
       "the rate of the link"},
      {"gts = [8000, 0, 0, 0]", "[fp.rest]\nbandwidth = 8001\ngts = [9000, 0, 0, 0]",
       "the bandwidth of FG rest below FG data, 8001 kbit/s, exceeds its ceiling of 8000 kbit/s, "
       "that of FG data"},
      {"", "[fp.rest]\nbandwidth = 70\ngts = [64, 0, 0, 0]",
       "the bandwidth of FG rest below FG data, 70 kbit/s, exceeds its ceiling of 64 kbit/s"},
      {"gts = [0, 9, 9, 9]", "[fp.rest]", "FP data of FG data below SP gold: a CIR of 0 kbit/s"},
      {"queue = [8, 0, 0]", "[fp.rest]", "FP data of FG data below SP gold: queue 8 is above 7"},
      {"queue = [7, 2, 0]", "[fp.rest]",
       "FP data of FG data below SP gold: queue 7 is neither strict (0) nor weighted (1) but 2"},
      {"queue = [7, 1, 0]", "[fp.rest]", "FP data of FG data below SP gold: queue 7 has weight 0"},
      {"", "[fp.rest]\n[fp.web]\nqueue = [3, 0, 0]\n[fp.mail]\nqueue = [3, 1, 1]",
       "FC web and FC mail below FG data have queue 3 both"},
      {"", "[fp.rest]\n[fp.web]\n[fp.mail]\nqueue = [3, 0, 0]",
       "FG rest and FC web below FG data take what the others leave both"},
  };
  for (const auto& c : cases) {
    const std::string fps = fmt::format("[fp.data]\n{}\n{}\n", c.data, c.fps);
    const bool hasNumbers = fps.find("[fp.web]") == std::string::npos;
    EXPECT_EQ(RefusalOf(Read(tree + fps + (hasNumbers ? numbers : "")), kPort), c.text) << fps;
  }
}

void CheckNumbers(const KernelClasses& before, const KernelClasses& now) {
  std::set<uint16_t> used, old;
  for (const auto& [path, one] : before) old.insert({one.minor, one.ownLeaf});
  for (const auto& [path, one] : now) {
    EXPECT_TRUE(used.insert(one.minor).second);
    EXPECT_TRUE(one.ownLeaf == 0 || used.insert(one.ownLeaf).second);
    const auto found = before.find(path);
    if (found == before.end()) {
      EXPECT_FALSE(old.contains(one.minor));
    } else {
      EXPECT_EQ(found->second.minor, one.minor);
      EXPECT_TRUE(found->second.ownLeaf == 0 || found->second.ownLeaf == one.ownLeaf);
    }
  }
}

// Checks the classes by themselves; the leaves among them.
// NOLINTNEXTLINE(readability-function-size)
std::set<uint16_t> LeavesOf(const Tree& tree, const Link& link) {
  const uint32_t frame = std::min(link.mtu + 22, 65'558u);
  std::map<uint16_t, Class> known;
  std::map<uint16_t, uint64_t> sums;
  std::set<uint16_t> parents, children{kSPMinor}, leaves;
  for (const Node& node : tree.nodes) children.insert(node.minor);
  for (const Class& one : tree.classes) {
    EXPECT_TRUE(one.parent == 0 || known.contains(one.parent));
    EXPECT_TRUE(known.emplace(one.minor, one).second);
    EXPECT_GT(one.rate, 0u);
    EXPECT_LE(one.rate, one.ceil);
    EXPECT_TRUE(one.burst == UINT32_MAX || one.burst * one.rate / 15'625'000 >= frame);
    EXPECT_TRUE(one.cburst == UINT32_MAX || one.cburst * one.ceil / 15'625'000 >= frame);
    parents.insert(one.parent);
    if (one.parent == 0) continue;
    EXPECT_LE(one.ceil, known[one.parent].ceil);
    if (children.contains(one.minor)) sums[one.parent] += one.rate;
  }
  for (const auto& [parent, sum] : sums) EXPECT_LE(sum, known[parent].ceil);
  for (const auto& [minor, one] : known) {
    const bool isLeaf = !parents.contains(minor);
    EXPECT_EQ(one.limit.has_value(), isLeaf);
    EXPECT_EQ(one.quantum >= frame, isLeaf);
    EXPECT_LE(one.quantum, 1u << 30);
    EXPECT_LE(one.priority, 7u);
    if (isLeaf) leaves.insert(minor);
  }
  return leaves;
}

void CheckTree(const Tree& tree, const KernelClasses& classes, const Link& link) {
  const std::set<uint16_t> leaves = LeavesOf(tree, link);
  EXPECT_TRUE(leaves.contains(kDefaultMinor));
  // Frames of each node have a leaf, its own or a child's.
  ASSERT_EQ(tree.nodes.size(), classes.size());
  std::set<size_t> withFrames;
  for (size_t i = tree.nodes.size(); i-- > 0;) {
    const Node& node = tree.nodes[i];
    EXPECT_EQ(classes.at(node.path).minor, node.minor);
    EXPECT_TRUE(node.leaf != 0 ? leaves.contains(node.leaf) : withFrames.contains(i));
    withFrames.insert(node.parent);
  }
  for (const Program& program : tree.programs) {
    for (const sock_filter& one : program) {
      if (one.code != (BPF_RET | BPF_K) || one.k == 0) continue;
      EXPECT_EQ(one.k >> 16, kMajor);
      EXPECT_TRUE(leaves.contains(static_cast<uint16_t>(one.k)));
    }
  }
}

// Random hierarchies, one changed into the next.
TEST(Plan, KeepsToWhatTheKernelNeeds) {
  std::mt19937 random(17);
  const Link links[] = {{0, kMtu}, {1'000'000, 9000}, {1'000, 65'536}, kPort};
  Model model;
  std::map<std::string, KernelClasses> known;
  size_t planned = 0;
  for (int round = 0; round < 1000; ++round) {
    client::Model wanted = RandomModel(random).Draw();
    wanted.apply.clear();
    for (auto& [name, fp] : wanted.fp) {
      if (fp.queue) (*fp.queue)[2] += 1;
      if (fp.bandwidth && round % 2 != 0) *fp.bandwidth /= 50;
      if (fp.gts && round % 3 != 0) (*fp.gts)[0] = static_cast<uint32_t>(random() % 99 + 1);
    }
    model = Build(wanted, model);
    if (model.sps.All().empty()) continue;
    const SPObject& sp = FirstSP(model);
    const Link& link = links[round % 4];
    KernelClasses& before = known[sp.name];
    const KernelClasses classes = NumberClasses(model, sp, before);
    CheckNumbers(before, classes);
    before = classes;
    try {
      CheckTree(PlanTree(model, sp, classes, link), classes, link);
      ++planned;
    } catch (const hqosd::Refusal&) {
    }
  }
  EXPECT_GT(planned, 100u);
}

// An SP with FGs that all have the FG "all", which has 693 more.
Model Wide(uint16_t count) {
  Model model;
  model.sps.Add("wide", 0);
  const auto parent = [](auto& object) {
    return hqosd::Parent{object.value.kKind, object.name, object.id, &object.value.children};
  };
  const auto nest = [&](const hqosd::Parent& above, uint16_t id, uint16_t value) {
    if (model.fgs.Find(id) == nullptr) model.fgs.Add(fmt::format("{}", id), id);
    HQOS_MatchRule rule = hqos::EmptyRule(HQOS_MATCH_SERVICE_VLAN_ID);
    rule.ranges[0] = {value, value};
    hqosd::Nest(model, above, id, {rule, ""});
  };
  model.fgs.Add("all", 0);
  for (uint16_t i = 1; i <= 693; ++i) nest(parent(model.fgs.At(0)), 1000 + i, i);
  for (uint16_t i = 1; i <= count; ++i) {
    nest(parent(model.sps.At(0)), i, i);
    nest(parent(model.fgs.At(i)), 0, i);
  }
  return model;
}

TEST(Plan, TakesAllNumbersThatThereAre) {
  // Each of 94 has itself, "all", 693 children and two leaves of their own: 65,518 numbers.
  const Model model = Wide(94), tooMuch = Wide(95);
  const auto begin = std::chrono::steady_clock::now();
  const KernelClasses classes = NumberClasses(model, FirstSP(model), {});
  const auto numbered = std::chrono::steady_clock::now();
  const Tree tree = PlanTree(model, FirstSP(model), classes, {0, kMtu});
  const auto ms = [](auto from, auto to) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count();
  };
  std::printf("%zu classes: numbered in %ld ms, planned in %ld ms with %zu programs\n",
              tree.classes.size(), ms(begin, numbered),
              ms(numbered, std::chrono::steady_clock::now()), tree.programs.size());
  EXPECT_EQ(tree.classes.size(), 65'518u + 3);
  EXPECT_EQ(RefusalOf(tooMuch, {0, kMtu}), "SP wide has more children than the kernel has classes");

  // Another SP gets numbers of these when there are no others.
  const Model next =
      Read("[sp.s]\nchildren = [{ fg = \"a\", match = \"group\" }]\n[fg.a]\nid = 9999");
  const KernelClasses reused = NumberClasses(next, FirstSP(next), classes);
  ASSERT_EQ(reused.size(), 2u);
  EXPECT_EQ(reused.begin()->second.minor, kFirstMinor);

  // It leaves alone those of a tree that it replaces, whose counters are not its own.
  const Tree replaced = Plan(next, kPort);
  const KernelClasses numbers = NumberClasses(next, FirstSP(next), {}, &replaced);
  EXPECT_EQ(numbers.begin()->second.minor, kFirstMinor + 1);
}

}  // namespace
