// Layouts of the small payloads that name objects.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

// An object, with its identifier (HQOS_ID_NONE: none given). Bytes 34-35 are zero.
struct ObjId {
  char name[HQOS_NAME_SIZE];
  uint16_t id;
};
inline constexpr auto kObjId = Table<36>(Row{0, 32, kText, &ObjId::name},  //
                                         Row{32, 2, kBig, &ObjId::id});

// An object, with a value for it.
struct ObjValue {
  char name[HQOS_NAME_SIZE];
  uint32_t value;
};
inline constexpr auto kObjValue = Table<36>(Row{0, 32, kText, &ObjValue::name},  //
                                            Row{32, 4, kBig, &ObjValue::value});

// A debug selector.
struct DebugSelector {
  uint32_t value;
};
inline constexpr auto kDebugSelector = Table<4>(Row{0, 4, kBig, &DebugSelector::value});

// The identifier after which a get-next goes on.
struct NextKey {
  uint32_t id;
};
inline constexpr auto kNextKey = Table<4>(Row{0, 4, kBig, &NextKey::id});

}  // namespace hqos
