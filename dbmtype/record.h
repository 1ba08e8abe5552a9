// Database records: one TLV whose value is a sequence of TLVs.
#pragma once

#include "msg/optional_parts.h"

namespace hqos {

// The sequence while it is written. A TLV that no longer fits is left out.
class RecordWriter {
 public:
  // Returns the length of the TLV's header.
  template <class Layout, class Record>
  uint32_t Add(uint16_t type, const Layout& layout, const Record& record) {
    uint8_t value[Layout::size];
    Encode(layout, record, value);
    const uint32_t written = STLV_Set(bytes_ + used_, static_cast<uint16_t>(sizeof bytes_ - used_),
                                      type, Layout::size, value);
    used_ = static_cast<uint16_t>(used_ + written);
    return written - static_cast<uint32_t>(Layout::size);
  }

  template <class... Layouts, class Record>
  void AddParts(const std::tuple<Part<Layouts>...>& parts, const Record& record) {
    used_ = static_cast<uint16_t>(EncodeParts(parts, record, sizeof bytes_, bytes_));
  }

  // Writes the record around it; the bytes written, 0 when it does not fit.
  uint32_t Finish(uint16_t type, uint16_t bufLen, uint8_t* buf) const {
    return STLV_Set(buf, bufLen, type, used_, bytes_);
  }

 private:
  uint8_t bytes_[1024];
  uint16_t used_ = 0;
};

// Takes the record's TLV, of any type; false when there is no whole one.
inline bool OpenRecord(const uint8_t* buf, uint16_t len, Tlv& record) {
  return TlvWalk(buf, len).Next(record);
}

}  // namespace hqos
