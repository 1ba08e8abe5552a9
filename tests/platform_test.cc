// The host's TLVs, texts and interfaces; its bitmaps against plain vectors of bits.
#include <gtest/gtest.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/bitmap.h"
#include "platform/interface.h"
#include "platform/stlv.h"
#include "platform/text.h"

namespace {

TEST(Stlv, HasABigEndianHeaderAndNoPadding) {
  uint8_t buf[8];
  memset(buf, 0xEE, sizeof buf);
  EXPECT_EQ(STLV_Set(buf, 7, 0x7000, 3, "abc"), 7u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 8), std::string("\x70\0\0\3abc\xEE", 8));
  EXPECT_EQ(STLV_Set(buf, 4, 0x0102, 0, nullptr), 4u);
  EXPECT_EQ(memcmp(buf, "\1\2\0\0abc", 7), 0);
}

TEST(Stlv, WritesNothingThatDoesNotFit) {
  uint8_t buf[8] = "untouch";
  const uint8_t value[1] = {1};
  EXPECT_EQ(STLV_Set(buf, 4, 1, 1, value), 0u);
  EXPECT_EQ(STLV_Set(buf, 3, 1, 0, nullptr), 0u);
  EXPECT_EQ(STLV_Set(buf, 8, 1, 0xFFFF, value), 0u);
  EXPECT_STREQ(reinterpret_cast<char*>(buf), "untouch");
}

TEST(Stlv, ReadsWholeTlvsOnly) {
  const uint8_t tlv[] = {0x70, 0x01, 0x00, 0x02, 0xAA, 0xBB};
  for (const uint16_t room : std::initializer_list<uint16_t>{0, 1, 2, 3, 4, 5, 6}) {
    uint16_t type = 7, length = 7;
    const uint8_t* value = tlv;
    const bool whole = room == sizeof tlv;
    EXPECT_EQ(STLV_Get(tlv, room, &type, &length, &value), whole ? 6u : 0u);
    EXPECT_EQ(value, whole ? tlv + 4 : nullptr);
    EXPECT_EQ(type, whole ? 0x7001 : 7);
    EXPECT_EQ(length, whole ? 2 : 7);
  }
}

TEST(Text, CopiesWhatFitsAndTerminates) {
  char to[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(strlcpy(to, "abcdef", 0), 6u);
  EXPECT_EQ(to[0], 'x');
  EXPECT_EQ(strlcpy(to, "abcdef", 4), 6u);
  EXPECT_STREQ(to, "abc");
  EXPECT_EQ(strlcpy(to, "ab", 4), 2u);
  EXPECT_STREQ(to, "ab");
}

TEST(Interfaces, AreOnSlotZero) {
  uint16_t slot = 7;
  EXPECT_EQ(IF_GetDataByIfIndex(if_nametoindex("lo"), IF_DATA_SLOT, &slot), 0u);
  EXPECT_EQ(slot, 0);
  slot = 7;
  EXPECT_EQ(IF_GetDataByIfIndex(0x7FFFFFFF, IF_DATA_SLOT, &slot), uint32_t{ENXIO});
  EXPECT_EQ(IF_GetDataByIfIndex(if_nametoindex("lo"), 5, &slot), uint32_t{EINVAL});
  EXPECT_EQ(slot, 7);
}

struct Bits {
  std::vector<uint8_t> buffer;
  std::vector<bool> bits;
  Bitmap* bitmap;

  // At an odd address, in exactly the room that is promised to be enough.
  explicit Bits(uint32_t size) : buffer((size + 63) / 64 * 8 + 16, 0xEE), bits(size) {
    bitmap =
        Bitmap_CreateFromBuffer(buffer.data() + 1, static_cast<uint32_t>(buffer.size() - 1), size);
  }

  void Set(const BitmapRange& range) {
    Bitmap_SetRange(bitmap, &range);
    for (size_t i = range.first; i <= range.last && i < bits.size(); ++i) {
      bits[i] = range.value != 0;
    }
  }

  // Reads the bitmap back, run by run.
  void ExpectRuns() const {
    uint32_t start = 0;
    BitmapRange run;
    for (; start < bits.size(); start = run.last + 1) {
      ASSERT_EQ(Bitmap_GetRange(bitmap, start, &run), 0u);
      ASSERT_EQ(run.first, start);
      const auto begin = bits.begin() + start;
      const auto end = std::find(begin, bits.end(), !*begin);
      ASSERT_EQ(run.value, *begin ? 1u : 0u);
      ASSERT_EQ(run.last, static_cast<uint32_t>(end - bits.begin()) - 1);
    }
    EXPECT_EQ(Bitmap_GetRange(bitmap, start, &run), 1u);
    EXPECT_EQ(run.value, 0u);
    EXPECT_GE(run.last, bits.size());
  }
};

TEST(Bitmaps, BehaveLikeVectors) {
  std::mt19937 engine(5);
  const auto random = [&engine] { return static_cast<uint32_t>(engine()); };
  for (int round = 0; round < 300; ++round) {
    Bits a(random() % 300 + 1), b(random() % 300 + 1), out(random() % 300 + 1);
    for (Bits* bits : {&a, &b, &out}) {
      for (int i = 0; i < 6; ++i) {
        const uint32_t first = random() % 320;
        bits->Set({random() % 4 == 0 ? 0u : 1u, first, first + random() % 130});
      }
      bits->Set({1, 200, 100});
      bits->Set({1, 290, 0xFFFFFFFF});
      bits->ExpectRuns();
    }
    Bitmap_And(a.bitmap, b.bitmap, out.bitmap);
    const auto at = [](const Bits& bits, size_t i) { return i < bits.bits.size() && bits.bits[i]; };
    bool equal = true;
    for (size_t i = 0; i < 300; ++i) {
      equal = equal && at(a, i) == at(b, i);
      if (i < out.bits.size()) out.bits[i] = at(a, i) && at(b, i);
    }
    out.ExpectRuns();
    EXPECT_EQ(Bitmap_IsEqual(a.bitmap, b.bitmap), equal ? 1 : 0);
    Bits same(300 + random() % 100);  // the same ones, and perhaps one more
    for (uint32_t i = 0; i < a.bits.size(); ++i) same.Set({a.bits[i], i, i});
    EXPECT_EQ(Bitmap_IsEqual(a.bitmap, same.bitmap), 1);
    same.Set({1, 299, 299});
    EXPECT_EQ(Bitmap_IsEqual(same.bitmap, a.bitmap), at(a, 299) ? 1 : 0);
    const bool any = std::find(out.bits.begin(), out.bits.end(), true) != out.bits.end();
    EXPECT_EQ(Bitmap_IsEmpty(out.bitmap), any ? 0 : 1);
  }
}

TEST(Bitmaps, NeedRoom) {
  alignas(8) uint8_t buffer[1024];
  EXPECT_NE(Bitmap_CreateFromBuffer(buffer, 1024, 4096), nullptr);
  EXPECT_NE(Bitmap_CreateFromBuffer(buffer, 16, 64), nullptr);
  EXPECT_EQ(Bitmap_CreateFromBuffer(buffer, 16, 65), nullptr);
  EXPECT_EQ(Bitmap_CreateFromBuffer(buffer, 1024, 0xFFFFFFFF), nullptr);
}

}  // namespace
