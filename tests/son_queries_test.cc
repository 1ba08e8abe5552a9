// Listings of children, and the bulk request record that asks for them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hqos.h"
#include "tests/app_objects.h"
#include "tests/query.h"
#include "tests/rule_bytes.h"

namespace {

using namespace wire;

const HQOS_SPSonPath kPath{{9, 1, 2, 3, 0xFFFF, 0xFFFF}};
const Bytes kPathTlv = Tlv(1, Hex("0009 0001 0002 0003 ffff ffff"));
const Bytes kCountTlv = Tlv(10, Hex("01020304"));
const Bytes kWordsTlv = Tlv(6, Hex("11121314 21222324"));
const Bytes kCfgTlv = Tlv(2, Hex("3132") + kFullName + kFullName + Hex("4142") + kRuleBytes);

// Bytes in ascending order, so that every number is another.
Bytes Numbers(size_t n, uint8_t first) {
  Bytes bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(first + i);
  return bytes;
}
const Bytes kStatTlv = Tlv(8, Numbers(20, 1) + Hex("eeeeeeee") + Numbers(112, 0x40));
const Bytes kDiagTlv = Tlv(9, Hex("51525354 61626364"));
const Bytes kAllParts = kWordsTlv + kStatTlv + kCfgTlv + Tlv(77, {}) + kDiagTlv + kPathTlv;

// The three queries, each answered with `reply`.
const auto kAskSons = [](uint32_t* n, HQOS_SPSon* infos) {
  return HQOS_lib_GetBulkSPSon(&kPath, 0x01020304, n, infos);
};
const auto kAskStats = [](uint32_t* n, HQOS_SPSonStat* infos) {
  return HQOS_lib_GetBulkSPSonStat(nullptr, &kPath, 0x01020304, n, infos);
};
const auto kAskDiags = [](uint32_t* n, HQOS_SPSonDiag* infos) {
  return HQOS_lib_GetBulkSPSonDiag(nullptr, &kPath, 0x01020304, n, infos);
};
constexpr uint32_t kMost = HQOS_BULK_SPSON_MAX;
Asked<HQOS_SPSon> Sons(const Bytes& reply) { return {reply, kMost, kAskSons}; }
Asked<HQOS_SPSonStat> Stats(const Bytes& reply) { return {reply, kMost, kAskStats}; }
Asked<HQOS_SPSonDiag> Diags(const Bytes& reply) { return {reply, kMost, kAskDiags}; }

TEST(BulkRequest, IsWrittenAndRead) {
  for (const ObjCase& c : kObjCases) {
    const HQOS_AppObj obj = Object(c);
    Bytes out(1500);
    out.resize(HQOS_msg_EncapBulkReq(&obj, &kPath, 0x01020304, 1500, out.data()));
    EXPECT_EQ(out, Tlv(7, c.sent) + kPathTlv + kCountTlv);

    HQOS_AppObj expected{c.type, c.read, 0x01020304, {}};
    c.name.copy(expected.name, 47);
    const Bytes whole = Hex("00012345");
    for (const bool packed : {true, false}) {  // the value, by a writer that did not pack it
      if (!packed) std::copy(whole.begin(), whole.end(), out.begin() + 8);
      auto read = Filled<HQOS_AppObj>(kBefore);
      HQOS_SPSonPath path{};
      uint32_t count = 0;
      EXPECT_EQ(HQOS_msg_DecapBulkReq(out.data(), static_cast<uint16_t>(out.size()), &read, &path,
                                      &count),
                0u);
      EXPECT_TRUE(Same(read, expected)) << c.type;
      EXPECT_TRUE(Same(path, kPath));
      EXPECT_EQ(count, 0x01020304u);
    }
  }
  Bytes tight(17, 0xEE);
  EXPECT_EQ(HQOS_msg_EncapBulkReq(nullptr, &kPath, 1, 16, tight.data()), 16u);
  EXPECT_EQ(tight, kPathTlv + Hex("ee"));
}

TEST(BulkRequest, LeavesWhatIsMissingOrShort) {
  const Bytes whole = Tlv(7, kObjCases[0].sent);
  struct {
    Bytes record;
    bool obj, path, count;
  } const cases[] = {
      {{}, false, false, false},
      {kCountTlv + kPathTlv, false, true, true},
      {Tlv(9, {}) + kCountTlv, false, false, true},
      {Tlv(7, Bytes(59)) + kPathTlv, false, true, false},
      {Tlv(1, Bytes(11)) + whole, true, false, false},
      {Tlv(10, Bytes(3)) + whole + kPathTlv, true, true, false},
      {whole + kPathTlv + Tlv(10, Hex("00000009")) + kCountTlv, true, true, true},
  };
  for (const auto& c : cases) {
    auto obj = Filled<HQOS_AppObj>(kBefore);
    auto path = Filled<HQOS_SPSonPath>(kBefore);
    uint32_t count = kUntouched;
    HQOS_msg_DecapBulkReq(c.record.data(), static_cast<uint16_t>(c.record.size()), &obj, &path,
                          &count);
    EXPECT_EQ(obj.type, c.obj ? 1 : 0xEEEEEEEE);
    EXPECT_EQ(path.field[0], c.path ? 9 : 0xEEEE);
    EXPECT_EQ(count, c.count ? 0x01020304 : kUntouched);
  }
}

TEST(SPSons, AskWithTheirBytes) {
  const HQOS_AppObj obj = Object(kObjCases[3]);
  const Bytes reply = Message(2, 4, {}), path = kPathTlv + kCountTlv;
  const Bytes with = Tlv(7, kObjCases[3].sent) + path;
  const auto statsOf = [&](uint32_t* n, HQOS_SPSonStat* infos) {
    return HQOS_lib_GetBulkSPSonStat(&obj, &kPath, 0x01020304, n, infos);
  };
  const auto diagsOf = [&](uint32_t* n, HQOS_SPSonDiag* infos) {
    return HQOS_lib_GetBulkSPSonDiag(&obj, &kPath, 0x01020304, n, infos);
  };
  EXPECT_EQ(Sons(reply).seen.requests.at(0), Message(1, 4, Tlv(5, path)));
  EXPECT_EQ(Stats(reply).seen.requests.at(0), Message(1, 4, Tlv(6, path)));
  EXPECT_EQ(Asked<HQOS_SPSonStat>(reply, kMost, statsOf).seen.requests.at(0),
            Message(1, 4, Tlv(6, with)));
  EXPECT_EQ(Asked<HQOS_SPSonDiag>(reply, kMost, diagsOf).seen.requests.at(0),
            Message(1, 4, Tlv(7, with)));
}

TEST(SPSons, MakeARecordOfEveryContainer) {
  const Bytes reply = Message(2, 4, Tlv(1, kAllParts) + Tlv(2, {}) + Tlv(3, kPathTlv));
  const HQOS_SPSon full{
      {0x11121314, 0x21222324}, kPath, {0x3132, 0x4142, WIRE_NAME, WIRE_NAME, kRule}};
  const HQOS_SPSon empty{}, pathOnly{{}, kPath, {}};

  const auto sons = Sons(reply);
  EXPECT_EQ(sons.status, 0u);
  ASSERT_EQ(sons.count, 3u);
  EXPECT_TRUE(Same(sons.infos[0], full));
  EXPECT_TRUE(Same(sons.infos[1], empty));
  EXPECT_TRUE(Same(sons.infos[2], pathOnly));

  auto stat = Filled<HQOS_SPSonStat>(0);
  stat.son = full;
  for (uint32_t i = 0; i < 5; ++i) stat.counters.stat32[i] = 0x01020304 + i * 0x04040404;
  for (uint32_t i = 0; i < 14; ++i) {
    stat.counters.stat64[i] = 0x4041424344454647 + i * uint64_t{0x0808080808080808};
  }
  const auto stats = Stats(reply);
  ASSERT_EQ(stats.count, 3u);
  EXPECT_TRUE(Same(stats.infos[0], stat));

  const auto diags = Diags(reply);
  ASSERT_EQ(diags.count, 3u);
  EXPECT_TRUE(Same(diags.infos[0], HQOS_SPSonDiag{full, {0x51525354, 0x61626364}}));
  EXPECT_TRUE(Same(diags.infos[2], HQOS_SPSonDiag{pathOnly, {}}));
}

TEST(SPSons, PassOverShortParts) {
  const Bytes parts = Tlv(1, Bytes(11, 1)) + Tlv(2, Bytes(103, 1)) + Tlv(6, Bytes(7, 1)) +
                      Tlv(8, Bytes(135, 1)) + Tlv(9, Bytes(7, 1));
  const Bytes reply = Message(2, 4, Tlv(1, parts));
  EXPECT_TRUE(Same(Stats(reply).infos[0], Filled<HQOS_SPSonStat>(0)));
  EXPECT_TRUE(Same(Diags(reply).infos[0], HQOS_SPSonDiag{}));
}

TEST(SPSons, SurviveWhateverComes) {
  const auto refused = Sons(Status(5, ""));
  EXPECT_EQ(refused.status, 5u);
  EXPECT_EQ(refused.count, kUntouched);
  // As many containers as a datagram holds, the first one in the place of the head.
  EXPECT_EQ(Sons(Bytes(1500)).count, kMost);
  const Bytes container = Tlv(1, kAllParts);
  ExpectListSurvivesDamage<HQOS_SPSon>(container, kMost, kAskSons);
  ExpectListSurvivesDamage<HQOS_SPSonStat>(container, kMost, kAskStats);
  ExpectListSurvivesDamage<HQOS_SPSonDiag>(container, kMost, kAskDiags);
}

}  // namespace
