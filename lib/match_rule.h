// Layout of a match rule, the same wherever a rule stands.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

inline constexpr auto kValueRange = Table<4>(Row{0, 2, kBig, &HQOS_ValueRange::low},  //
                                             Row{2, 2, kBig, &HQOS_ValueRange::high});

inline constexpr auto kMatchRule = Table<36>(Row{0, 4, kBig, &HQOS_MatchRule::type},
                                             Row{4, 32, kValueRange, &HQOS_MatchRule::ranges});

}  // namespace hqos
