// What the library's outputs obey after any reply. Whoever includes this declares
// Require(bool, const char*) in this namespace before.
#pragma once

#include <algorithm>
#include <cstring>

#include "tests/calls.h"

namespace reply_rules {

void Require(bool holds, const char* what);

// Characters after the NUL of a name are zero.

template <size_t N>
void CheckName(const char (&name)[N]) {
  const char* const end = std::find(name, name + N, '\0');
  Require(end != name + N, "a name ends");
  Require(std::all_of(end, name + N, [](char c) { return c == '\0'; }), "zeros follow a name");
}

inline void Check(const HQOS_SPInfo& sp) { CheckName(sp.name); }
inline void Check(const HQOS_FGInfo& fg) { CheckName(fg.name); }
inline void Check(const HQOS_FCInfo& fc) { CheckName(fc.name); }
inline void Check(const HQOS_DPInfo& dp) { CheckName(dp.name); }
inline void Check(const HQOS_FPInfo& fp) {
  CheckName(fp.name);
  CheckName(fp.dpName);
  constexpr uint32_t kKnown = HQOS_FPI_GTS | HQOS_FPI_DPREF | HQOS_FPI_QUEUE | HQOS_FPI_BANDWIDTH;
  Require((fp.flags & ~kKnown) == 0, "the flags of an FP are known");
  Require((fp.flags & HQOS_FPI_DPREF) != 0 || fp.dpId == HQOS_ID_NONE, "no DP has no identifier");
  Require((fp.flags & HQOS_FPI_BANDWIDTH) != 0 || fp.bandwidth == 0, "no bandwidth is zero");
}
inline void Check(const HQOS_ApplyInfo& info) {
  CheckName(info.obj.name);
  Check(info.sp);
}
inline void Check(const HQOS_FGSon& son) {
  CheckName(son.name1);
  CheckName(son.name2);
}
inline void Check(const HQOS_SPSon& son) {
  CheckName(son.cfg.name1);
  CheckName(son.cfg.name2);
}
inline void Check(const HQOS_SPSonStat& stat) { Check(stat.son); }
inline void Check(const HQOS_SPSonDiag& diag) { Check(diag.son); }

inline void Check(const HQOS_Result& result) { CheckName(result.text); }

template <class Call>
void CheckCommand(Call& call) {
  if (call.status == 0) Check(call.Output().records[0]);
  if (call.status == HQOS_ERR_FAILED) Require(call.Output().IsAll(calls::kBlank), "untouched");
  if (call.status == HQOS_ERR_BADREPLY) Require(call.Output().IsAll(0), "all zero");
}

// A list that breaks off at a record that is too short leaves those before it. A query that fails
// leaves its output, except that of an FP, which is zero.
template <class Call>
void CheckQuery(Call& call) {
  auto& infos = call.Output().records;
  using Info = std::remove_reference_t<decltype(infos[0])>;
  size_t count = call.status == 0 ? 1 : 0;
  if constexpr (Call::kIsList) {
    const uint32_t found = call.template Get<uint32_t*>().records[0];
    const bool isCut = call.status == HQOS_ERR_BADREPLY && found != calls::kBlankCount;
    Require(!isCut || std::is_same_v<Info, HQOS_FCInfo> || std::is_same_v<Info, HQOS_DPInfo> ||
                std::is_same_v<Info, HQOS_FGSon>,
            "a list of parts does not break off");
    Require(call.status == 0 || isCut || found == calls::kBlankCount, "the count is left");
    count = call.status == 0 || isCut ? found : 0;
    Require(count <= infos.size(), "a list fits the room that the header gives");
  }
  for (size_t i = 0; i < count; ++i) Check(infos[i]);
  if (std::is_same_v<Info, HQOS_FPInfo> && !Call::kIsList && call.status != 0) {
    constexpr Info kZero{};
    Require(std::memcmp(&infos[count++], &kZero, sizeof kZero) == 0, "an FP is zero");
  }
  Require(call.Output().IsAll(calls::kBlank, count * sizeof(Info)), "nothing follows the last");
}

}  // namespace reply_rules
