// TLV HQOS_TLV_WORDS: the two 32-bit values of an SP or of a child of one.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

template <class Record>
inline constexpr auto kWords = Table<8>(Row{0, 8, kBig, &Record::words});

}  // namespace hqos
