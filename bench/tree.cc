// Builds a tree of 10,000 children in a running service and lists it: round trips and time.
//   tree_bench [CHILDREN]
#include <string>
#include <vector>

#include "bench/service_tool.h"

namespace {

// 100 FGs below the SP, the other children FCs below them in equal parts.
void Build(uint32_t children) {
  constexpr uint16_t kFGs = 100;
  HQOS_Result result{};
  Check(HQOS_lib_AddSP("tree", HQOS_ID_NONE, &result), result);
  HQOS_MatchRule rule{HQOS_MATCH_QOS_LOCAL_ID, {}};
  for (HQOS_ValueRange& range : rule.ranges) range = {HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED};
  for (uint16_t i = 0; i < kFGs; ++i) {
    const std::string fg = "fg" + std::to_string(i);
    rule.ranges[0] = {static_cast<uint16_t>(i + 1), static_cast<uint16_t>(i + 1)};
    Check(HQOS_lib_AddFG(fg.c_str(), HQOS_ID_NONE, &result), result);
    Check(HQOS_lib_AddSPNestFG("tree", &rule, fg.c_str(), nullptr, &result), result);
  }
  for (uint32_t i = kFGs; i < children; ++i) {
    const std::string fg = "fg" + std::to_string(i % kFGs);
    Check(HQOS_lib_AddFGNestFC(fg.c_str(), ("fc" + std::to_string(i)).c_str(), nullptr, &result),
          result);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto children =
      static_cast<uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000);
  auto begin = std::chrono::steady_clock::now();
  Build(children);
  std::printf("%u children nested in %.2f s\n", children, Seconds(begin));

  std::vector<HQOS_SPSon> block(HQOS_BULK_SPSON_MAX);
  HQOS_SPInfo sp;
  if (HQOS_lib_GetSP("tree", &sp) != 0) return 1;
  HQOS_SPSonPath start{
      {sp.id, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET}};
  uint32_t listed = 0, roundTrips = 0;
  begin = std::chrono::steady_clock::now();
  for (uint32_t count = 1; count != 0; ++roundTrips) {
    if (HQOS_lib_GetBulkSPSon(&start, 0, &count, block.data()) != 0) return 1;
    listed += count;
    if (count != 0) start = block[count - 1].path;
  }
  std::printf("%u children listed in %u round trips, %.3f s\n", listed, roundTrips, Seconds(begin));
  return listed == children ? 0 : 1;
}
