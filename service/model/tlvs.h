// Building TLV sequences, and the records of objects that replies and the store share.
#pragma once

#include <vector>

#include "msg/records.h"
#include "service/model/objects.h"

namespace hqosd {

using Bytes = std::vector<uint8_t>;

inline void AppendTlv(Bytes& to, uint16_t type, const void* value, size_t length) {
  const size_t before = to.size();
  to.resize(before + length + 16);  // room for the value and any codec's header
  const uint32_t written = STLV_Set(to.data() + before, static_cast<uint16_t>(length + 16), type,
                                    static_cast<uint16_t>(length), value);
  to.resize(before + written);
}

template <class Layout, class Record>
Bytes Encoded(const Layout& layout, const Record& record) {
  Bytes value(Layout::size);
  Encode(layout, record, value.data());
  return value;
}

// One TLV that holds `record` in `layout`.
template <class Layout, class Record>
void AppendRecord(Bytes& to, uint16_t type, const Layout& layout, const Record& record) {
  uint8_t value[Layout::size];
  Encode(layout, record, value);
  AppendTlv(to, type, value, sizeof value);
}

// A record with the object's name and identifier, otherwise zero.
template <class Record, class Object>
Record NamedRecord(const Object& object) {
  Record record{};
  CopyName(object.name, record.name);
  record.id = object.id;
  return record;
}

inline HQOS_DPInfo DPRecord(const ObjectTable<DP>::Object& dp) {
  auto info = NamedRecord<HQOS_DPInfo>(dp);
  info.weight = dp.value.weight;
  std::copy(std::begin(dp.value.thresholds), std::end(dp.value.thresholds), info.thresholds);
  return info;
}

// value1 is its unit, value2 the number of its own children.
inline HQOS_SPInfo SPRecord(const ObjectTable<SP>::Object& sp) {
  auto info = NamedRecord<HQOS_SPInfo>(sp);
  info.value1 = sp.value.unit;
  info.value2 = static_cast<uint32_t>(sp.value.children.size());
  return info;
}

// Appends the TLVs of an SP's record.
inline void AppendSP(Bytes& to, const ObjectTable<SP>::Object& sp, uint32_t word0, uint32_t word1) {
  HQOS_SPInfo info = SPRecord(sp);
  info.words[0] = word0;
  info.words[1] = word1;
  AppendRecord(to, HQOS_TLV_SPBASE, hqos::kSPBase, info);
  AppendRecord(to, HQOS_TLV_WORDS, hqos::kWords<HQOS_SPInfo>, info);
}

// Reads the TLVs of an apply payload; of info.sp only the name. False, with info untouched, when
// one is missing.
bool DecodeApply(const uint8_t* value, size_t length, HQOS_ApplyInfo& info);

}  // namespace hqosd
