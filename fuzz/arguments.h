// Arguments of calls, chosen by an input. Names and numbers are few, so that they meet.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>

#include "hqos.h"

namespace fuzz {

using Input = FuzzedDataProvider;

inline const char* Name(Input& in) {
  static constexpr const char* kNames[] = {
      "a",       "b", "c", "d", "e", "f", "g", "h", "i", "thirty-one characters, no more.",
      "bad\x01", ""};
  return in.PickValueInArray(kNames);
}

// Mostly none.
inline uint16_t Id(Input& in) {
  static constexpr uint16_t kIds[] = {
      HQOS_ID_NONE, HQOS_ID_NONE, HQOS_ID_NONE, HQOS_ID_NONE, 0, 1, 2, 7, 65533, 65534};
  return in.PickValueInArray(kIds);
}

inline uint32_t Number(Input& in) {
  static constexpr uint32_t kNumbers[] = {0, 1, 2, 3, 4, 0x7FFFFFFF, 0xFFFF, 0xFFFFFFFF};
  return in.PickValueInArray(kNumbers);
}

inline HQOS_MatchRule Rule(Input& in) {
  HQOS_MatchRule rule;
  rule.type = in.ConsumeIntegralInRange<uint32_t>(0, 8);
  const bool isWide =
      rule.type == HQOS_MATCH_SERVICE_VLAN_ID || rule.type == HQOS_MATCH_QOS_LOCAL_ID;
  size_t count = in.ConsumeIntegralInRange<size_t>(0, isWide ? HQOS_MATCHRULE_RANGES : 2);
  for (HQOS_ValueRange& range : rule.ranges) {
    range = {HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED};
    if (count == 0) continue;
    --count;
    range.low = in.ConsumeIntegralInRange<uint16_t>(0, isWide ? 4096 : 8);
    range.high = static_cast<uint16_t>(range.low + in.ConsumeIntegralInRange<uint16_t>(0, 3));
  }
  return rule;
}

inline HQOS_AppObj Object(Input& in) {
  static constexpr const char* kInterfaces[] = {"eth0", "eth1", "lo0", "eth9", ""};
  HQOS_AppObj obj{};
  obj.type = in.ConsumeIntegralInRange<uint32_t>(0, 5);
  obj.value = in.ConsumeIntegralInRange<uint32_t>(0, 4);
  obj.param = in.ConsumeIntegralInRange<uint32_t>(0, 3);
  if (obj.type == HQOS_APPOBJ_IFINDEX) std::strcpy(obj.name, in.PickValueInArray(kInterfaces));
  return obj;
}

// For tests/calls.h.
struct Source {
  Input& in;

  void Fill(const char*& name) const { name = Name(in); }
  void Fill(uint16_t& id) const { id = Id(in); }
  void Fill(uint32_t& number) const { number = Number(in); }
  void Fill(HQOS_MatchRule& rule) const { rule = Rule(in); }
  void Fill(HQOS_AppObj& obj) const { obj = Object(in); }
  void Fill(HQOS_DPThreshold& t) const { t = {Id(in), Id(in), Number(in), Number(in)}; }
  void Fill(HQOS_SPSonPath& path) const {
    for (uint16_t& field : path.field) field = Id(in);
  }
  void Fill(HQOS_FGSonKey& key) const {
    for (uint16_t& field : key.field) field = Id(in);
  }
};

}  // namespace fuzz
