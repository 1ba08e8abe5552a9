// The platform's TLV codec.
#ifndef HQOS_PLATFORM_STLV_H
#define HQOS_PLATFORM_STLV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Writes one TLV of `length` value bytes into the `room` bytes at buf. `value` may be null when
// length is 0. Returns the bytes written, header included, or 0 with buf unchanged when it does not
// fit.
uint32_t STLV_Set(void* buf, uint16_t room, uint16_t type, uint16_t length, const void* value);

// Reads the TLV that begins at buf. Returns its size in bytes, header included, and sets its type,
// the length of its value in bytes and a pointer to the value inside buf. When `room` holds no
// complete TLV it returns 0 and sets *value to null; *type and *length are unchanged.
uint32_t STLV_Get(const void* buf, uint16_t room, uint16_t* type, uint16_t* length,
                  const uint8_t** value);

#ifdef __cplusplus
}
#endif

#endif
