// Layouts of the children of an SP: each child is a sequence of TLVs, its path
// (lib/bulk_request.h), its two words (lib/words.h) and these.
#pragma once

#include "lib/match_rule.h"

namespace hqos {

// TLV HQOS_TLV_SONCFG. The order of the fields differs from the record's.
inline constexpr auto kSonCfg =
    Table<104>(Row{0, 2, kBig, &HQOS_SonCfg::value1},   //
               Row{2, 32, kText, &HQOS_SonCfg::name1},  //
               Row{34, 32, kText, &HQOS_SonCfg::name2}, Row{66, 2, kBig, &HQOS_SonCfg::value2},
               Row{68, 36, kMatchRule, &HQOS_SonCfg::rule});

// TLV HQOS_TLV_SONSTAT. Bytes 20-23 are padding.
inline constexpr auto kSonStat = Table<136>(Row{0, 20, kBig, &HQOS_SPSonCounters::stat32},
                                            Row{24, 112, kBig, &HQOS_SPSonCounters::stat64});

// TLV HQOS_TLV_SONDIAG.
inline constexpr auto kSonDiag = Table<8>(Row{0, 8, kBig, &HQOS_SPSonDiag::diag});

}  // namespace hqos
