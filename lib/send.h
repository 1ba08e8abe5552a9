// From a payload record to a round trip.
#pragma once

#include "lib/payload.h"
#include "msg/round_trip.h"
#include "platform/text.h"

namespace hqos {

inline HQOS_ObjPayload NamedObject(const char* name, uint16_t id = HQOS_ID_NONE) {
  HQOS_ObjPayload object{{}, id};
  strlcpy(object.name, name, sizeof object.name);
  return object;
}

inline HQOS_ObjValuePayload NamedValue(const char* name, uint32_t value) {
  HQOS_ObjValuePayload object{{}, value};
  strlcpy(object.name, name, sizeof object.name);
  return object;
}

// A command whose payload is `record` in `layout`.
template <class Layout, class Record>
uint32_t Configure(uint16_t cmdCode, const Layout& layout, const Record& record,
                   HQOS_Result* result) {
  uint8_t payload[Layout::size];
  Encode(layout, record, payload);
  return HQOS_lib_Config(cmdCode, payload, sizeof payload, result);
}

// A reply with its length, for the caller of a query.
struct Reply {
  uint8_t data[HQOS_MSG_MAX];
  uint16_t length;
};

// A query whose payload is `record` in `layout`.
template <class Layout, class Record>
uint32_t Ask(uint8_t opClass, uint16_t queryType, const Layout& layout, const Record& record,
             Reply& reply) {
  uint8_t payload[Layout::size];
  Encode(layout, record, payload);
  return HQOS_lib_Query(opClass, queryType, sizeof payload, payload, reply.data, &reply.length);
}

}  // namespace hqos
