// Creates FPs with all their settings in a running service and lists them: round trips and time.
//   fps_bench [FPS]
#include <string>
#include <vector>

#include "bench/service_tool.h"

namespace {

void Create(uint32_t fps) {
  constexpr uint32_t kQueue[] = {7, 1, 100}, kGTS[] = {10000, 20000, 4000, 0}, kBandwidth = 5000;
  HQOS_Result result{};
  Check(HQOS_lib_AddDP("dp", HQOS_ID_NONE, &result), result);
  for (uint32_t i = 0; i < fps; ++i) {
    const std::string name = "fp" + std::to_string(i);
    Check(HQOS_lib_AddFP(name.c_str(), HQOS_ID_NONE, &result), result);
    Check(HQOS_lib_AddQueue(name.c_str(), kQueue, &result), result);
    Check(HQOS_lib_AddGTS(name.c_str(), kGTS, &result), result);
    Check(HQOS_lib_AddBandwidth(name.c_str(), &kBandwidth, &result), result);
    Check(HQOS_lib_FPReferDP(name.c_str(), "dp", &result), result);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto fps = static_cast<uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 60'000);
  auto begin = std::chrono::steady_clock::now();
  Create(fps);
  std::printf("%u FPs created, with four settings each, in %.2f s\n", fps, Seconds(begin));

  std::vector<HQOS_FPInfo> block(HQOS_BULK_FP_MAX);
  uint32_t listed = 0, roundTrips = 0;
  uint16_t start = HQOS_ID_NONE;
  begin = std::chrono::steady_clock::now();
  for (uint32_t count = 1; count != 0; ++roundTrips) {
    if (HQOS_lib_GetBulkFP(start, 0, &count, block.data()) != 0) return 1;
    listed += count;
    if (count != 0) start = block[count - 1].id;
  }
  std::printf("%u FPs listed in %u round trips, %.3f s\n", listed, roundTrips, Seconds(begin));
  return listed == fps ? 0 : 1;
}
