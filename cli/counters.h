// The counters of a child that have a name.
#pragma once

#include <cstdint>

#include "hqos.h"
#include "hqosd.h"

namespace hqosctl {

struct Counter {
  const char* key;    // in JSON
  const char* title;  // in tables
  const char* unit;
  const char* help;
  bool isTotal;  // it only rises, and is one of stat64; otherwise it is a state, of stat32
  size_t index;

  uint64_t Of(const HQOS_SPSonCounters& counters) const {
    return isTotal ? counters.stat64[index] : counters.stat32[index];
  }
};

inline constexpr Counter kCounters[] = {
    {"passed_packets", "PACKETS", "packets", "Packets that have passed.", true,
     HQOSD_STAT64_PASSED_PACKETS},
    {"passed_bytes", "BYTES", "bytes", "Bytes that have passed.", true, HQOSD_STAT64_PASSED_BYTES},
    {"dropped_packets", "DROPPED PACKETS", "packets", "Packets that were dropped.", true,
     HQOSD_STAT64_DROPPED_PACKETS},
    {"dropped_bytes", "DROPPED BYTES", "bytes", "Bytes that were dropped.", true,
     HQOSD_STAT64_DROPPED_BYTES},
    {"queued_packets", "QUEUED PACKETS", "packets", "Packets in the queue now.", false,
     HQOSD_STAT32_QUEUED_PACKETS},
    {"queued_bytes", "QUEUED BYTES", "bytes", "Bytes in the queue now.", false,
     HQOSD_STAT32_QUEUED_BYTES}};

}  // namespace hqosctl
