// The request round trip, one datagram out to the service and one back, and what commands and
// queries make of it.
#pragma once

#include <string.h>

#include "msg/records.h"
#include "platform/text.h"

// A command: returns as the public commands do.
uint32_t HQOS_lib_Config(uint16_t cmdCode, const void* payload, uint16_t length,
                         HQOS_Result* result);

// A query: 0 with the data reply in `reply` (HQOS_MSG_MAX bytes), HQOS_ERR_FAILED,
// HQOS_ERR_BADREPLY, or the code of the reply's status TLV.
uint32_t HQOS_lib_Query(uint8_t opClass, uint16_t queryType, uint16_t length, const void* value,
                        uint8_t* reply, uint16_t* replyLen);

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
uint32_t Command(uint16_t cmdCode, const Layout& layout, const Record& record,
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
uint32_t Query(uint8_t opClass, uint16_t queryType, const Layout& layout, const Record& record,
               Reply& reply) {
  uint8_t payload[Layout::size];
  Encode(layout, record, payload);
  return HQOS_lib_Query(opClass, queryType, sizeof payload, payload, reply.data, &reply.length);
}

// How many records of `size` bytes a reply can hold at most. A TLV takes at least its type and its
// length; in a reply whose head has no length the first may begin with the first byte.
constexpr size_t MaxRecords(size_t size) { return HQOS_MSG_MAX / (2 * sizeof(uint16_t) + size); }

// Decodes the first data TLV into *info. HQOS_ERR_BADREPLY with *info untouched when there is none
// or it is shorter than the layout.
template <class Layout, class Record>
uint32_t DecodeFirst(const Reply& reply, const Layout& layout, Record* info) {
  const Tlv tlv = FirstTlv(reply.data, reply.length);
  Record record{};
  if (!Decode(layout, tlv.value, tlv.length, record)) return HQOS_ERR_BADREPLY;
  *info = record;
  return 0;
}

// Reads the object of that name.
template <class Layout, class Record>
uint32_t GetByName(uint16_t queryType, const char* name, const Layout& layout, Record* info) {
  Reply reply;
  const uint32_t status = Query(HQOS_OP_GET, queryType, kObjPayload, NamedObject(name), reply);
  return status != 0 ? status : DecodeFirst(reply, layout, info);
}

// Decodes every data TLV into the next element of infos and counts them in *outCount. Ends with
// HQOS_ERR_BADREPLY at one that is shorter than the layout.
template <class Layout, class Record>
uint32_t DecodeAll(const Reply& reply, const Layout& layout, uint32_t* outCount, Record* infos) {
  *outCount = 0;
  TlvWalk walk = WalkMessage(reply.data, reply.length);
  for (Tlv tlv; walk.Next(tlv); ++*outCount) {
    if (tlv.length < Layout::size) return HQOS_ERR_BADREPLY;
    Record& record = infos[*outCount];
    memset(&record, 0, sizeof record);
    Decode(layout, tlv.value, tlv.length, record);
  }
  return 0;
}

}  // namespace hqos
