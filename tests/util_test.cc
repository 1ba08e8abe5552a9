#include <gtest/gtest.h>

#include "hqos.h"
#include "platform/interface.h"

// Stands in for the platform's: interface 5 is on slot 3, interface 6 is not known.
uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void* data) {
  if (item != 6 || *static_cast<uint16_t*>(data) != 0xFFFF) return 22;
  if (ifIndex == 6) return 9;
  if (ifIndex == 5) *static_cast<uint16_t*>(data) = 3;
  return 0;
}

namespace {

TEST(EnumNames, AreTheKeywords) {
  EXPECT_STREQ(HQOS_util_GetDirStr(HQOS_DIR_INBOUND), "inbound");
  EXPECT_STREQ(HQOS_util_GetDirStr(HQOS_DIR_OUTBOUND), "outbound");
  EXPECT_STREQ(HQOS_util_GetDirStr(HQOS_DIR_BOTH), "both");
  EXPECT_STREQ(HQOS_util_GetMatchTypeStr(HQOS_MATCH_DOT1P), "dot1p");
  EXPECT_STREQ(HQOS_util_GetMatchTypeStr(HQOS_MATCH_LOCAL_PRECEDENCE), "local-precedence");
  EXPECT_STREQ(HQOS_util_GetMatchTypeStr(HQOS_MATCH_QOS_LOCAL_ID), "qos-local-id");
  EXPECT_STREQ(HQOS_util_GetMatchTypeStr(HQOS_MATCH_SERVICE_VLAN_ID), "service-vlan-id");
  EXPECT_STREQ(HQOS_util_GetMatchTypeStr(HQOS_MATCH_GROUP), "group");
  EXPECT_STREQ(HQOS_util_GetSPUnitStr(HQOS_SPUNIT_BYTE_COUNT), "byte-count");
  EXPECT_STREQ(HQOS_util_GetSPUnitStr(HQOS_SPUNIT_WEIGHT), "weight");
}

TEST(EnumNames, AreNullForOtherValues) {
  for (uint32_t value : {0u, 1u, 7u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(HQOS_util_GetMatchTypeStr(value), nullptr) << value;
  }
  for (uint32_t value : {3u, 0x40000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(HQOS_util_GetDirStr(value), nullptr) << value;
    EXPECT_EQ(HQOS_util_GetSPUnitStr(value), nullptr) << value;
  }
  EXPECT_EQ(HQOS_util_GetSPUnitStr(2), nullptr);
}

TEST(AppObjects, ArePackedAndUnpackedByType) {
  struct {
    uint32_t type, status, packed, unpacked;
  } const cases[] = {
      {0, HQOS_ERR_FAILED, 0xAAAAAAAA, 0xAAAAAAAA}, {HQOS_APPOBJ_SLOT, 0, 0x2345, 0xAAAA2345},
      {HQOS_APPOBJ_ID, 0, 0x2345, 0xAAAA2345},      {HQOS_APPOBJ_SYSTEM, 0, 0, 0},
      {HQOS_APPOBJ_IFINDEX, 0, 0x12345, 0x12345},   {5, HQOS_ERR_FAILED, 0xAAAAAAAA, 0xAAAAAAAA},
  };
  for (const auto& c : cases) {
    uint32_t field = 0xAAAAAAAA;
    EXPECT_EQ(HQOS_util_GetAppObjByType(c.type, 0x12345, &field), c.status);
    EXPECT_EQ(field, c.packed) << c.type;
    field = 0xAAAAAAAA;
    EXPECT_EQ(HQOS_util_GetAppObjByTypeEx(c.type, 0x12345, &field), c.status);
    EXPECT_EQ(field, c.unpacked) << c.type;
  }
}

TEST(AppObjects, LiveOnTheirSlot) {
  struct {
    uint32_t type, value, status;
    uint16_t slot;
  } const cases[] = {
      {0, 7, HQOS_ERR_FAILED, 0xAAAA},     {HQOS_APPOBJ_SLOT, 0x12345, 0, 0x2345},
      {HQOS_APPOBJ_ID, 7, 0, 0xFFFF},      {HQOS_APPOBJ_SYSTEM, 7, 0, 0xFFFF},
      {HQOS_APPOBJ_IFINDEX, 5, 0, 3},      {HQOS_APPOBJ_IFINDEX, 6, 9, 0xAAAA},
      {HQOS_APPOBJ_IFINDEX, 7, 0, 0xFFFF},  // the platform wrote nothing
      {5, 7, HQOS_ERR_FAILED, 0xAAAA},
  };
  for (const auto& c : cases) {
    uint16_t slot = 0xAAAA;
    EXPECT_EQ(HQOS_util_GetAppSlotByType(c.type, c.value, &slot), c.status);
    EXPECT_EQ(slot, c.slot) << c.type << " " << c.value;
  }
}

}  // namespace
