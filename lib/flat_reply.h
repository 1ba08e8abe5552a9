// Replies with one record a data TLV.
#pragma once

#include <string.h>

#include "lib/send.h"
#include "msg/tlv.h"

namespace hqos {

// How many records of `size` bytes a reply can hold at most. A TLV takes at least its type and its
// length; in a reply whose head has no length the first may begin with the first byte.
constexpr size_t MostRecords(size_t size) { return HQOS_MSG_MAX / (2 * sizeof(uint16_t) + size); }

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
  const uint32_t status = Ask(HQOS_OP_GET, queryType, kObjPayload, NamedObject(name), reply);
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
