// Bitmaps on the host, in words of 64 bits. Bits of the last word beyond the bitmap stay 0.
#include "platform/bitmap.h"

#include <stddef.h>
#include <string.h>

namespace {

constexpr uint32_t kWordBits = 64;

uint32_t WordCount(const Bitmap* bitmap) {
  return bitmap->bits / kWordBits + (bitmap->bits % kWordBits != 0 ? 1 : 0);
}

// The words follow the head, which has their alignment.
static_assert(sizeof(Bitmap) == sizeof(uint64_t));
uint64_t* Words(Bitmap* bitmap) { return reinterpret_cast<uint64_t*>(bitmap + 1); }
const uint64_t* Words(const Bitmap* bitmap) {
  return reinterpret_cast<const uint64_t*>(bitmap + 1);
}

uint64_t WordAt(const Bitmap* bitmap, uint32_t index) {
  return index < WordCount(bitmap) ? Words(bitmap)[index] : 0;
}

// The bits from `first` to `last` of one word.
uint64_t Mask(uint32_t first, uint32_t last) {
  return ~uint64_t{0} << first & ~uint64_t{0} >> (kWordBits - 1 - last);
}

}  // namespace

Bitmap* Bitmap_CreateFromBuffer(void* buffer, uint32_t bytes, uint32_t bits) {
  const uintptr_t begin = reinterpret_cast<uintptr_t>(buffer);
  const size_t pad = (alignof(uint64_t) - begin % alignof(uint64_t)) % alignof(uint64_t);
  const Bitmap head{bits, 0};
  const uint64_t needed = pad + sizeof head + WordCount(&head) * sizeof(uint64_t);
  if (needed > bytes) return nullptr;
  auto* const bitmap = reinterpret_cast<Bitmap*>(static_cast<uint8_t*>(buffer) + pad);
  *bitmap = head;
  memset(Words(bitmap), 0, WordCount(bitmap) * sizeof(uint64_t));
  return bitmap;
}

void Bitmap_SetRange(Bitmap* bitmap, const BitmapRange* range) {
  if (range->first > range->last || range->first >= bitmap->bits) return;
  const uint32_t first = range->first;
  const uint32_t last = range->last < bitmap->bits ? range->last : bitmap->bits - 1;
  for (uint32_t i = first / kWordBits; i <= last / kWordBits; ++i) {
    const uint64_t mask = Mask(i == first / kWordBits ? first % kWordBits : 0,
                               i == last / kWordBits ? last % kWordBits : kWordBits - 1);
    uint64_t& word = Words(bitmap)[i];
    word = range->value != 0 ? word | mask : word & ~mask;
  }
}

uint32_t Bitmap_GetRange(const Bitmap* bitmap, uint32_t start, BitmapRange* run) {
  if (start >= bitmap->bits) {
    *run = {0, start, UINT32_MAX};
    return 1;
  }
  const uint64_t value = Words(bitmap)[start / kWordBits] >> start % kWordBits & 1;
  // The first bit that differs ends the run: look for a 1 in the words, inverted in a run of ones.
  const uint64_t invert = value != 0 ? ~uint64_t{0} : 0;
  uint64_t end = bitmap->bits;
  for (uint32_t i = start / kWordBits; i < WordCount(bitmap); ++i) {
    uint64_t differing = Words(bitmap)[i] ^ invert;
    if (i == start / kWordBits) differing &= Mask(start % kWordBits, kWordBits - 1);
    if (differing == 0) continue;
    const uint64_t found =
        uint64_t{i} * kWordBits + static_cast<uint32_t>(__builtin_ctzll(differing));
    if (found < end) end = found;
    break;
  }
  *run = {static_cast<uint32_t>(value), start, static_cast<uint32_t>(end - 1)};
  return 0;
}

void Bitmap_And(const Bitmap* a, const Bitmap* b, Bitmap* out) {
  for (uint32_t i = 0; i < WordCount(out); ++i) {
    Words(out)[i] = WordAt(a, i) & WordAt(b, i);
  }
  const auto spare = out->bits % kWordBits;
  if (spare != 0) Words(out)[WordCount(out) - 1] &= Mask(0, spare - 1);
}

uint16_t Bitmap_IsEmpty(const Bitmap* bitmap) {
  for (uint32_t i = 0; i < WordCount(bitmap); ++i) {
    if (Words(bitmap)[i] != 0) return 0;
  }
  return 1;
}

uint16_t Bitmap_IsEqual(const Bitmap* a, const Bitmap* b) {
  const uint32_t count = WordCount(a) > WordCount(b) ? WordCount(a) : WordCount(b);
  for (uint32_t i = 0; i < count; ++i) {
    if (WordAt(a, i) != WordAt(b, i)) return 0;
  }
  return 1;
}
