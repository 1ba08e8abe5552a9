// The platform's bitmaps.
#ifndef HQOS_PLATFORM_BITMAP_H
#define HQOS_PLATFORM_BITMAP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The head of a bitmap. Where and how its bits are stored is up to the platform.
typedef struct Bitmap {
  uint32_t bits;      // its size
  uint32_t platform;  // for the platform's own use
} Bitmap;

// A run of equal bits: their value, 0 or 1, and the indexes of the first and the last.
typedef struct BitmapRange {
  uint32_t value, first, last;
} BitmapRange;

// Creates a bitmap of `bits` bits, all 0, in the `bytes` bytes at buffer, which must outlive it. On
// a host it takes (bits + 63) / 64 * 8 bytes and at most 15 more. Null when the buffer is too
// small.
Bitmap* Bitmap_CreateFromBuffer(void* buffer, uint32_t bytes, uint32_t bits);

// Sets the bits of the run to its value. Bits beyond the end of the bitmap are ignored.
void Bitmap_SetRange(Bitmap* bitmap, const BitmapRange* range);

// Finds the longest run of equal bits that begins at `start`. Returns 0. For a start beyond the
// last bit, the run's last index is beyond the bitmap's size; on a host the run is one of zeros up
// to 0xFFFFFFFF, and 1 is returned.
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
