// Starting the service on slots, interface selections and random numbers, against a platform that
// this program plays and that writes down how it is called.
#include "platform/slot.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "hqos.h"
#include "platform/crypto.h"
#include "platform/if_select.h"
#include "platform/service_manager.h"

namespace {

struct Platform {
  std::vector<std::string> calls;
  uint16_t lowest = 0, highest = 0, self = 0;
  std::map<uint16_t, uint16_t> up;             // what IF_IsSlotUp says
  std::map<uint16_t, uint32_t> status;         // by node
  std::map<uint16_t, uint32_t> statusFailure;  // by node
  uint32_t startResult = 0, coordinateResult = 0;
  int32_t selectResult = 0;
  uint32_t drawn = 0;

  void Note(const std::string& call) { calls.push_back(call); }
};
Platform g_platform;

std::string Text(uint64_t n) { return std::to_string(n); }

}  // namespace

extern "C" {

uint16_t DEV_GetSelfSlot(void) { return g_platform.self; }
void DEV_GetSlotRange(uint16_t* lowest, uint16_t* highest) {
  *lowest = g_platform.lowest;
  *highest = g_platform.highest;
}
uint32_t DEV_GetPhysicalSlotByGlobalSlot(uint16_t slot, uint16_t* first, uint16_t* second) {
  EXPECT_EQ(*first, 0xFFFF);
  EXPECT_EQ(*second, 0xFFFF);
  if (g_platform.coordinateResult == 0) *first = 3, *second = slot;
  return g_platform.coordinateResult;
}
uint16_t IF_IsSlotUp(uint16_t slot) { return g_platform.up[slot]; }
// Nodes have the slot's number and 100; upper bits that nobody may look at are set.
uint32_t LIP_GetNodeLip(uint16_t first, uint16_t second, uint32_t zero) {
  EXPECT_EQ(zero, 0u);
  EXPECT_EQ(first, g_platform.coordinateResult == 0 ? 3 : 0xFFFF);
  return 0xAB0000u + second + 100u;
}
uint32_t SERVICE_GetStatus(uint16_t node, const char* name, uint32_t zero, uint32_t* status) {
  EXPECT_STREQ(name, "hqos");
  EXPECT_EQ(zero, 0u);
  *status = g_platform.status[node];
  return g_platform.statusFailure[node];
}
uint32_t SERVICE_Start(uint16_t node, const char* name, uint32_t zero, uint32_t zero2) {
  g_platform.Note("start " + Text(node) + " " + name + " " + Text(zero + zero2));
  return g_platform.startResult;
}
uint32_t SERVICE_BatchStart(const uint16_t* nodes, uint32_t count, const char* name, uint32_t zero,
                            uint32_t zero2) {
  std::string call = "batch";
  for (uint32_t i = 0; i < count; ++i) call += " " + Text(nodes[i]);
  g_platform.Note(call + " " + name + " " + Text(zero + zero2));
  return 7;
}
int32_t IF_Select_Init(uint32_t kind, void*) {
  g_platform.Note("init " + Text(kind));
  return g_platform.selectResult;
}
int32_t IF_SelectType_Set(uint32_t type, void*) {
  g_platform.Note(Text(type));
  return g_platform.selectResult;
}
int32_t IF_SelectProperty_Set(uint32_t property, void*) {
  g_platform.Note("property " + Text(property));
  return 1000;
}
void RAND_seed(const void* bytes, int length) {
  uint32_t now = 0;
  EXPECT_EQ(length, 4);
  memcpy(&now, bytes, sizeof now);
  EXPECT_LE(static_cast<uint32_t>(time(nullptr)) - now, 1u);
  g_platform.Note("seed");
}
int RAND_bytes(unsigned char* bytes, int length) {
  EXPECT_EQ(length, 4);
  memcpy(bytes, &g_platform.drawn, sizeof g_platform.drawn);
  g_platform.Note("draw");
  return 1;
}

}  // extern "C"

namespace {

using Calls = std::vector<std::string>;

TEST(Slots, HaveNodes) {
  g_platform = {};
  EXPECT_EQ(HQOS_util_GetLipBySlotId(5), 0xAB0069u);
  g_platform.coordinateResult = 1;  // not examined: the coordinates stay unset
  EXPECT_EQ(HQOS_util_GetLipBySlotId(5), 0xAB0000u + 0xFFFF + 100);
}

TEST(Slots, AreStartedUnlessTheyRun) {
  const struct {
    uint32_t status, failure, started, result;
    Calls calls;
  } cases[] = {{1, 0, 1, 1, {}},
               {9, 0, 1, 9, {}},
               {0, 0, 0, 5, {"start 104 hqos 0"}},
               {1, 3, 0, 5, {"start 104 hqos 0"}}};
  for (const auto& c : cases) {
    g_platform = {};
    g_platform.status[104] = c.status;
    g_platform.statusFailure[104] = c.failure;
    g_platform.startResult = 5;
    EXPECT_EQ(HQOS_util_IsServiceStarted(4), c.started);
    EXPECT_EQ(HQOS_util_StartService(4), c.result);
    EXPECT_EQ(g_platform.calls, c.calls);
  }
}

TEST(Slots, AreStartedInOneBatch) {
  const struct {
    const char* what;
    uint16_t lowest, highest, self;
    std::map<uint16_t, uint16_t> up;
    std::map<uint16_t, uint32_t> status, failure;
    Calls calls;
  } cases[] = {
      {"one", 0, 5, 1, {{1, 1}, {2, 1}, {4, 1}}, {{104, 1}}, {}, {"batch 102 hqos 0"}},
      {"all run or are down", 0, 3, 0, {{1, 1}, {3, 0}}, {{101, 2}}, {}, {}},
      {"no status", 2, 4, 9, {{2, 1}, {4, 1}}, {{102, 1}}, {{102, 8}}, {"batch 102 104 hqos 0"}},
      {"up is 1 alone", 0, 2, 9, {{0, 2}, {1, 1}, {2, 0xFFFF}}, {}, {}, {"batch 101 hqos 0"}},
      {"no slots", 5, 4, 0, {{4, 1}, {5, 1}}, {}, {}, {}},
      {"the highest of all", 65533, 65534, 0, {{65534, 1}}, {}, {}, {"batch 98 hqos 0"}},
  };
  for (const auto& c : cases) {
    g_platform = {};
    g_platform.lowest = c.lowest, g_platform.highest = c.highest, g_platform.self = c.self;
    g_platform.up = c.up, g_platform.status = c.status, g_platform.statusFailure = c.failure;
    HQOS_util_StartServiceOnAllSlot();
    EXPECT_EQ(g_platform.calls, c.calls) << c.what;
  }
}

TEST(Slots, AreLeftAloneWhenMemoryIsShort) {
  size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  if (uint64_t{pages} >> 28 != 0) GTEST_SKIP() << "a sanitizer takes all addresses";
  g_platform = {};
  g_platform.highest = 0xFFFF;
  g_platform.up[1] = 1;
  rlimit limit;
  getrlimit(RLIMIT_AS, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_AS, &none);
  std::vector<void*> taken(1000);  // whatever is left
  for (void*& block : taken) block = std::malloc(100'000);
  const bool isShort = taken.back() == nullptr;
  if (isShort) HQOS_util_StartServiceOnAllSlot();
  for (void* const block : taken) std::free(block);
  setrlimit(RLIMIT_AS, &limit);
  if (!isShort) GTEST_SKIP() << "RLIMIT_AS has no effect here";
  EXPECT_EQ(g_platform.calls, Calls{});
}

TEST(IfSelect, HoldsTheKindsOfEveryMask) {
  const std::pair<int, Calls> kinds[] = {{0x01, {"18", "19", "21", "68", "69", "88"}},
                                         {0x02, {"22", "23", "25", "70", "71", "89"}},
                                         {0x04, {"31"}},
                                         {0x08, {"4"}},
                                         {0x20, {"35"}},
                                         {0x40, {"29"}},
                                         {0x80, {"27"}},
                                         {0x10, {"9", "property 4"}}};
  for (int mask = 0; mask < 256; ++mask) {
    Calls expected{"init 2"};
    for (const auto& [bit, calls] : kinds) {
      if ((mask & bit) != 0) expected.insert(expected.end(), calls.begin(), calls.end());
    }
    g_platform = {};
    g_platform.selectResult = 3;
    char select;
    const int32_t sum = HQOS_util_InitIfSelect(static_cast<uint8_t>(mask), &select);
    EXPECT_EQ(g_platform.calls, expected) << mask;
    const int32_t added = static_cast<int32_t>(expected.size()) - ((mask & 0x10) != 0 ? 1 : 0);
    EXPECT_EQ(sum, 3 * added);
  }
}

TEST(Random, IsNeverZero) {
  const std::pair<uint32_t, uint32_t> cases[] = {{0, 1},     {1, 2},          {65534, 65535},
                                                 {65535, 1}, {0xFFFFFFFF, 1}, {0xFFFFFFFE, 65535}};
  for (const auto& [drawn, number] : cases) {
    g_platform = {};
    g_platform.drawn = drawn;
    EXPECT_EQ(HQOS_util_GetRandom(), number);
    EXPECT_EQ(g_platform.calls, (Calls{"seed", "draw"}));
  }
}

}  // namespace
