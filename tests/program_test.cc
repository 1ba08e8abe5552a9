// The classifier's programs, run by an interpreter, against the rules read literally.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "tests/classified_frames.h"

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

TEST(Classifier, ReadsTheOuterTagOrThePriorityOfTheIP) {
  const Branch tree = ClassifyingTree(0);
  const auto programs = MakePrograms(tree);
  ASSERT_EQ(programs.size(), 1u);
  for (const auto& [what, frame, leaf] : ClassifiedFrames()) {
    EXPECT_EQ(ResultOf(programs, frame), leaf) << what;
    EXPECT_EQ(Classify(tree, frame), leaf) << what;
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
