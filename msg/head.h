// Layouts of the message head and of the status TLV's fixed part.
#pragma once

#include "hqos.h"
#include "msg/layout.h"

namespace hqos {

inline constexpr auto kMsgHead = Table<8>(Row{0, 1, kBig, &HQOS_MsgHead::headLen},  //
                                          Row{1, 1, kBig, &HQOS_MsgHead::format},   //
                                          Row{2, 1, kBig, &HQOS_MsgHead::kind},     //
                                          Row{3, 1, kBig, &HQOS_MsgHead::opClass},  //
                                          Row{4, 1, kBig, &HQOS_MsgHead::flag});
static_assert(kMsgHead.size == HQOS_MSGHEAD_LEN);

// The status text, NUL-terminated, follows behind these bytes.
inline constexpr auto kResultCode = Table<4>(Row{0, 4, kBig, &HQOS_Result::code});

}  // namespace hqos
