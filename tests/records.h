// Records as a whole: filled, and compared byte by byte, padding too.
#pragma once

#include <cstdint>
#include <cstring>

namespace wire {

// What the outputs of a call hold before it.
constexpr uint8_t kBefore = 0xEE;

template <class Record>
Record Filled(uint8_t byte) {
  Record record;
  memset(static_cast<void*>(&record), byte, sizeof record);
  return record;
}

template <class Record>
bool Same(const Record& a, const Record& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

// Whether nothing was written to a record that was filled with kBefore.
template <class Record>
bool IsUntouched(const Record& record) {
  return Same(record, Filled<Record>(kBefore));
}

}  // namespace wire
