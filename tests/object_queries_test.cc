// Queries that read FGs, FCs, FPs and DPs, and the TLVs of an FP.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "hqos.h"
#include "tests/wire.h"

namespace {

using wire::Bytes;
using wire::Field;
using wire::Hex;
using wire::Play;
using wire::Script;
using wire::Seen;
using wire::operator+;

// ---- The TLVs of an FP --------------------------------------------------------------------------

const HQOS_FPInfo kFP{"fp1",
                      0x0102,
                      15,
                      "dp one",
                      0x0304,
                      {0x11121314, 0x21222324, 0x31323334, 0x41424344},
                      {0x51525354, 0x61626364, 0x71727374},
                      0x81828384};
const Bytes kName = wire::Tlv(1, Field("fp1", 32) + Hex("0102 0000"));
const Bytes kDPRef = wire::Tlv(2, Field("dp one", 32) + Hex("0304 0000"));
const Bytes kGTS = wire::Tlv(3, Hex("11121314 21222324 31323334 41424344"));
const Bytes kQueue = wire::Tlv(4, Hex("51525354 61626364 71727374"));
const Bytes kBandwidth = wire::Tlv(5, Hex("81828384"));
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

template <class Record>
bool Same(const Record& a, const Record& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

// Without the padding, which a copy need not keep.
bool Same(HQOS_FPInfo a, HQOS_FPInfo b) {
  for (HQOS_FPInfo* fp : {&a, &b}) {
    for (const size_t padding : {34u, 35u, 74u, 75u}) reinterpret_cast<char*>(fp)[padding] = 0;
  }
  return memcmp(&a, &b, sizeof a) == 0;
}

HQOS_FPInfo Decoded(const Bytes& tlvs) {
  HQOS_FPInfo fp;
  memset(&fp, 0xEE, sizeof fp);
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
               {79, kName + kGTS + kQueue},
               {39, kGTS + kQueue},
               {7, {}}};
  for (const auto& c : cases) {
    Bytes out(c.room);
    out.resize(HQOS_msg_EncapFPInfo(&kFP, c.room, out.data()));
    EXPECT_EQ(out, c.expected) << c.room;
  }
}

TEST(FPInfo, DecodesWhateverComes) {
  HQOS_FPInfo none;
  memset(&none, 0, sizeof none);
  none.id = none.dpId = 0xFFFF;
  HQOS_FPInfo longName = none;
  std::string(31, 'n').copy(longName.name, 31);
  longName.id = 0;
  const Bytes other = wire::Tlv(5, Hex("00000001"));
  const struct {
    const char* what;
    Bytes tlvs;
    HQOS_FPInfo expected;
  } cases[] = {
      {"nothing", {}, none},
      {"other order", kBandwidth + kQueue + kGTS + kDPRef + kName, kFP},
      {"strangers", wire::Tlv(0, {}) + kName + wire::Tlv(9, Bytes(40, 1)) + kQueue, With(4)},
      {"last one counts", other + kName + kBandwidth, With(8)},
      {"short",
       kName + wire::Tlv(2, Bytes(35)) + wire::Tlv(3, Bytes(15)) + wire::Tlv(4, Bytes(11)) +
           wire::Tlv(5, Bytes(3)) + kGTS,
       With(1)},
      {"short name", wire::Tlv(1, Bytes(35)), none},
      {"longer than known", kName + wire::Tlv(5, Hex("81828384 ee")), With(8)},
      {"name without NUL", wire::Tlv(1, Field(std::string(32, 'n'), 36)), longName},
      {"cut", kName + kQueue + Bytes(kGTS.begin(), kGTS.end() - 1), With(4)},
  };
  for (const auto& c : cases) EXPECT_TRUE(Same(Decoded(c.tlvs), c.expected)) << c.what;
}

// ---- Queries ------------------------------------------------------------------------------------

const HQOS_FGInfo kFG{"fg one", 0x0102};
const HQOS_FCInfo kFC{"fg one", 0x0102};
const Bytes kNamed = Field("fg one", 32) + Hex("0102");
const HQOS_DPInfo kDP{"dp one",
                      0x0304,
                      0x05060708,
                      {{10, 20, 100, 200},
                       {0x1112, 0x1314, 0x15161718, 0x191A1B1C},
                       {0x2122, 0x2324, 0x25262728, 0x292A2B2C}}};
const Bytes kDPValue = Field("dp one", 32) + Hex("0304 eeee 05060708 000a 0014 00000064 000000c8"
                                                 "1112 1314 15161718 191a1b1c"
                                                 "2122 2324 25262728 292a2b2c");

const std::string kLong(40, 'n');
const Bytes kLongKey = Field(std::string(31, 'n'), 32) + Hex("ffff 0000");
constexpr uint32_t kUntouched = 0xEEEE;

// A query for one object, answered with `reply`.
template <class Info>
struct Single {
  uint32_t status;
  Info info;
  Seen seen;

  template <class Call>
  Single(const Bytes& reply, Call call) {
    memset(&info, 0xEE, sizeof info);
    Script script;
    script.reply = reply;
    status = Play(script, seen, [&] { return call(&info); });
  }
  bool IsUntouched() const {
    Info untouched;
    memset(&untouched, 0xEE, sizeof untouched);
    return Same(info, untouched);
  }
};

template <class Info, class Call>
void ExpectSingle(Call call, uint8_t opClass, uint16_t type, const Bytes& key, const Bytes& value,
                  const Info& expected) {
  const Bytes head = wire::Message(2, opClass, {});
  const Single<Info> good(head + wire::Tlv(77, value + Hex("ee")) + wire::Tlv(1, {}), call);
  EXPECT_EQ(good.seen.requests[0], wire::Message(1, opClass, wire::Tlv(type, key)));
  EXPECT_EQ(good.status, 0u);
  EXPECT_TRUE(Same(good.info, expected));
  const Bytes tooShort(value.begin(), value.end() - 1);
  for (const Bytes& bad : {head, head + wire::Tlv(77, tooShort) + wire::Tlv(77, value)}) {
    const Single<Info> refused(bad, call);
    EXPECT_EQ(refused.status, uint32_t{HQOS_ERR_BADREPLY});
    EXPECT_TRUE(refused.IsUntouched());
  }
  const Single<Info> refused(wire::Status(5, "no"), call);
  EXPECT_EQ(refused.status, 5u);
  EXPECT_TRUE(refused.IsUntouched());
}

TEST(ObjectQueries, ReadOneObject) {
  ExpectSingle([](HQOS_FGInfo* i) { return HQOS_lib_GetFG(kLong.c_str(), i); }, 2, 2, kLongKey,
               kNamed, kFG);
  ExpectSingle([](HQOS_FCInfo* i) { return HQOS_lib_GetFC(kLong.c_str(), i); }, 2, 3, kLongKey,
               kNamed, kFC);
  ExpectSingle([](HQOS_DPInfo* i) { return HQOS_lib_GetDP(kLong.c_str(), i); }, 2, 4, kLongKey,
               kDPValue, kDP);
  ExpectSingle([](HQOS_FGInfo* i) { return HQOS_lib_GetNextFG(0x1234, i); }, 3, 1, Hex("00001234"),
               kNamed, kFG);
}

TEST(ObjectQueries, ReadAnFPOrClearIt) {
  const auto call = [](HQOS_FPInfo* i) { return HQOS_lib_GetFP(kLong.c_str(), i); };
  const Single<HQOS_FPInfo> good(wire::Message(2, 2, wire::Tlv(77, kAllParts) + kName), call);
  EXPECT_EQ(good.seen.requests[0], wire::Message(1, 2, wire::Tlv(5, kLongKey)));
  EXPECT_EQ(good.status, 0u);
  EXPECT_TRUE(Same(good.info, kFP));
  HQOS_FPInfo cleared;
  memset(&cleared, 0, sizeof cleared);
  for (const auto& [reply, status] :
       {std::pair<Bytes, uint32_t>(wire::Message(2, 2, {}), HQOS_ERR_BADREPLY),
        {wire::Status(5, "no"), 5},
        {{}, HQOS_ERR_FAILED}}) {
    const Single<HQOS_FPInfo> refused(reply, call);
    EXPECT_EQ(refused.status, status);
    EXPECT_TRUE(Same(refused.info, cleared));
  }
}

// A listing, answered with `reply`. The array has just the room that the header names.
template <class Info>
struct Listing {
  std::vector<Info> infos;
  uint32_t status, count = kUntouched;
  Seen seen;

  template <class Call>
  Listing(const Bytes& reply, uint32_t most, Call call) : infos(most) {
    memset(static_cast<void*>(infos.data()), 0xEE, most * sizeof(Info));
    Script script;
    script.reply = reply;
    status = Play(script, seen, [&] { return call(&count, infos.data()); });
  }
};

// A listing as the cases below need it. A flat one has one record a TLV, of a fixed layout.
template <class Info, class Call>
struct Lister {
  Call call;
  uint32_t most;
  bool flat;

  Listing<Info> operator()(const Bytes& reply) const { return {reply, most, call}; }
};

template <class Info, class Call>
void ExpectListing(const Lister<Info, Call>& list, uint16_t type, const Bytes& key,
                   const Bytes& value, const Info& expected) {
  const Bytes head = wire::Message(2, 4, {}), tlv = wire::Tlv(77, value);
  const auto three = list(head + tlv + wire::Tlv(0x7001, value + Bytes(1)) + tlv);
  EXPECT_EQ(three.seen.requests[0], wire::Message(1, 4, wire::Tlv(type, key)));
  EXPECT_EQ(three.status, 0u);
  ASSERT_EQ(three.count, 3u);
  for (const size_t i : {0u, 1u, 2u}) EXPECT_TRUE(Same(three.infos[i], expected));
  const Bytes shorter(value.begin(), value.end() - 1);
  const struct {
    Bytes reply;
    uint32_t status, count;
  } cases[] = {
      {head, 0, 0},
      {wire::Status(5, ""), 5, kUntouched},
      {head + tlv + wire::Tlv(77, shorter) + tlv, list.flat ? uint32_t{HQOS_ERR_BADREPLY} : 0,
       list.flat ? 1u : 3u},
  };
  for (const auto& c : cases) {
    const auto listing = list(c.reply);
    EXPECT_EQ(listing.status, c.status);
    EXPECT_EQ(listing.count, c.count);
  }
}

template <class Info, class Call>
void ExpectBounds(const Lister<Info, Call>& list, const Bytes& value) {
  const Bytes tlv = wire::Tlv(77, value);
  // As many as a datagram holds, the first one in the place of the head.
  const Bytes smallest = list.flat ? tlv : Bytes(4);
  Bytes full;
  while (full.size() + smallest.size() <= 1500) full = full + smallest;
  full[0] = 0;
  EXPECT_EQ(list(full).count, list.most);
  for (const Bytes& reply : wire::Damaged(wire::Message(2, 4, tlv + tlv + tlv))) {
    const auto damaged = list(reply);
    if (damaged.count == kUntouched) continue;
    ASSERT_LE(damaged.count, list.most);
    if (damaged.count == list.most) continue;
    Info untouched;
    memset(&untouched, 0xEE, sizeof untouched);
    ASSERT_TRUE(Same(damaged.infos[damaged.count], untouched));
  }
}

template <class Info, class Call>
void ExpectList(Call call, uint32_t most, uint16_t type, const Bytes& key, const Bytes& value,
                const Info& expected, bool flat) {
  const Lister<Info, Call> list{call, most, flat};
  ExpectListing(list, type, key, value, expected);
  ExpectBounds(list, value);
}

TEST(ObjectQueries, ListObjects) {
  ExpectList([](uint32_t* n, HQOS_FCInfo* i) { return HQOS_lib_GetAllFC(n, i); }, HQOS_BULK_FC_MAX,
             1, {}, kNamed, kFC, true);
  ExpectList([](uint32_t* n, HQOS_DPInfo* i) { return HQOS_lib_GetBulkDP(0xFFFF, 0, n, i); },
             HQOS_BULK_DP_MAX, 2, Hex("ffff 0000 00000000"), kDPValue, kDP, true);
  ExpectList(
      [](uint32_t* n, HQOS_FPInfo* i) { return HQOS_lib_GetBulkFP(0x0102, 0xA1B2C3D4, n, i); },
      HQOS_BULK_FP_MAX, 3, Hex("0102 0000 a1b2c3d4"), kAllParts, kFP, false);
}

}  // namespace
