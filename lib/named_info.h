// Layout of the records that hold a name and an identifier.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

template <class Record>
inline constexpr auto kNamedInfo = Table<34>(Row{0, 32, kText, &Record::name},  //
                                             Row{32, 2, kBig, &Record::id});

}  // namespace hqos
