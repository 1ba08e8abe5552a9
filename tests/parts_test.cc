// Messages in parts: what the library writes and reads for services.
#include <gtest/gtest.h>

#include "hqos.h"
#include "msg/state_file.h"
#include "tests/bytes.h"
#include "tests/records.h"

namespace {

using namespace wire;

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

TEST(FPInfo, IsWrittenAsTheTLVsOfItsFlags) {
  for (uint32_t flags = 0; flags < 32; ++flags) {
    HQOS_FPInfo fp = kFP;
    fp.flags = flags;
    const Bytes expected = kName + (flags & 2 ? kDPRef : Bytes()) + (flags & 1 ? kGTS : Bytes()) +
                           (flags & 4 ? kQueue : Bytes()) + (flags & 8 ? kBandwidth : Bytes());
    Bytes out(1500);
    out.resize(HQOS_msg_EncapFPInfo(&fp, 1500, out.data()));
    EXPECT_EQ(out, expected) << flags;
    auto read = Filled<HQOS_FPInfo>(kBefore);
    HQOS_msg_DecapFPInfo(out.data(), static_cast<uint16_t>(out.size()), &read);
    Bytes again(out.size());
    HQOS_msg_EncapFPInfo(&read, static_cast<uint16_t>(again.size()), again.data());
    EXPECT_EQ(again, out) << flags;
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

const Bytes kPathTlv = Tlv(1, Hex("0009 0001 0002 0003 ffff ffff"));
const Bytes kCountTlv = Tlv(10, Hex("01020304"));
const Bytes kObjTlv = Tlv(7, Hex("00000001 00012345 01020304") + Field("a", 48));

TEST(BulkRequest, IsWrittenAndRead) {
  const HQOS_SPSonPath path{{9, 1, 2, 3, 0xFFFF, 0xFFFF}};
  Bytes tight(17, 0xEE);
  EXPECT_EQ(HQOS_msg_EncapBulkReq(nullptr, &path, 1, 16, tight.data()), 16u);
  EXPECT_EQ(tight, kPathTlv + Hex("ee"));

  const Bytes whole = kObjTlv + kPathTlv + kCountTlv;  // the value is not packed
  auto obj = Filled<HQOS_AppObj>(kBefore);
  auto readPath = Filled<HQOS_SPSonPath>(kBefore);
  uint32_t count = 0;
  EXPECT_EQ(HQOS_msg_DecapBulkReq(whole.data(), static_cast<uint16_t>(whole.size()), &obj,
                                  &readPath, &count),
            0u);
  EXPECT_TRUE(Same(obj, HQOS_AppObj{1, 0x2345, 0x01020304, "a"}));
  EXPECT_TRUE(Same(readPath, path));
  EXPECT_EQ(count, 0x01020304u);
  Bytes out(1500);
  out.resize(HQOS_msg_EncapBulkReq(&obj, &path, count, 1500, out.data()));
  EXPECT_EQ(out, Tlv(7, Hex("00000001 00002345 01020304") + Field("a", 48)) + kPathTlv + kCountTlv);
}

TEST(BulkRequest, LeavesWhatIsMissingOrShort) {
  const Bytes whole = kObjTlv;
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
    uint32_t count = 0xEEEEu;
    HQOS_msg_DecapBulkReq(c.record.data(), static_cast<uint16_t>(c.record.size()), &obj, &path,
                          &count);
    EXPECT_EQ(obj.type, c.obj ? 1 : 0xEEEEEEEE);
    EXPECT_EQ(path.field[0], c.path ? 9 : 0xEEEE);
    EXPECT_EQ(count, c.count ? 0x01020304 : 0xEEEEu);
  }
}

// The record has these bytes, and is read from them.
template <class Layout, class Record>
void ExpectBytes(const Layout& layout, const Record& record, const Bytes& bytes) {
  Bytes out(Layout::size);
  hqos::Encode(layout, record, out.data());
  EXPECT_EQ(out, bytes);
  Record read{};
  EXPECT_TRUE(hqos::Decode(layout, bytes.data(), bytes.size(), read));
  hqos::Encode(layout, read, out.data());
  EXPECT_EQ(out, bytes);
}

TEST(StateFile, HasTheseBytes) {
  constexpr uint64_t kLong = 0x0102030405060708;
  const Bytes bytesOfLong = Hex("0102030405060708");
  ExpectBytes(hqos::kStateHead,
              hqos::StateHead{1, 0x11121314, 0x21222324, 0x31323334, kLong, kLong + 1, 0x41424344,
                              0x51525354, "why"},
              Hex("00000001 11121314 21222324 31323334") + bytesOfLong + Hex("0102030405060709") +
                  Hex("41424344 51525354") + Field("why", 128));
  ExpectBytes(hqos::kExportKey, hqos::ExportKey{0x11121314, kLong}, Hex("11121314") + bytesOfLong);
  ExpectBytes(hqos::kRevision, hqos::Revision{kLong}, bytesOfLong);
  ExpectBytes(hqos::kStateRefusal, hqos::StateRefusal{0x11121314, 0x21222324},
              Hex("11121314 21222324"));
  ExpectBytes(hqos::kKeptState, hqos::KeptState{kLong, kLong + 1, "root", "why"},
              bytesOfLong + Hex("0102030405060709") + Field("root", 32) + Field("why", 128));
  ExpectBytes(hqos::kServiceStatus,
              hqos::ServiceStatus{
                  kLong, {1, 2, 3, 4, 5}, 6, 7, 8, 9, {10, 11, 12, 13, 14, 15}, 16, kLong + 1},
              bytesOfLong + Hex("00000001 00000002 00000003 00000004 00000005 00000006") +
                  Hex("0000000000000007 0000000000000008 0000000000000009 000000000000000a") +
                  Hex("000000000000000b 000000000000000c 000000000000000d 000000000000000e") +
                  Hex("000000000000000f 0000000000000010 0102030405060709"));
}

}  // namespace
