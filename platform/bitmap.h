// The platform's bitmaps.
#ifndef HQOS_PLATFORM_BITMAP_H
#define HQOS_PLATFORM_BITMAP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What a bitmap begins with. The words that hold its bits, and where they are, are the platform's.
typedef struct Bitmap {
  uint32_t bits;      // its size
  uint32_t platform;  // for the platform's own use
} Bitmap;

// A run of bits: their value, 0 or 1, and the indexes of the first and the last of them.
typedef struct BitmapRange {
  uint32_t value, first, last;
} BitmapRange;

// Makes a bitmap of `bits` bits, all 0, in the `bytes` bytes at buffer, which holds it as long as
// it is used. On a host it takes (bits + 63) / 64 * 8 bytes and at most 15 more. Null when the
// buffer is too small.
Bitmap* Bitmap_CreateFromBuffer(void* buffer, uint32_t bytes, uint32_t bits);

// Gives the bits of a run its value. What of the run lies beyond the bitmap is left out.
void Bitmap_SetRange(Bitmap* bitmap, const BitmapRange* range);

// Finds the run that begins at `start` and reaches as far as the bits are equal. Returns 0. For a
// start beyond the last bit the run's last index lies beyond the bitmap's size; on a host the run
// is one of zeros up to 0xFFFFFFFF, and 1 is returned.
uint32_t Bitmap_GetRange(const Bitmap* bitmap, uint32_t start, BitmapRange* run);

// Sets `out` to the bits that are 1 in both a and b. Bits beyond the end of a bitmap count as 0,
// here and below.
void Bitmap_And(const Bitmap* a, const Bitmap* b, Bitmap* out);

// 1 when no bit is 1, else 0.
uint16_t Bitmap_IsEmpty(const Bitmap* bitmap);

// 1 when the same bits are 1 in both, else 0.
uint16_t Bitmap_IsEqual(const Bitmap* a, const Bitmap* b);

#ifdef __cplusplus
}
#endif

#endif
