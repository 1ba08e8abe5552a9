#include "msg/layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "msg/tlv.h"
#include "tests/bytes.h"

namespace {

using hqos::Field;
using hqos::FieldsFit;
using hqos::kBigEndian;
using hqos::kRaw;
using hqos::kText;
using hqos::Table;
using wire::operator+;
using wire::Bytes;
using wire::Hex;

struct Inner {
  uint16_t low, high;
};
struct Outer {
  uint8_t byte;
  uint16_t two;
  uint32_t four;
  uint64_t eight;
  uint32_t asIs;
  uint8_t raw[3];
  Inner inner[2];
  char name[8];
};

constexpr auto kInner =
    Table<4>(Field{0, 2, kBigEndian, &Inner::low}, Field{2, 2, kBigEndian, &Inner::high});
constexpr auto kOuter =
    Table<44>(Field{0, 1, kBigEndian, &Outer::byte}, Field{2, 2, kBigEndian, &Outer::two},
              Field{4, 4, kBigEndian, &Outer::four}, Field{8, 8, kBigEndian, &Outer::eight},
              Field{16, 4, kRaw, &Outer::asIs}, Field{20, 3, kRaw, &Outer::raw},
              Field{24, 8, kInner, &Outer::inner}, Field{32, 8, kText, &Outer::name});

const Outer kRecord{0x11,
                    0x2122,
                    0x31323334,
                    0x4142434445464748,
                    0x51525354,
                    {0x61, 0x62, 0x63},
                    {{0x7172, 0x7374}, {0x7576, 0x7778}},
                    "name"};
const char kBytes[] =
    "11 00 21 22 31 32 33 34 41 42 43 44 45 46 47 48 54 53 52 51 61 62 63 00"
    "71 72 73 74 75 76 77 78 6e 61 6d 65 00 00 00 00 00 00 00 00";

TEST(Layout, DecodesWhatItEncodesAndNothingShorter) {
  Bytes bytes(44, 0xEE);
  hqos::Encode(kOuter, kRecord, bytes.data());
  EXPECT_EQ(bytes, Hex(kBytes));
  for (size_t length = 0; length <= bytes.size(); ++length) {
    Outer record{};
    record.two = 0x9999;
    // A copy of exactly that length, so that the sanitizer sees any byte too far.
    const Bytes value(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(length));
    const bool whole = length == bytes.size();
    ASSERT_EQ(hqos::Decode(kOuter, value.data(), length, record), whole) << length;
    if (!whole) {
      EXPECT_EQ(record.two, 0x9999);
      continue;
    }
    Bytes again(44);
    hqos::Encode(kOuter, record, again.data());
    EXPECT_EQ(again, bytes);
    EXPECT_EQ(record.asIs, kRecord.asIs);
    EXPECT_EQ(record.inner[1].high, 0x7778);
  }
}

TEST(Layout, TablesThatDoNotFitAreNoticed) {
  static_assert(
      FieldsFit<4>(Field{0, 2, kBigEndian, &Inner::low}, Field{2, 2, kBigEndian, &Inner::high}));
  static_assert(
      !FieldsFit<3>(Field{0, 2, kBigEndian, &Inner::low}, Field{2, 2, kBigEndian, &Inner::high}));
  static_assert(
      !FieldsFit<4>(Field{0, 2, kBigEndian, &Inner::low}, Field{1, 2, kBigEndian, &Inner::high}));
  static_assert(
      !FieldsFit<4>(Field{2, 2, kBigEndian, &Inner::high}, Field{0, 2, kBigEndian, &Inner::low}));
  static_assert(!FieldsFit<4>(Field{0, 4, kBigEndian, &Inner::low}));
  static_assert(!FieldsFit<8>(Field{0, 4, kText, &Outer::name}));
}

// The vectorised copy of texts against a plain one, byte by byte.
TEST(Layout, TextsEndAtTheirFirstNul) {
  std::mt19937 random(1);
  for (int round = 0; round < 20000; ++round) {
    char from[33] = {};
    for (int i = 0; i < 32; ++i)
      from[i] = static_cast<char>(random() % 4 == 0 ? random() % 3 * 127 + random() % 2 : random());
    const std::string text(from);
    std::string expected = text.substr(0, 31);
    expected.resize(32);
    char to[32];
    hqos::CopyText<32>(from, to);
    ASSERT_EQ(std::string(to, 32), expected);
  }
}

int CountTlvs(hqos::TlvWalk walk) {
  hqos::Tlv tlv;
  int count = 0;
  while (walk.Next(tlv)) ++count;
  EXPECT_FALSE(walk.Next(tlv));
  return count;
}

TEST(TlvWalk, NeverLeavesItsRoom) {
  const Bytes two = wire::Tlv(1, Hex("aa bb")) + wire::Tlv(2, {});
  for (size_t length = 0; length <= two.size(); ++length) {
    const Bytes room(two.begin(), two.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_EQ(CountTlvs({room.data(), static_cast<uint16_t>(length)}), length == two.size() ? 2
                                                                       : length >= 6        ? 1
                                                                                            : 0);
  }
  for (const char* length : {"00 05", "7f ff", "80 00", "ff fb", "ff fc", "ff ff"}) {
    const Bytes room = wire::Tlv(1, Hex("01")) + Hex("00 02") + Hex(length) + Hex("aa bb cc dd");
    EXPECT_EQ(CountTlvs({room.data(), static_cast<uint16_t>(room.size())}), 1) << length;
  }
}

TEST(TlvWalk, OfAMessageBeginsBehindItsHead) {
  for (const auto& [headLen, tlvs] :
       {std::pair(0, 3), {4, 2}, {8, 1}, {11, 0}, {12, 0}, {13, 0}, {255, 0}}) {
    Bytes message(12);  // TLVs without values, one after the other
    message[0] = static_cast<uint8_t>(headLen);
    const auto length = static_cast<uint16_t>(message.size());
    EXPECT_EQ(CountTlvs(hqos::WalkMessage(message.data(), length)), tlvs) << headLen;
  }
}

}  // namespace
