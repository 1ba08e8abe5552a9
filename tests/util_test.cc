#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "hqos.h"
#include "platform/bitmap.h"
#include "platform/interface.h"
#include "platform/vlan.h"

// Replaces the platform's function: interface 5 is on slot 3, interface 6 is not known.
uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void* data) {
  if (item != 6 || *static_cast<uint16_t*>(data) != 0xFFFF) return 22;
  if (ifIndex == 6) return 9;
  if (ifIndex == 5) *static_cast<uint16_t*>(data) = 3;
  return 0;
}

// The VLAN range, with more than the 16 bits that are kept, and the order of the calls.
static std::string g_vlanCalls;
uint32_t VLAN_GetMinVlanID() {
  g_vlanCalls += "min ";
  return 0x10003;
}
uint32_t VLAN_GetMaxVlanID() {
  g_vlanCalls += "max ";
  return 0x10FF0;
}

// What the bitmap predicates say for true.
static uint16_t g_true = 1;
uint16_t Bitmap_IsEqual(const Bitmap* a, const Bitmap* b) {
  static const auto real =
      reinterpret_cast<decltype(&Bitmap_IsEqual)>(dlsym(RTLD_NEXT, "Bitmap_IsEqual"));
  return real(a, b) != 0 ? g_true : 0;
}
uint16_t Bitmap_IsEmpty(const Bitmap* bitmap) {
  static const auto real =
      reinterpret_cast<decltype(&Bitmap_IsEmpty)>(dlsym(RTLD_NEXT, "Bitmap_IsEmpty"));
  return real(bitmap) != 0 ? g_true : 0;
}

namespace {

TEST(Platform, IsAskedForTheVlanRange) {
  uint16_t min = 0, max = 0;
  EXPECT_EQ(HQOS_util_GetValueRangeByType(HQOS_MATCH_SERVICE_VLAN_ID, &min, &max), 0u);
  EXPECT_EQ(g_vlanCalls, "max min ");
  EXPECT_EQ(min, 3);
  EXPECT_EQ(max, 0xFF0);
}

TEST(Platform, MeansTrueByOneOnly) {
  alignas(8) uint8_t buffer[1024];
  const Bitmap* const empty = Bitmap_CreateFromBuffer(buffer, sizeof buffer, 4096);
  EXPECT_EQ(HQOS_util_RuleBitmapCompare(empty, empty), uint32_t{HQOS_REL_EQUAL});
  g_true = 2;
  EXPECT_EQ(HQOS_util_RuleBitmapCompare(empty, empty), uint32_t{HQOS_REL_OVERLAP});
  g_true = 1;
}

TEST(EnumNames, AreTheKeywordsAndNullBeyond) {
  const auto names = [](const char* (*nameOf)(uint32_t)) {
    std::string all;
    for (uint32_t value : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 0x40000000u, 0xFFFFFFFFu}) {
      const char* const name = nameOf(value);
      all += (name != nullptr ? name : "-") + std::string(" ");
    }
    return all;
  };
  EXPECT_EQ(names(HQOS_util_GetDirStr), "inbound outbound both - - - - - - - ");
  EXPECT_EQ(names(HQOS_util_GetSPUnitStr), "byte-count weight - - - - - - - - ");
  EXPECT_EQ(names(HQOS_util_GetMatchTypeStr),
            "- - dot1p local-precedence qos-local-id service-vlan-id group - - - ");
}

TEST(AppObjects, GoByTheirType) {
  constexpr uint32_t kBefore = 0xAAAAAAAA;
  struct {
    uint32_t type, packed, unpacked;
    uint16_t slot;
  } const cases[] = {{0, kBefore, kBefore, 0xAAAA},
                     {HQOS_APPOBJ_SLOT, 0x2345, 0xAAAA2345, 0x2345},
                     {HQOS_APPOBJ_ID, 0x2345, 0xAAAA2345, 0xFFFF},
                     {HQOS_APPOBJ_SYSTEM, 0, 0, 0xFFFF},
                     {HQOS_APPOBJ_IFINDEX, 0x12345, 0x12345, 0xFFFF},  // platform wrote nothing
                     {5, kBefore, kBefore, 0xAAAA}};
  uint16_t slot;
  for (const auto& c : cases) {
    const uint32_t status = c.slot == 0xAAAA ? uint32_t{HQOS_ERR_FAILED} : 0;
    uint32_t field = kBefore;
    EXPECT_EQ(HQOS_util_GetAppObjByType(c.type, 0x12345, &field), status);
    EXPECT_EQ(field, c.packed) << c.type;
    field = kBefore;
    EXPECT_EQ(HQOS_util_GetAppObjByTypeEx(c.type, 0x12345, &field), status);
    EXPECT_EQ(field, c.unpacked) << c.type;
    slot = 0xAAAA;
    EXPECT_EQ(HQOS_util_GetAppSlotByType(c.type, 0x12345, &slot), status);
    EXPECT_EQ(slot, c.slot) << c.type;
  }
  EXPECT_EQ(HQOS_util_GetAppSlotByType(HQOS_APPOBJ_IFINDEX, 5, &slot), 0u);
  EXPECT_EQ(slot, 3);
  EXPECT_EQ(HQOS_util_GetAppSlotByType(HQOS_APPOBJ_IFINDEX, 6, &slot), 9u);
  EXPECT_EQ(slot, 3);
}

TEST(Paths, AreOrderedDepthFirst) {
  const uint16_t none = 0xFFFF;
  struct {
    HQOS_SPSonPath a, b;
    uint32_t ab, ba;
  } const cases[] = {
      {{{0, 1, 2, 3, 4, 5}}, {{0, 1, 2, 3, 4, 5}}, 0, 0},
      {{{0, 1, none, none, none, none}}, {{0, 1, 2, none, none, none}}, 2, 1},
      {{{0, 1, 1, 1, 1, 5}}, {{0, 1, 1, 1, 1, none}}, 1, 2},
      {{{0, 1, 1, 1, 1, 0}}, {{0, 1, 1, 1, 1, 0xFFFE}}, 2, 1},
      {{{0, 1, none, none, none, none}}, {{9, 1, none, none, none, none}}, 2, 2},
      {{{0, 1, 1, 1, 1, 1}}, {{9, 1, 1, 1, 1, 1}}, 1, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HQOS_util_SPSonPathCompare(&c.a, &c.b), c.ab);
    EXPECT_EQ(HQOS_util_SPSonPathCompare(&c.b, &c.a), c.ba);
  }
  // Every level decides, and the upper ones before the lower.
  for (int level = 1; level <= 5; ++level) {
    HQOS_SPSonPath a{{0, 5, 5, 5, 5, 5}}, b = a;
    a.field[level] = 4;
    for (int below = level + 1; below <= 5; ++below) b.field[below] = 1;
    EXPECT_EQ(HQOS_util_SPSonPathCompare(&a, &b), 2u) << level;
  }
}

TEST(ViewNames, AreTakenApart) {
  const std::string n31(31, 'n');
  struct {
    std::string view;
    uint32_t nameStatus;
    std::string name;
    uint32_t objStatus;
    std::string obj;
  } const cases[] = {
      {"a-fg-gold\r\n", 0, "gold", 0, "fg"},
      {"a-b-x-y", 0, "x-y", 0, "b"},
      {"a-b-" + n31 + "more", 0, n31, 0, "b"},
      {"a-abcdefg-gold", 0, "gold", 0, "abcdefg"},
      {"a-abcdefgh-gold", 0, "gold", HQOS_ERR_FAILED, ""},
      {std::string(5000, 'a') + "-" + "b-gold", 0, "gold", 0, "b"},
      {"a-b", HQOS_ERR_FAILED, "", HQOS_ERR_FAILED, ""},
      {"a-b-", HQOS_ERR_FAILED, "", HQOS_ERR_FAILED, ""},
      {"a--gold", HQOS_ERR_FAILED, "", HQOS_ERR_FAILED, ""},
      {"-b-gold", HQOS_ERR_FAILED, "", HQOS_ERR_FAILED, ""},
      {"", HQOS_ERR_FAILED, "", HQOS_ERR_FAILED, ""},
  };
  for (const auto& c : cases) {
    char obj[HQOS_VIEW_OBJ_SIZE] = "", name[HQOS_NAME_SIZE] = "";
    EXPECT_EQ(HQOS_util_GetNameByCmdView(c.view.c_str(), name), c.nameStatus) << c.view;
    EXPECT_EQ(name, c.name);
    EXPECT_EQ(HQOS_util_GetObjByCmdView(c.view.c_str(), obj, name), c.objStatus) << c.view;
    if (c.objStatus == 0) {
      EXPECT_EQ(obj, c.obj);
      EXPECT_EQ(name, c.name);
    }
  }
}

TEST(ViewNames, CarryRules) {
  const std::string text = "0002-300500700700oOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOO";
  for (const size_t length : std::initializer_list<size_t>{0, 1, 31, 32, 209, 210}) {
    const std::string name(length, '-');
    char obj[HQOS_VIEW_OBJ_SIZE], out[HQOS_SUBVIEW_NAME_SIZE];
    HQOS_MatchRule read{};
    const std::string view = "a-fc-" + name + "-" + text + "\r\n";
    EXPECT_EQ(HQOS_util_GetInfoBySubCmdView(view.c_str(), obj, out, &read), 0u) << length;
    EXPECT_EQ(obj, std::string("fc"));
    EXPECT_EQ(out, name);
    char again[HQOS_MATCHRULE_STR_SIZE];
    HQOS_util_MatchRuleToStr(&read, again);
    EXPECT_EQ(again, text);
  }
  // Beyond 264 characters the tail is cut, and what then counts as the rule is something else: the
  // name still fits.
  char obj[HQOS_VIEW_OBJ_SIZE], out[HQOS_SUBVIEW_NAME_SIZE];
  HQOS_MatchRule read{};
  const std::string longer = "a-fc-" + std::string(5000, 'n');
  EXPECT_EQ(HQOS_util_GetInfoBySubCmdView(longer.c_str(), obj, out, &read), 0u);
  EXPECT_EQ(out, std::string(210, 'n'));
  for (const std::string& view : {"a-fc-" + text, std::string("a-fc-x"), "a-" + text}) {
    EXPECT_EQ(HQOS_util_GetInfoBySubCmdView(view.c_str(), obj, out, &read),
              uint32_t{HQOS_ERR_FAILED});
  }
}

TEST(ViewNames, NeedAllTheirArguments) {
  char obj[HQOS_VIEW_OBJ_SIZE], name[HQOS_SUBVIEW_NAME_SIZE];
  HQOS_MatchRule rule;
  const char* const view = "a-b-c-0002-300500700700oOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOOoOO";
  EXPECT_EQ(HQOS_util_GetInfoBySubCmdView(view, obj, name, &rule), 0u);
  for (const uint32_t status :
       {HQOS_util_GetNameByCmdView(nullptr, name), HQOS_util_GetNameByCmdView(view, nullptr),
        HQOS_util_GetObjByCmdView(nullptr, obj, name),
        HQOS_util_GetObjByCmdView(view, nullptr, name),
        HQOS_util_GetObjByCmdView(view, obj, nullptr),
        HQOS_util_GetInfoBySubCmdView(nullptr, obj, name, &rule),
        HQOS_util_GetInfoBySubCmdView(view, nullptr, name, &rule),
        HQOS_util_GetInfoBySubCmdView(view, obj, nullptr, &rule),
        HQOS_util_GetInfoBySubCmdView(view, obj, name, nullptr)}) {
    EXPECT_EQ(status, uint32_t{HQOS_ERR_FAILED});
  }
}

}  // namespace
