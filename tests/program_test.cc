// The classifier's programs, run by an interpreter, against the rules read literally.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "tests/bytes.h"
#include "tests/classify.h"

namespace {

using namespace classify;
using wire::Bytes;
using wire::Hex;
using wire::operator+;

std::mt19937 g_random(5);
uint32_t Random(uint32_t bound) { return static_cast<uint32_t>(g_random() % bound); }

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
        MakeTree(Random, 1 + static_cast<int>(Random(4)), round % 8 == 0 ? 3000 : 12, leaves);
    const std::vector<Program> programs = MakePrograms(tree);
    several += programs.size() > 1;
    for (const Program& program : programs) {
      ASSERT_LE(program.size(), kMaxInstructions);
      ASSERT_EQ(WhyNotLoaded(program), "") << program.size();
    }
    for (int i = 0; i < 300; ++i) {
      const Frame frame = MakeFrame(Random);
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
