// Records that travel as one TLV a part. A part that is optional is present when its flag is set in
// the record's flags.
#pragma once

#include <tuple>

#include "msg/layout.h"
#include "msg/tlv.h"

namespace hqos {

template <class Layout>
struct Part {
  uint16_t type;
  uint32_t flag;  // 0: always present
  Layout layout;
};
template <class Layout>
Part(uint16_t, uint32_t, Layout) -> Part<Layout>;

template <class Layout, class Record>
[[gnu::always_inline]] inline uint32_t EncodePart(const Part<Layout>& part, const Record& record,
                                                  size_t room, uint8_t* out) {
  if (part.flag != 0 && (record.flags & part.flag) == 0) return 0;
  uint8_t value[Layout::size];
  Encode(part.layout, record, value);
  return STLV_Set(out, static_cast<uint16_t>(room), part.type, Layout::size, value);
}

// Writes the parts in the order of their table into the `room` bytes at out; returns the bytes
// written. A part that does not fit is left out, and the next one tried in its place.
template <class... Layouts, class Record>
[[gnu::always_inline]] inline uint32_t EncodeParts(const std::tuple<Part<Layouts>...>& parts,
                                                   const Record& record, uint16_t room,
                                                   uint8_t* out) {
  uint32_t used = 0;
  std::apply(
      [&](const auto&... part) __attribute__((always_inline)) {
        ((used += EncodePart(part, record, room - used, out + used)), ...);
      },
      parts);
  return used;
}

// Reads the parts found in `length` bytes into the record and sets their flags. Parts in any order,
// the last of a type counts; other types, and values too short for their layout, are skipped.
// Fastest in the order of the table: each part then is compared with one type only.
template <class... Layouts, class Record>
[[gnu::always_inline]] inline void DecodeParts(const std::tuple<Part<Layouts>...>& parts,
                                               const uint8_t* value, uint16_t length,
                                               Record& record) {
  TlvWalk walk(value, length);
  Tlv tlv;
  bool more = walk.Next(tlv);
  const auto decode = [&](const auto& part) __attribute__((always_inline)) {
    if (!more || tlv.type != part.type) return;
    if (Decode(part.layout, tlv.value, tlv.length, record)) record.flags |= part.flag;
    more = walk.Next(tlv);
  };
  while (more) {
    std::apply(
        [&](const auto&... part) __attribute__((always_inline)) {
          (decode(part), ...);
          if (more && ((tlv.type != part.type) && ...)) more = walk.Next(tlv);
        },
        parts);
  }
}

}  // namespace hqos
