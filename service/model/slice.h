// Long tasks are carried out in slices, between which the service answers others.
#pragma once

#include <chrono>
#include <cstdint>

#include "hqos.h"

namespace hqosd {

class Slice {
 public:
  using Clock = std::chrono::steady_clock;
  explicit Slice(Clock::duration time) : end_(Clock::now() + time) {}
  // One that takes as long as the task.
  Slice() : end_(Clock::time_point::max()) {}

  bool IsOver() const { return Clock::now() >= end_; }

 private:
  Clock::time_point end_;
};

// Calls `use` with each object of the table after the one with identifier `at`, HQOS_ID_NONE for
// all; false when the slice is over before, with the place in `at`.
template <class Table, class Use>
bool Walk(const Table& table, uint16_t& at, const Slice& slice, const Use& use) {
  for (const auto* object = table.Next(at); object != nullptr; object = table.Next(at)) {
    if (slice.IsOver()) return false;
    use(*object);
    at = object->id;
  }
  return true;
}

}  // namespace hqosd
