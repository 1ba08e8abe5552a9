// Layouts of a DP and of the payload that sets one of its thresholds.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

// A threshold of the DP; zero where it is to be removed.
struct HQOS_DPThresholdPayload {
  char name[HQOS_NAME_SIZE];
  uint32_t index;
  HQOS_DPThreshold threshold;
};

namespace hqos {

inline constexpr auto kDPThreshold = Table<12>(Row{0, 2, kBig, &HQOS_DPThreshold::value1},  //
                                               Row{2, 2, kBig, &HQOS_DPThreshold::value2},  //
                                               Row{4, 4, kBig, &HQOS_DPThreshold::value3},  //
                                               Row{8, 4, kBig, &HQOS_DPThreshold::value4});

inline constexpr auto kDPThresholdPayload =
    Table<48>(Row{0, 32, kText, &HQOS_DPThresholdPayload::name},  //
              Row{32, 4, kBig, &HQOS_DPThresholdPayload::index},
              Row{36, 12, kDPThreshold, &HQOS_DPThresholdPayload::threshold});

// Bytes 34-35 are padding.
inline constexpr auto kDPInfo =
    Table<76>(Row{0, 32, kText, &HQOS_DPInfo::name},  //
              Row{32, 2, kBig, &HQOS_DPInfo::id}, Row{36, 4, kBig, &HQOS_DPInfo::weight},
              Row{40, 36, kDPThreshold, &HQOS_DPInfo::thresholds});

}  // namespace hqos
