// Listings in blocks, of the service.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hqos.h"
#include "tests/process.h"

namespace {

TEST(Listings, StartAfterAnIdentifierAndStopAtACount) {
  process::Service service;
  HQOS_Result result;
  for (const uint16_t id : std::vector<uint16_t>{3, 5, 9, 0xFFFE}) {
    HQOS_lib_AddDP(("dp" + std::to_string(id)).c_str(), id, &result);
    HQOS_lib_AddFP(("fp" + std::to_string(id)).c_str(), id, &result);
  }
  const struct {
    uint16_t start;
    uint32_t count;
    std::vector<int> ids;
  } cases[] = {{0xFFFF, 0, {3, 5, 9, 0xFFFE}}, {0xFFFF, 1, {3}}, {0, 2, {3, 5}},
               {3, 9, {5, 9, 0xFFFE}},         {4, 1, {5}},      {0xFFFE, 0, {}}};
  for (const auto& c : cases) {
    HQOS_DPInfo dps[HQOS_BULK_DP_MAX];
    std::vector<HQOS_FPInfo> fps(HQOS_BULK_FP_MAX);
    uint32_t count = 99;
    EXPECT_EQ(HQOS_lib_GetBulkDP(c.start, c.count, &count, dps), 0u);
    ASSERT_EQ(count, c.ids.size());
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(dps[i].id, c.ids[i]);
    EXPECT_EQ(HQOS_lib_GetBulkFP(c.start, c.count, &count, fps.data()), 0u);
    ASSERT_EQ(count, c.ids.size());
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(fps[i].id, c.ids[i]);
  }
}

}  // namespace
