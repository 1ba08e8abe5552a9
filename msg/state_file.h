// Files with the state of a service: what transactions and exports pass as a sealed memory file. A
// head, then the FCs with their identifiers, then commands, each a message as it is sent alone.
#pragma once

#include <iterator>

#include "hqosd.h"
#include "msg/records.h"

namespace hqos {

constexpr uint32_t kStateFormat = 1;
constexpr uint64_t kAnyRevision = UINT64_MAX;
constexpr uint64_t kMaxStateFile = 64 << 20;  // bytes

struct StateHead {
  uint32_t format;    // kStateFormat
  uint32_t mode;      // HQOSD_Mode; HQOSD_MODE_RESTORE in an export
  uint32_t check;     // 1: change nothing
  uint32_t confirm;   // seconds until the transaction is reverted unless it is confirmed; 0: never
  uint64_t revision;  // that the service must have; in an export, that it has
  uint64_t length;    // of the file
  uint32_t fcs;       // their number, and that of the commands
  uint32_t commands;
  char comment[128];
};
inline constexpr auto kStateHead = Table<168>(
    Field{0, 4, kBigEndian, &StateHead::format}, Field{4, 4, kBigEndian, &StateHead::mode},
    Field{8, 4, kBigEndian, &StateHead::check}, Field{12, 4, kBigEndian, &StateHead::confirm},
    Field{16, 8, kBigEndian, &StateHead::revision}, Field{24, 8, kBigEndian, &StateHead::length},
    Field{32, 4, kBigEndian, &StateHead::fcs}, Field{36, 4, kBigEndian, &StateHead::commands},
    Field{40, 128, kText, &StateHead::comment});

// An FC is kObjPayload. The payload of an export's request:
struct ExportKey {
  uint32_t what;      // HQOSD_Export
  uint64_t revision;  // of a kept state
};
inline constexpr auto kExportKey = Table<12>(Field{0, 4, kBigEndian, &ExportKey::what},
                                             Field{4, 8, kBigEndian, &ExportKey::revision});

struct Revision {
  uint64_t value;
};
inline constexpr auto kRevision = Table<8>(Field{0, 8, kBigEndian, &Revision::value});

// A refused command; the text, NUL-terminated, follows these bytes.
struct StateRefusal {
  uint32_t position;
  uint32_t code;
};
inline constexpr auto kStateRefusal = Table<8>(Field{0, 4, kBigEndian, &StateRefusal::position},
                                               Field{4, 4, kBigEndian, &StateRefusal::code});

// An entry of the history: the file of HQOSD_EXPORT_HISTORY is a sequence of these.
struct KeptState {
  uint64_t revision;
  uint64_t time;  // seconds since 1970, when it was replaced
  char user[32];  // by whom
  char comment[128];
};
inline constexpr auto kKeptState = Table<176>(
    Field{0, 8, kBigEndian, &KeptState::revision}, Field{8, 8, kBigEndian, &KeptState::time},
    Field{16, 32, kText, &KeptState::user}, Field{48, 128, kText, &KeptState::comment});

// What a service has counted since it started: the value of HQOSD_TLV_STATUS.
constexpr uint64_t kCommitBounds[] = {1'000'000, 5'000'000, 25'000'000, 100'000'000,
                                      500'000'000};  // nanoseconds
struct ServiceStatus {
  uint64_t startTime;   // seconds since 1970
  uint32_t objects[5];  // SPs, FGs, FCs, FPs, DPs
  uint32_t applications;
  uint64_t commands;                               // and transactions, refused or not
  uint64_t refusals;                               // of them
  uint64_t queries;                                // all other requests
  uint64_t commits[std::size(kCommitBounds) + 1];  // by the first bound that their time is within
  uint64_t commitTime;                             // of all together, nanoseconds
  uint64_t failures;                               // commits that the store has refused
};
inline constexpr auto kServiceStatus =
    Table<120>(Field{0, 8, kBigEndian, &ServiceStatus::startTime},
               Field{8, 20, kBigEndian, &ServiceStatus::objects},
               Field{28, 4, kBigEndian, &ServiceStatus::applications},
               Field{32, 8, kBigEndian, &ServiceStatus::commands},
               Field{40, 8, kBigEndian, &ServiceStatus::refusals},
               Field{48, 8, kBigEndian, &ServiceStatus::queries},
               Field{56, 48, kBigEndian, &ServiceStatus::commits},
               Field{104, 8, kBigEndian, &ServiceStatus::commitTime},
               Field{112, 8, kBigEndian, &ServiceStatus::failures});

}  // namespace hqos
