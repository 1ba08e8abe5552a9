// The classifier's programs, run by an interpreter, against the rules read literally. The input
// chooses a tree and frames.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/require.h"
#include "tests/classify.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const classify::Below below = [&](uint32_t bound) {
    return in.ConsumeIntegralInRange<uint32_t>(0, bound - 1);
  };
  const bool isLarge = below(16) == 15;  // of several programs
  const int levels = 1 + static_cast<int>(below(isLarge ? 2 : 4));
  uint32_t leaves = 0;
  const auto tree = classify::MakeTree(below, levels, isLarge ? 900 : 12, leaves);
  const auto programs = hqosd::kernel::MakePrograms(tree);
  for (const auto& program : programs) {
    fuzz::Require(program.size() <= hqosd::kernel::kMaxInstructions, "a program's length");
  }
  do {
    const classify::Frame frame = classify::MakeFrame(below);
    fuzz::Require(classify::ResultOf(programs, frame) == classify::Classify(tree, frame),
                  "a frame's class");
  } while (in.remaining_bytes() > 0);
  return 0;
}
