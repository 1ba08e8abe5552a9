// The classifier's programs, run by an interpreter, against the rules read literally.
#include "service/kernel/program.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <random>

#include "tests/bytes.h"

namespace {

using namespace hqosd::kernel;
using wire::Bytes;
using wire::Hex;
using wire::operator+;

struct Frame {
  Bytes bytes;
  bool hasTag = false;  // beside the frame
  uint16_t tag = 0;
  uint32_t mark = 0;
};

// ---- The rules, literally -----------------------------------------------------------------------

struct Attributes {
  bool isTagged = false;
  uint32_t tag = 0, priority = 0;
};

// The bytes of a frame as a number; none beyond its end.
std::optional<uint32_t> At(const Frame& frame, uint32_t at, uint32_t width) {
  if (at + width > frame.bytes.size()) return std::nullopt;
  uint32_t number = 0;
  for (uint32_t i = 0; i < width; ++i) number = number << 8 | frame.bytes[at + i];
  return number;
}

std::optional<Attributes> AttributesOf(const Frame& frame, bool needsPriority) {
  if (frame.hasTag) return Attributes{true, frame.tag, uint32_t{frame.tag} >> 13};
  const auto type = At(frame, 12, 2);
  if (!type) return std::nullopt;
  if (*type == 0x8100 || *type == 0x88A8 || *type == 0x9100) {
    const auto tag = At(frame, 14, 2);
    return tag ? std::optional(Attributes{true, *tag, *tag >> 13}) : std::nullopt;
  }
  Attributes none;
  if (needsPriority && (*type == 0x0800 || *type == 0x86DD)) {
    const auto ds = *type == 0x0800 ? At(frame, 15, 1) : At(frame, 14, 2);
    if (!ds) return std::nullopt;
    none.priority = *type == 0x0800 ? *ds >> 5 : *ds >> 9 & 7;
  }
  return none;
}

bool Takes(const Branch& child, const Frame& frame, const Attributes& a) {
  if (child.takes == Branch::Takes::Rest) return true;
  if (child.takes == Branch::Takes::Priority) return child.priority == a.priority;
  const uint32_t type = child.rule.type;
  const bool ofTag = type == HQOS_MATCH_DOT1P || type == HQOS_MATCH_SERVICE_VLAN_ID;
  if (ofTag && !a.isTagged) return false;
  const uint32_t value = type == HQOS_MATCH_DOT1P              ? a.tag >> 13
                         : type == HQOS_MATCH_SERVICE_VLAN_ID  ? a.tag & 0xFFF
                         : type == HQOS_MATCH_LOCAL_PRECEDENCE ? frame.mark >> 12 & 7
                                                               : frame.mark & 0xFFF;
  for (const HQOS_ValueRange& range : child.rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) return false;
    if (range.low <= value && value <= range.high) return true;
  }
  return false;
}

bool Uses(const Branch& branch, const std::function<bool(const Branch&)>& what) {
  return std::any_of(branch.children.begin(), branch.children.end(),
                     [&](const Branch& child) { return what(child) || Uses(child, what); });
}

uint32_t Classify(const Branch& tree, const Frame& frame) {
  const bool needsPriority =
      Uses(tree, [](const Branch& child) { return child.takes == Branch::Takes::Priority; });
  const bool needsTag = Uses(tree, [](const Branch& child) {
    return child.takes == Branch::Takes::Values &&
           (child.rule.type == HQOS_MATCH_DOT1P || child.rule.type == HQOS_MATCH_SERVICE_VLAN_ID);
  });
  Attributes a;
  if (needsPriority || needsTag) {
    const auto read = AttributesOf(frame, needsPriority);
    if (!read) return 0;
    a = *read;
  }
  const Branch* at = &tree;
  for (size_t i = 0; i < at->children.size();) {
    if (Takes(at->children[i], frame, a)) {
      at = &at->children[i];
      i = 0;
    } else {
      ++i;
    }
  }
  return at->leaf;
}

// ---- The interpreter ----------------------------------------------------------------------------

// NOLINTNEXTLINE(readability-function-size)
uint32_t ResultOf(const Program& program, const Frame& frame) {
  uint32_t a = 0, x = 0, memory[BPF_MEMWORDS] = {};
  for (size_t at = 0; at < program.size(); ++at) {
    const sock_filter& one = program[at];
    const uint32_t k = one.k;
    const auto jump = [&](bool holds) { at += holds ? one.jt : one.jf; };
    switch (one.code) {
      case BPF_LD | BPF_W | BPF_ABS:
        a = k == uint32_t(SKF_AD_OFF + SKF_AD_MARK)       ? frame.mark
            : k == uint32_t(SKF_AD_OFF + SKF_AD_VLAN_TAG) ? frame.tag
                                                          : uint32_t{frame.hasTag};
        break;
      case BPF_LD | BPF_H | BPF_ABS:
      case BPF_LD | BPF_B | BPF_ABS: {
        const auto loaded = At(frame, k, BPF_SIZE(one.code) == BPF_H ? 2 : 1);
        if (!loaded) return 0;
        a = *loaded;
        break;
      }
      case BPF_LD | BPF_IMM:
        a = k;
        break;
      case BPF_LD | BPF_MEM:
        a = memory[k];
        break;
      case BPF_ST:
        memory[k] = a;
        break;
      case BPF_MISC | BPF_TAX:
        x = a;
        break;
      case BPF_MISC | BPF_TXA:
        a = x;
        break;
      case BPF_ALU | BPF_RSH | BPF_K:
        a >>= k;
        break;
      case BPF_ALU | BPF_AND | BPF_K:
        a &= k;
        break;
      case BPF_JMP | BPF_JA:
        at += k;
        break;
      case BPF_JMP | BPF_JEQ | BPF_K:
        jump(a == k);
        break;
      case BPF_JMP | BPF_JGT | BPF_K:
        jump(a > k);
        break;
      case BPF_JMP | BPF_JGE | BPF_K:
        jump(a >= k);
        break;
      case BPF_RET | BPF_K:
        return k;
      default:
        ADD_FAILURE() << "instruction " << one.code;
        return 0;
    }
  }
  ADD_FAILURE() << "the program does not end";
  return 0;
}

// The first program that knows the frame decides.
uint32_t ResultOf(const std::vector<Program>& programs, const Frame& frame) {
  uint32_t found = 0;
  for (const Program& program : programs) {
    if (found == 0) found = ResultOf(program, frame);
  }
  return found;
}

// ---- Random trees and frames --------------------------------------------------------------------

std::mt19937 g_random(5);
uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(g_random() % bound); }

Branch RandomTree(int levels, uint32_t maxChildren, uint32_t& leaves) {
  Branch branch;
  branch.leaf = ++leaves;
  if (levels == 0) return branch;
  constexpr uint32_t kTypes[] = {HQOS_MATCH_DOT1P, HQOS_MATCH_LOCAL_PRECEDENCE,
                                 HQOS_MATCH_QOS_LOCAL_ID, HQOS_MATCH_SERVICE_VLAN_ID};
  const uint32_t type = kTypes[Below(4)];
  const uint32_t max = type == HQOS_MATCH_DOT1P || type == HQOS_MATCH_LOCAL_PRECEDENCE ? 7 : 4094;
  uint32_t value = Below(3);
  for (uint32_t i = Below(maxChildren); i > 0 && value <= max; --i) {
    branch.children.push_back(RandomTree(levels - 1, std::min(maxChildren, 6u), leaves));
    Branch& child = branch.children.back();
    child.takes = Branch::Takes::Values;
    child.rule.type = type;
    std::fill_n(child.rule.ranges, 8, HQOS_ValueRange{HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED});
    for (uint32_t range = 0; range <= Below(3) && value <= max; ++range) {
      const uint32_t high = std::min(max, value + Below(3));
      child.rule.ranges[range] = {static_cast<uint16_t>(value), static_cast<uint16_t>(high)};
      value = high + 1 + Below(2);
    }
  }
  for (uint8_t priority = 0; priority < 8; ++priority) {
    if (Below(6) != 0) continue;
    branch.children.emplace_back();
    branch.children.back().takes = Branch::Takes::Priority;
    branch.children.back().priority = priority;
    branch.children.back().leaf = ++leaves;
  }
  if (Below(3) == 0)
    branch.children.push_back(RandomTree(levels - 1, std::min(maxChildren, 6u), leaves));
  return branch;
}

Frame RandomFrame() {
  static const Bytes kTypes[] = {Hex("0800"), Hex("86dd"), Hex("0806"),
                                 Hex("8100"), Hex("88a8"), Hex("9100")};
  Frame frame;
  frame.bytes = Bytes(12) + kTypes[Below(6)];
  for (int i = 0; i < 6; ++i) frame.bytes.push_back(static_cast<uint8_t>(g_random()));
  if (Below(20) == 0) frame.bytes.resize(Below(20));  // a runt
  frame.hasTag = Below(4) == 0;
  frame.tag = static_cast<uint16_t>(frame.hasTag ? g_random() : 0);
  frame.mark = static_cast<uint32_t>(g_random());
  return frame;
}

// "" when the kernel would run it, as far as it lets a socket have one of that length.
std::string WhyNotLoaded(Program program) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
  const sock_fprog given{static_cast<unsigned short>(program.size()), program.data()};
  const bool done = setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &given, sizeof given) == 0;
  const int error = errno;
  close(fd);
  return done || error == ENOMEM || error == EPERM ? "" : std::strerror(error);
}

TEST(Classifier, DecidesAsTheRulesSay) {
  size_t several = 0;
  for (int round = 0; round < 400; ++round) {
    uint32_t leaves = 0;
    const Branch tree =
        RandomTree(1 + static_cast<int>(Below(4)), round % 8 == 0 ? 3000 : 12, leaves);
    const std::vector<Program> programs = MakePrograms(tree);
    several += programs.size() > 1;
    for (const Program& program : programs) {
      ASSERT_LE(program.size(), kMaxInstructions);
      ASSERT_EQ(WhyNotLoaded(program), "") << program.size();
    }
    for (int i = 0; i < 300; ++i) {
      const Frame frame = RandomFrame();
      ASSERT_EQ(ResultOf(programs, frame), Classify(tree, frame)) << round << " " << i;
    }
  }
  EXPECT_GT(several, 10u);
}

// Frames of every kind, against classes written down by hand.
TEST(Classifier, ReadsTheOuterTagOrThePriorityOfTheIP) {
  constexpr HQOS_ValueRange kEnd{HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED};
  const auto vlan = [&](uint16_t id, uint32_t leaf) {
    return Branch{
        Branch::Takes::Values, {HQOS_MATCH_SERVICE_VLAN_ID, {{id, id}, kEnd}}, 0, leaf, {}};
  };
  Branch tree{Branch::Takes::Rest, {}, 0, 9, {vlan(5, 1), vlan(6, 2)}};
  for (const uint8_t priority : std::initializer_list<uint8_t>{7, 5}) {
    tree.children.push_back({Branch::Takes::Priority, {}, priority, 10u + priority, {}});
  }
  const auto programs = MakePrograms(tree);
  ASSERT_EQ(programs.size(), 1u);
  const Bytes macs(12);
  const struct {
    const char* what;
    Frame frame;
    uint32_t leaf;
  } cases[] = {
      {"802.1Q", {macs + Hex("8100 0005 0800")}, 1},
      {"802.1ad", {macs + Hex("88a8 e006 8100 0005")}, 2},
      {"QinQ, other way round", {macs + Hex("8100 0005 88a8 0006")}, 1},
      {"0x9100", {macs + Hex("9100 0006 8100 0005")}, 2},
      {"tag beside the frame, another inside", {macs + Hex("8100 0005 0800"), true, 6}, 2},
      {"another VLAN by its priority", {macs + Hex("8100 e007 0800")}, 17},
      {"priority-tagged", {macs + Hex("8100 a000 0800")}, 15},
      {"tagged, priority 0, whatever the IP says", {macs + Hex("8100 0007 0800 45e0")}, 9},
      {"IPv4", {macs + Hex("0800 45b8 0000")}, 15},
      {"IPv6", {macs + Hex("86dd 6e00 0000")}, 17},
      {"IPv4 of no priority", {macs + Hex("0800 4500 0000")}, 9},
      {"ARP", {macs + Hex("0806 ffff")}, 9},
      {"runt", {Bytes(13)}, 0},
      {"runt inside the tag", {macs + Hex("8100 00")}, 0},
      {"runt inside the IP", {macs + Hex("0800 45")}, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ResultOf(programs, c.frame), c.leaf) << c.what;
    EXPECT_EQ(Classify(tree, c.frame), c.leaf) << c.what;
  }
}

// About three instructions a range, and no more than two beyond for the worst neighbours.
TEST(Classifier, IsSmall) {
  for (const uint16_t step : std::initializer_list<uint16_t>{1, 2}) {
    Branch tree{Branch::Takes::Rest, {}, 0, 1, {}};
    for (uint16_t id = 1; id < 4000; id = static_cast<uint16_t>(id + step)) {
      tree.children.push_back({Branch::Takes::Values,
                               {HQOS_MATCH_SERVICE_VLAN_ID, {{id, id}, {HQOS_RANGE_UNUSED, 0}}},
                               0,
                               id + 1u,
                               {}});
    }
    size_t size = 0;
    const auto programs = MakePrograms(tree);
    for (const Program& program : programs) size += program.size();
    RecordProperty("instructions", static_cast<int>(size));
    std::printf("%zu VLANs: %zu instructions in %zu programs\n", tree.children.size(), size,
                programs.size());
    EXPECT_LE(size, tree.children.size() * 4 + programs.size() * 40);
  }
}

}  // namespace
