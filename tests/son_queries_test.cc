// Listings of children, and the bulk request record that asks for them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "hqos.h"
#include "tests/app_objects.h"
#include "tests/rule_bytes.h"
#include "tests/wire.h"

namespace {

using wire::Bytes;
using wire::Field;
using wire::Hex;
using wire::kObjCases;
using wire::kRule;
using wire::kRuleBytes;
using wire::ObjCase;
using wire::Object;
using wire::Play;
using wire::Script;
using wire::Seen;
using wire::operator+;

constexpr uint32_t kUntouched = 0xEEEE;

const HQOS_SPSonPath kPath{{9, 1, 2, 3, 0xFFFF, 0xFFFF}};
const Bytes kPathTlv = wire::Tlv(1, Hex("0009 0001 0002 0003 ffff ffff"));
const Bytes kCountTlv = wire::Tlv(10, Hex("01020304"));
const Bytes kWordsTlv = wire::Tlv(6, Hex("11121314 21222324"));
const Bytes kCfgTlv = wire::Tlv(
    2, Hex("3132") + Field("name one", 32) + Field("name two", 32) + Hex("4142") + kRuleBytes);

// Bytes in ascending order, so that every number is another.
Bytes Numbers(size_t n, uint8_t first) {
  Bytes bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(first + i);
  return bytes;
}
const Bytes kStatTlv = wire::Tlv(8, Numbers(20, 1) + Hex("eeeeeeee") + Numbers(112, 0x40));
const Bytes kDiagTlv = wire::Tlv(9, Hex("51525354 61626364"));

HQOS_SPSon FullSon() {
  return {{0x11121314, 0x21222324}, kPath, {0x3132, 0x4142, "name one", "name two", kRule}};
}

template <class Record>
bool Same(const Record& a, const Record& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

// One query of the three, answered with `reply`.
template <class Record, class Call>
struct Listing {
  std::vector<Record> infos{HQOS_BULK_SPSON_MAX};
  uint32_t status, count = kUntouched;
  Seen seen;

  Listing(const Bytes& reply, Call call) {
    memset(static_cast<void*>(infos.data()), 0xEE, infos.size() * sizeof(Record));
    Script script;
    script.reply = reply;
    status = Play(script, seen, [&] { return call(&count, infos.data()); });
  }
};

auto Sons(const Bytes& reply) {
  const auto call = [](uint32_t* n, HQOS_SPSon* infos) {
    return HQOS_lib_GetBulkSPSon(&kPath, 0x01020304, n, infos);
  };
  return Listing<HQOS_SPSon, decltype(call)>(reply, call);
}
auto Stats(const Bytes& reply, const HQOS_AppObj* obj) {
  const auto call = [obj](uint32_t* n, HQOS_SPSonStat* infos) {
    return HQOS_lib_GetBulkSPSonStat(obj, &kPath, 0x01020304, n, infos);
  };
  return Listing<HQOS_SPSonStat, decltype(call)>(reply, call);
}
auto Diags(const Bytes& reply, const HQOS_AppObj* obj) {
  const auto call = [obj](uint32_t* n, HQOS_SPSonDiag* infos) {
    return HQOS_lib_GetBulkSPSonDiag(obj, &kPath, 0x01020304, n, infos);
  };
  return Listing<HQOS_SPSonDiag, decltype(call)>(reply, call);
}

Bytes Reply(const Bytes& containers) { return wire::Message(2, 4, containers); }

TEST(BulkRequest, IsWrittenAndRead) {
  for (const ObjCase& c : kObjCases) {
    const HQOS_AppObj obj = Object(c);
    Bytes out(1500);
    out.resize(HQOS_msg_EncapBulkReq(&obj, &kPath, 0x01020304, 1500, out.data()));
    EXPECT_EQ(out, wire::Tlv(7, c.sent) + kPathTlv + kCountTlv);

    HQOS_AppObj read;
    HQOS_SPSonPath path{};
    uint32_t count = 0;
    memset(&read, 0xEE, sizeof read);
    EXPECT_EQ(
        HQOS_msg_DecapBulkReq(out.data(), static_cast<uint16_t>(out.size()), &read, &path, &count),
        0u);
    HQOS_AppObj expected{c.type, c.read, 0x01020304, {}};
    c.name.copy(expected.name, 47);
    EXPECT_TRUE(Same(read, expected)) << c.type;
    EXPECT_TRUE(Same(path, kPath));
    EXPECT_EQ(count, 0x01020304u);
  }
  Bytes out(1500);
  out.resize(HQOS_msg_EncapBulkReq(nullptr, &kPath, 0x01020304, 1500, out.data()));
  EXPECT_EQ(out, kPathTlv + kCountTlv);
  Bytes tight(17, 0xEE);
  EXPECT_EQ(HQOS_msg_EncapBulkReq(nullptr, &kPath, 1, 16, tight.data()), 16u);
  EXPECT_EQ(tight, kPathTlv + Hex("ee"));
}

// A value that another writer did not pack.
TEST(BulkRequest, UnpacksTheValueByItsType) {
  const uint32_t values[] = {0, 0x2345, 0x2345, 0, 0x12345, 0};
  for (uint8_t type = 1; type <= 5; ++type) {
    const Bytes record =
        wire::Tlv(7, Bytes{0, 0, 0, type} + Hex("00012345 00000000") + Bytes(48, 'n'));
    HQOS_AppObj obj{};
    HQOS_SPSonPath path;
    uint32_t count;
    HQOS_msg_DecapBulkReq(record.data(), static_cast<uint16_t>(record.size()), &obj, &path, &count);
    EXPECT_EQ(obj.value, values[type]) << int{type};
    EXPECT_EQ(obj.name, std::string(47, 'n'));
  }
}

TEST(BulkRequest, LeavesWhatIsMissingOrShort) {
  const Bytes whole = wire::Tlv(7, kObjCases[0].sent);
  struct {
    Bytes record;
    bool obj, path, count;
  } const cases[] = {
      {{}, false, false, false},
      {Hex("0001"), false, false, false},
      {kCountTlv + kPathTlv, false, true, true},
      {wire::Tlv(9, {}) + kCountTlv, false, false, true},
      {wire::Tlv(7, Bytes(59)) + kPathTlv, false, true, false},
      {wire::Tlv(1, Bytes(11)) + whole, true, false, false},
      {wire::Tlv(10, Bytes(3)) + whole + kPathTlv, true, true, false},
      {whole + kPathTlv + wire::Tlv(10, Hex("00000009")) + kCountTlv, true, true, true},
  };
  for (const auto& c : cases) {
    HQOS_AppObj obj;
    HQOS_SPSonPath path;
    uint32_t count = kUntouched;
    memset(&obj, 0xEE, sizeof obj);
    memset(&path, 0xEE, sizeof path);
    HQOS_msg_DecapBulkReq(c.record.data(), static_cast<uint16_t>(c.record.size()), &obj, &path,
                          &count);
    EXPECT_EQ(obj.type, c.obj ? 1 : 0xEEEEEEEE);
    EXPECT_EQ(path.field[0], c.path ? 9 : 0xEEEE);
    EXPECT_EQ(count, c.count ? 0x01020304 : kUntouched);
  }
}

TEST(SPSons, AskWithTheirBytes) {
  const HQOS_AppObj obj = Object(kObjCases[3]);
  const Bytes with = wire::Tlv(7, kObjCases[3].sent) + kPathTlv + kCountTlv;
  const auto request = [](uint16_t type, const Bytes& payload) {
    return std::vector<Bytes>{wire::Message(1, 4, wire::Tlv(type, payload))};
  };
  EXPECT_EQ(Sons(Reply({})).seen.requests, request(5, kPathTlv + kCountTlv));
  EXPECT_EQ(Stats(Reply({}), &obj).seen.requests, request(6, with));
  EXPECT_EQ(Stats(Reply({}), nullptr).seen.requests, request(6, kPathTlv + kCountTlv));
  EXPECT_EQ(Diags(Reply({}), &obj).seen.requests, request(7, with));
}

TEST(SPSons, MakeARecordOfEveryContainer) {
  const Bytes all = kWordsTlv + kStatTlv + kCfgTlv + wire::Tlv(77, {}) + kDiagTlv + kPathTlv;
  const Bytes reply = Reply(wire::Tlv(1, all) + wire::Tlv(2, {}) + wire::Tlv(3, kPathTlv));
  const HQOS_SPSon full = FullSon(), empty{}, pathOnly{{}, kPath, {}};

  const auto sons = Sons(reply);
  EXPECT_EQ(sons.status, 0u);
  ASSERT_EQ(sons.count, 3u);
  EXPECT_TRUE(Same(sons.infos[0], full));
  EXPECT_TRUE(Same(sons.infos[1], empty));
  EXPECT_TRUE(Same(sons.infos[2], pathOnly));
  EXPECT_EQ(sons.infos[3].words[0], 0xEEEEEEEE);

  HQOS_SPSonStat stat;
  memset(&stat, 0, sizeof stat);
  stat.son = full;
  for (uint32_t i = 0; i < 5; ++i) stat.counters.stat32[i] = 0x01020304 + i * 0x04040404;
  for (uint32_t i = 0; i < 14; ++i) {
    stat.counters.stat64[i] = 0x4041424344454647 + i * uint64_t{0x0808080808080808};
  }
  const auto stats = Stats(reply, nullptr);
  ASSERT_EQ(stats.count, 3u);
  EXPECT_TRUE(Same(stats.infos[0], stat));

  const auto diags = Diags(reply, nullptr);
  ASSERT_EQ(diags.count, 3u);
  EXPECT_TRUE(Same(diags.infos[0], HQOS_SPSonDiag{full, {0x51525354, 0x61626364}}));
  EXPECT_TRUE(Same(diags.infos[2], HQOS_SPSonDiag{pathOnly, {}}));
}

TEST(SPSons, PassOverShortParts) {
  const Bytes parts = wire::Tlv(1, Bytes(11, 1)) + wire::Tlv(2, Bytes(103, 1)) +
                      wire::Tlv(6, Bytes(7, 1)) + wire::Tlv(8, Bytes(135, 1)) +
                      wire::Tlv(9, Bytes(7, 1));
  const Bytes reply = Reply(wire::Tlv(1, parts));
  HQOS_SPSonStat empty;
  memset(&empty, 0, sizeof empty);
  EXPECT_TRUE(Same(Stats(reply, nullptr).infos[0], empty));
  EXPECT_TRUE(Same(Diags(reply, nullptr).infos[0], HQOS_SPSonDiag{}));
}

TEST(SPSons, LeaveOutputsWhenRefused) {
  const auto refused = Sons(wire::Status(5, ""));
  EXPECT_EQ(refused.status, 5u);
  EXPECT_EQ(refused.count, kUntouched);
  const auto none = Sons(Reply({}));
  EXPECT_EQ(none.status, 0u);
  EXPECT_EQ(none.count, 0u);
}

// As many containers as a datagram holds, the first one in the place of the head.
TEST(SPSons, NeverExceedTheirMost) {
  const auto sons = Sons(Bytes(1500));
  EXPECT_EQ(sons.status, 0u);
  EXPECT_EQ(sons.count, uint32_t{HQOS_BULK_SPSON_MAX});
}

const Bytes kFGSonValue = Hex("01020304 0001 0002 ffff") + Field("one", 32) + Hex("eeee") +
                          kRuleBytes + Field(std::string(32, 't'), 32);

struct FGListing {
  HQOS_FGSon infos[HQOS_BULK_FGSON_MAX];
  uint32_t status, count = kUntouched;
  Seen seen;

  explicit FGListing(const Bytes& reply) {
    memset(infos, 0xEE, sizeof infos);
    Script script;
    script.reply = reply;
    const HQOS_FGSonKey key{{1, 2, 0xFFFF}};
    status = Play(script, seen, [&] { return HQOS_lib_GetBulkFGSon(&key, 10, &count, infos); });
  }
};

TEST(FGSons, AskAndDecode) {
  const Bytes tlv = wire::Tlv(4, kFGSonValue);
  const FGListing listing(Reply(tlv + wire::Tlv(9, kFGSonValue + Bytes(1)) + tlv));
  EXPECT_EQ(listing.seen.requests[0],
            wire::Message(1, 4, wire::Tlv(4, Hex("0001 0002 ffff 0000 0000000a"))));
  EXPECT_EQ(listing.status, 0u);
  ASSERT_EQ(listing.count, 3u);
  HQOS_FGSon expected{{{1, 2, 0xFFFF}}, 0x04030201, "one", kRule, {}};
  std::string(31, 't').copy(expected.name2, 31);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Same(listing.infos[i], expected)) << i;
}

TEST(FGSons, EndAtAShortRecord) {
  const Bytes tlv = wire::Tlv(4, kFGSonValue);
  const FGListing listing(Reply(tlv + wire::Tlv(4, Bytes(111)) + tlv));
  EXPECT_EQ(listing.status, uint32_t{HQOS_ERR_BADREPLY});
  EXPECT_EQ(listing.count, 1u);
  EXPECT_EQ(FGListing(wire::Status(5, "")).count, kUntouched);
  EXPECT_EQ(FGListing(Reply({})).count, 0u);
  // The most that fit into a datagram.
  Bytes full;
  for (int i = 0; i < 12; ++i) full = full + tlv;
  EXPECT_EQ(FGListing(Reply(full)).count, uint32_t{HQOS_BULK_FGSON_MAX});
}

// Whatever comes out, the records behind those counted are untouched.
template <class Record>
void ExpectUntouched(uint32_t count, uint32_t most, const Record* infos) {
  if (count == kUntouched) count = 0;
  ASSERT_LE(count, most);
  if (count == most) return;
  Record untouched;
  memset(static_cast<void*>(&untouched), 0xEE, sizeof untouched);
  ASSERT_TRUE(Same(infos[count], untouched));
}

TEST(SPSons, SurviveCutsAndMutations) {
  const Bytes all = kWordsTlv + kStatTlv + kCfgTlv + kDiagTlv + kPathTlv;
  const Bytes whole = Reply(wire::Tlv(1, all) + wire::Tlv(1, all));
  for (const Bytes& reply : wire::Damaged(whole)) {
    const auto sons = Sons(reply);
    ExpectUntouched(sons.count, HQOS_BULK_SPSON_MAX, sons.infos.data());
    const auto stats = Stats(reply, nullptr);
    ExpectUntouched(stats.count, HQOS_BULK_SPSON_MAX, stats.infos.data());
    const auto diags = Diags(reply, nullptr);
    ExpectUntouched(diags.count, HQOS_BULK_SPSON_MAX, diags.infos.data());
    if (reply.size() == whole.size()) continue;
    const size_t length = reply.size();
    EXPECT_EQ(stats.status, length < 8 ? uint32_t{HQOS_ERR_BADREPLY} : 0u);
    EXPECT_EQ(stats.count, length < 8 ? kUntouched : length >= 8 + 4 + all.size() ? 1u : 0u);
  }
}

TEST(FGSons, SurviveCutsAndMutations) {
  const Bytes tlv = wire::Tlv(4, kFGSonValue);
  for (const Bytes& reply : wire::Damaged(Reply(tlv + tlv + tlv))) {
    const FGListing listing(reply);
    ExpectUntouched(listing.count, HQOS_BULK_FGSON_MAX, listing.infos);
  }
}

}  // namespace
