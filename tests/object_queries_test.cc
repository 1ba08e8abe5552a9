// Queries that read FGs, FCs, FPs and DPs, or list children of FGs, and the TLVs of an FP.
#include <gtest/gtest.h>

#include <string>

#include "hqos.h"
#include "tests/query.h"
#include "tests/rule_bytes.h"

namespace {

using namespace wire;
using wire::Same;  // beside the one below

// ---- The TLVs of an FP --------------------------------------------------------------------------

const HQOS_FPInfo kFP{"fp1",
                      0x0102,
                      15,
                      "dp one",
                      0x0304,
                      {0x11121314, 0x21222324, 0x31323334, 0x41424344},
                      {0x51525354, 0x61626364, 0x71727374},
                      0x81828384};
const Bytes kName = Tlv(1, Field("fp1", 32) + Hex("0102 0000"));
const Bytes kDPRef = Tlv(2, Field("dp one", 32) + Hex("0304 0000"));
const Bytes kGTS = Tlv(3, Hex("11121314 21222324 31323334 41424344"));
const Bytes kQueue = Tlv(4, Hex("51525354 61626364 71727374"));
const Bytes kBandwidth = Tlv(5, Hex("81828384"));
const Bytes kAllParts = kName + kDPRef + kGTS + kQueue + kBandwidth;

// The record with those settings alone.
HQOS_FPInfo With(uint32_t flags) {
  HQOS_FPInfo fp = kFP;
  fp.flags = flags;
  if ((flags & 1) == 0) memset(fp.gts, 0, sizeof fp.gts);
  if ((flags & 2) == 0) memset(fp.dpName, 0, sizeof fp.dpName), fp.dpId = 0xFFFF;
  if ((flags & 4) == 0) memset(fp.queue, 0, sizeof fp.queue);
  if ((flags & 8) == 0) fp.bandwidth = 0;
  return fp;
}

// Without the padding, which a copy need not keep.
bool Same(HQOS_FPInfo a, HQOS_FPInfo b) {
  for (HQOS_FPInfo* fp : {&a, &b}) {
    for (const size_t padding : {34u, 35u, 74u, 75u}) reinterpret_cast<char*>(fp)[padding] = 0;
  }
  return memcmp(&a, &b, sizeof a) == 0;
}

HQOS_FPInfo Decoded(const Bytes& tlvs) {
  auto fp = Filled<HQOS_FPInfo>(kBefore);
  HQOS_msg_DecapFPInfo(tlvs.data(), static_cast<uint16_t>(tlvs.size()), &fp);
  return fp;
}

TEST(FPInfo, TravelsAsTheTLVsOfItsFlags) {
  for (uint32_t flags = 0; flags < 32; ++flags) {
    HQOS_FPInfo fp = kFP;
    fp.flags = flags;
    const Bytes expected = kName + (flags & 2 ? kDPRef : Bytes()) + (flags & 1 ? kGTS : Bytes()) +
                           (flags & 4 ? kQueue : Bytes()) + (flags & 8 ? kBandwidth : Bytes());
    Bytes out(1500);
    out.resize(HQOS_msg_EncapFPInfo(&fp, 1500, out.data()));
    EXPECT_EQ(out, expected) << flags;
    EXPECT_TRUE(Same(Decoded(out), With(flags & 15))) << flags;
  }
}

TEST(FPInfo, LeavesOutWhatDoesNotFit) {
  const struct {
    uint16_t room;
    Bytes expected;
  } cases[] = {{124, kAllParts},
               {123, kName + kDPRef + kGTS + kQueue},
               {99, kName + kDPRef + kQueue},
               {39, kGTS + kQueue},
               {7, {}}};
  for (const auto& c : cases) {
    Bytes out(c.room);
    out.resize(HQOS_msg_EncapFPInfo(&kFP, c.room, out.data()));
    EXPECT_EQ(out, c.expected) << c.room;
  }
}

TEST(FPInfo, DecodesWhateverComes) {
  auto none = Filled<HQOS_FPInfo>(0);
  none.id = none.dpId = 0xFFFF;
  HQOS_FPInfo cut = With(2);
  std::string(31, 'n').copy(cut.name, 31), std::string(31, 'd').copy(cut.dpName, 31);
  const Bytes noNul = Tlv(1, Field(std::string(32, 'n'), 32) + Hex("0102 0000")) +
                      Tlv(2, Field(std::string(32, 'd'), 32) + Hex("0304 0000"));
  const struct {
    const char* what;
    Bytes tlvs;
    HQOS_FPInfo expected;
  } cases[] = {
      {"nothing", {}, none},
      {"names without NUL", noNul, cut},
      {"other order", kBandwidth + kQueue + kGTS + kDPRef + kName, kFP},
      {"strangers", Tlv(0, {}) + kName + Tlv(9, Bytes(40, 1)) + kQueue, With(4)},
      {"last one counts", Tlv(5, Hex("00000001")) + kName + kBandwidth, With(8)},
      {"short",
       kName + Tlv(2, Bytes(35)) + Tlv(3, Bytes(15)) + Tlv(4, Bytes(11)) + Tlv(5, Bytes(3)) + kGTS,
       With(1)},
      {"short name", Tlv(1, Bytes(35)), none},
      {"longer than known", kName + Tlv(5, Hex("81828384 ee")), With(8)},
      {"cut", kName + kQueue + Bytes(kGTS.begin(), kGTS.end() - 1), With(4)},
  };
  for (const auto& c : cases) EXPECT_TRUE(Same(Decoded(c.tlvs), c.expected)) << c.what;
}

// ---- Queries ------------------------------------------------------------------------------------

const HQOS_FGInfo kFG{WIRE_NAME, 0x0102};
const HQOS_FCInfo kFC{WIRE_NAME, 0x0102};
const Bytes kNamed = kFullName + Hex("0102");
const HQOS_DPInfo kDP{WIRE_NAME,
                      0x0304,
                      0x05060708,
                      {{10, 20, 100, 200},
                       {0x1112, 0x1314, 0x15161718, 0x191A1B1C},
                       {0x2122, 0x2324, 0x25262728, 0x292A2B2C}}};
const Bytes kDPValue = kFullName + Hex("0304 eeee 05060708 000a 0014 00000064 000000c8"
                                       "1112 1314 15161718 191a1b1c"
                                       "2122 2324 25262728 292a2b2c");
const HQOS_FGSonKey kSonKey{{1, 2, 0xFFFF}};
const HQOS_FGSon kSon{kSonKey, 0x04030201, WIRE_NAME, kRule, WIRE_NAME};
const Bytes kSonValue =
    Hex("01020304 0001 0002 ffff") + kFullName + Hex("eeee") + kRuleBytes + kFullName;

const std::string kLong(40, 'n');
const Bytes kLongKey = Field(std::string(31, 'n'), 32) + Hex("ffff 0000");

// A query for one object: its request, and what it makes of replies.
template <class Info>
void ExpectSingle(uint8_t opClass, uint16_t type, const Bytes& key, const Bytes& value,
                  const Info& expected, uint32_t (*query)(Info*)) {
  const auto ask = [query](const Bytes& reply) {
    return Asked<Info>(reply, 1, [query](uint32_t*, Info* info) { return query(info); });
  };
  const Bytes head = Message(2, opClass, {});
  const Asked<Info> good = ask(head + Tlv(77, value + Hex("ee")) + Tlv(1, {}));
  EXPECT_EQ(good.seen.requests.at(0), Message(1, opClass, Tlv(type, key)));
  EXPECT_EQ(good.status, 0u);
  EXPECT_TRUE(Same(good.infos[0], expected));
  const Bytes tooShort = Tlv(77, Bytes(value.begin(), value.end() - 1));
  for (const auto& [reply, status] : {std::pair<Bytes, uint32_t>(head, HQOS_ERR_BADREPLY),
                                      {head + tooShort + Tlv(77, value), HQOS_ERR_BADREPLY},
                                      {Status(5, "no"), 5}}) {
    const Asked<Info> refused = ask(reply);
    EXPECT_EQ(refused.status, status);
    EXPECT_TRUE(IsUntouched(refused.infos[0]));
  }
}

TEST(ObjectQueries, ReadOneObject) {
  ExpectSingle<HQOS_FGInfo>(2, 2, kLongKey, kNamed, kFG,
                            [](auto* i) { return HQOS_lib_GetFG(kLong.c_str(), i); });
  ExpectSingle<HQOS_FCInfo>(2, 3, kLongKey, kNamed, kFC,
                            [](auto* i) { return HQOS_lib_GetFC(kLong.c_str(), i); });
  ExpectSingle<HQOS_DPInfo>(2, 4, kLongKey, kDPValue, kDP,
                            [](auto* i) { return HQOS_lib_GetDP(kLong.c_str(), i); });
  ExpectSingle<HQOS_FGInfo>(3, 1, Hex("00001234"), kNamed, kFG,
                            [](auto* i) { return HQOS_lib_GetNextFG(0x1234, i); });
}

TEST(ObjectQueries, ReadAnFPOrClearIt) {
  const struct {
    Bytes reply;
    uint32_t status;
    HQOS_FPInfo expected;
  } cases[] = {{Message(2, 2, Tlv(77, kAllParts) + kName), 0, kFP},
               {Message(2, 2, {}), HQOS_ERR_BADREPLY, {}},
               {Status(5, "no"), 5, {}},
               {{}, HQOS_ERR_FAILED, {}}};
  for (const auto& c : cases) {
    const Asked<HQOS_FPInfo> asked(c.reply, 1, [](uint32_t*, HQOS_FPInfo* info) {
      return HQOS_lib_GetFP(kLong.c_str(), info);
    });
    EXPECT_EQ(asked.seen.requests.at(0), Message(1, 2, Tlv(5, kLongKey)));
    EXPECT_EQ(asked.status, c.status);
    EXPECT_TRUE(Same(asked.infos[0], c.expected));
  }
}

// A listing whose records have these bytes.
template <class Info, class Call>
void ExpectList(uint32_t most, uint16_t type, const Bytes& key, const Bytes& value,
                const Info& expected, Call call) {
  const Bytes head = Message(2, 4, {}), tlv = Tlv(77, value);
  const auto ask = [&](const Bytes& reply) { return Asked<Info>(reply, most, call); };
  const auto three = ask(head + tlv + Tlv(0x7001, value + Bytes(1)) + tlv);
  EXPECT_EQ(three.seen.requests.at(0), Message(1, 4, Tlv(type, key)));
  EXPECT_EQ(three.status, 0u);
  ASSERT_EQ(three.count, 3u);
  for (const size_t i : {0u, 1u, 2u}) EXPECT_TRUE(Same(three.infos[i], expected));
  ExpectListSurvivesDamage<Info>(tlv, most, call);
}

// What ends a listing, and how much a datagram holds. A flat one has one record a TLV, of a fixed
// layout, and ends at a shorter one.
template <class Info, class Call>
void ExpectEnds(uint32_t most, const Bytes& value, bool flat, Call call) {
  const Bytes head = Message(2, 4, {}), tlv = Tlv(77, value);
  // As many as a datagram holds, the first one in the place of the head.
  const Bytes shorter(value.begin(), value.end() - 1), smallest = flat ? tlv : Bytes(4);
  Bytes full;
  while (full.size() + smallest.size() <= 1500) full = full + smallest;
  full[0] = 0;
  const struct {
    Bytes reply;
    uint32_t status, count;
  } cases[] = {
      {head, 0, 0},
      {Status(5, ""), 5, kUntouched},
      {head + tlv + Tlv(77, shorter) + tlv, flat ? uint32_t{HQOS_ERR_BADREPLY} : 0, flat ? 1u : 3u},
      {full, 0, most},
  };
  for (const auto& c : cases) {
    const auto listing = Asked<Info>(c.reply, most, call);
    EXPECT_EQ(listing.status, c.status);
    EXPECT_EQ(listing.count, c.count);
  }
}

TEST(ObjectQueries, ListObjects) {
  const auto fcs = [](uint32_t* n, HQOS_FCInfo* i) { return HQOS_lib_GetAllFC(n, i); };
  const auto dps = [](uint32_t* n, HQOS_DPInfo* i) { return HQOS_lib_GetBulkDP(0xFFFF, 0, n, i); };
  const auto fps = [](uint32_t* n, HQOS_FPInfo* i) {
    return HQOS_lib_GetBulkFP(0x0102, 0xA1B2C3D4, n, i);
  };
  const auto sons = [](uint32_t* n, HQOS_FGSon* i) {
    return HQOS_lib_GetBulkFGSon(&kSonKey, 10, n, i);
  };
  ExpectList(HQOS_BULK_FC_MAX, 1, {}, kNamed, kFC, fcs);
  ExpectEnds<HQOS_FCInfo>(HQOS_BULK_FC_MAX, kNamed, true, fcs);
  ExpectList(HQOS_BULK_DP_MAX, 2, Hex("ffff 0000 00000000"), kDPValue, kDP, dps);
  ExpectEnds<HQOS_DPInfo>(HQOS_BULK_DP_MAX, kDPValue, true, dps);
  ExpectList(HQOS_BULK_FP_MAX, 3, Hex("0102 0000 a1b2c3d4"), kAllParts, kFP, fps);
  ExpectEnds<HQOS_FPInfo>(HQOS_BULK_FP_MAX, kAllParts, false, fps);
  ExpectList(HQOS_BULK_FGSON_MAX, 4, Hex("0001 0002 ffff 0000 0000000a"), kSonValue, kSon, sons);
  ExpectEnds<HQOS_FGSon>(HQOS_BULK_FGSON_MAX, kSonValue, true, sons);
}

}  // namespace
