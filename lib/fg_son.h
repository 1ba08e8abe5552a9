// Layouts of the query for the children of an FG.
#pragma once

#include "lib/match_rule.h"

// The payload of the request.
struct HQOS_FGSonRequest {
  HQOS_FGSonKey start;
  uint32_t count;
};

namespace hqos {

inline constexpr auto kFGSonKey = Table<6>(Row{0, 6, kBig, &HQOS_FGSonKey::field});

// Bytes 6-7 are zero.
inline constexpr auto kFGSonRequest = Table<12>(Row{0, 6, kFGSonKey, &HQOS_FGSonRequest::start},  //
                                                Row{8, 4, kBig, &HQOS_FGSonRequest::count});

// A child. Bytes 42-43 are padding.
inline constexpr auto kFGSon =
    Table<112>(Row{0, 4, kHost, &HQOS_FGSon::word},     //
               Row{4, 6, kFGSonKey, &HQOS_FGSon::key},  //
               Row{10, 32, kText, &HQOS_FGSon::name1},  //
               Row{44, 36, kMatchRule, &HQOS_FGSon::rule}, Row{80, 32, kText, &HQOS_FGSon::name2});

}  // namespace hqos
