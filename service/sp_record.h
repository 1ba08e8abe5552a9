// The record of an SP, alone or where it is applied.
#pragma once

#include "msg/records.h"
#include "service/objects.h"
#include "service/tlvs.h"

namespace hqosd {

// value1 is its unit, value2 the number of its own children.
inline HQOS_SPInfo SPBase(const ObjectTable<SP>::Object& sp) {
  auto info = NamedRecord<HQOS_SPInfo>(sp);
  info.value1 = sp.value.unit;
  info.value2 = static_cast<uint32_t>(sp.value.children.size());
  return info;
}

// Appends its TLVs.
inline void AppendSP(Bytes& to, const ObjectTable<SP>::Object& sp, uint32_t word0, uint32_t word1) {
  HQOS_SPInfo info = SPBase(sp);
  info.words[0] = word0;
  info.words[1] = word1;
  AppendRecord(to, HQOS_TLV_SPBASE, hqos::kSPBase, info);
  AppendRecord(to, HQOS_TLV_WORDS, hqos::kWords<HQOS_SPInfo>, info);
}

}  // namespace hqosd
