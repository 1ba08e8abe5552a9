// Payloads of requests that name an object or carry a number, with their layouts.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

// An object, with its identifier (HQOS_ID_NONE: none given).
struct HQOS_ObjPayload {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
};

// An object, with a value for it.
struct HQOS_ObjValuePayload {
  char name[HQOS_NAME_SIZE];
  uint32_t value;
};

struct HQOS_DebugPayload {
  uint32_t debug;
};

// The identifier after which a get-next goes on.
struct HQOS_NextKey {
  uint32_t id;
};

// The identifier after which a list goes on, and how many records are wanted.
struct HQOS_BulkKey {
  uint16_t startId;
  uint32_t count;
};

namespace hqos {

// Bytes 34-35 are zero.
inline constexpr auto kObjPayload =
    Table<36>(Row{0, 32, kText, &HQOS_ObjPayload::name}, Row{32, 2, kBig, &HQOS_ObjPayload::id});

inline constexpr auto kObjValuePayload = Table<36>(Row{0, 32, kText, &HQOS_ObjValuePayload::name},
                                                   Row{32, 4, kBig, &HQOS_ObjValuePayload::value});

inline constexpr auto kDebugPayload = Table<4>(Row{0, 4, kBig, &HQOS_DebugPayload::debug});

inline constexpr auto kNextKey = Table<4>(Row{0, 4, kBig, &HQOS_NextKey::id});

// Bytes 2-3 are zero.
inline constexpr auto kBulkKey =
    Table<8>(Row{0, 2, kBig, &HQOS_BulkKey::startId}, Row{4, 4, kBig, &HQOS_BulkKey::count});

}  // namespace hqos
