// Building TLV sequences.
#pragma once

#include "msg/layout.h"
#include "platform/stlv.h"
#include "service/answer.h"

namespace hqosd {

inline void AppendTlv(Bytes& to, uint16_t type, const void* value, size_t length) {
  const size_t before = to.size();
  to.resize(before + length + 16);  // room for the value and any codec's header
  const uint32_t written = STLV_Set(to.data() + before, static_cast<uint16_t>(length + 16), type,
                                    static_cast<uint16_t>(length), value);
  to.resize(before + written);
}

template <class Layout, class Record>
Bytes Encoded(const Layout& layout, const Record& record) {
  Bytes value(Layout::size);
  Encode(layout, record, value.data());
  return value;
}

// One TLV that holds `record` in `layout`.
template <class Layout, class Record>
void AppendRecord(Bytes& to, uint16_t type, const Layout& layout, const Record& record) {
  uint8_t value[Layout::size];
  Encode(layout, record, value);
  AppendTlv(to, type, value, sizeof value);
}

}  // namespace hqosd
