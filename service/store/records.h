// The keys of the store, and the records whose form is the service's own. The other records are
// those of the library (HQOS_dbmtype_ functions); docs/service.md lists them all.
#pragma once

#include <string>

#include "hqos.h"
#include "msg/layout.h"

namespace hqosd {

constexpr char kStoreVersion[] = "2";

#define HQOSD_KEY_VERSION "VERSION"  // a macro for the SQL statements that it is part of
constexpr char kKeySP[] = "SP-cfg-";
constexpr char kKeyFG[] = "FG-cfg-";
constexpr char kKeyFC[] = "FC-cfg-";
constexpr char kKeyDP[] = "DP-cfg-";
constexpr char kKeyFP[] = "FP-cfg-";
constexpr char kKeyFPRun[] = "FP-run-";
constexpr char kKeySPNest[] = "SP-nest-";
constexpr char kKeyFGNest[] = "FG-nest-";
constexpr char kKeyIfCfg[] = "IFCFG-";
constexpr char kKeyIfRun[] = "IFRUN-";
constexpr char kKeyApply[] = "APPLY-";
constexpr char kKeyClass[] = "IFCLASS-";
// Of the state as a whole, not of the model: see server/history.h.
constexpr char kKeyRevision[] = "REVISION";
constexpr char kKeyPending[] = "PENDING";
constexpr char kKeyHistory[] = "HISTORY-";
constexpr char kKeyHistoryPart[] = "PART-";  // ordered after it

// Until `time`, seconds since 1970, the transaction that has replaced the state `revision` can be
// confirmed.
struct PendingState {
  uint64_t time;
  uint64_t revision;
};
constexpr auto kPendingState =
    hqos::Table<16>(hqos::Field{0, 8, hqos::kBigEndian, &PendingState::time},
                    hqos::Field{8, 8, hqos::kBigEndian, &PendingState::revision});

// The class in the kernel of a child whose SP is applied to an interface, as KernelClass.
struct StoredClass {
  uint16_t path[5];
  uint16_t minor, ownLeaf;
  uint64_t basePackets, baseBytes, baseDrops;
};
constexpr auto kStoredClass =
    hqos::Table<40>(hqos::Field{0, 10, hqos::kBigEndian, &StoredClass::path},
                    hqos::Field{10, 2, hqos::kBigEndian, &StoredClass::minor},
                    hqos::Field{12, 2, hqos::kBigEndian, &StoredClass::ownLeaf},
                    hqos::Field{16, 8, hqos::kBigEndian, &StoredClass::basePackets},
                    hqos::Field{24, 8, hqos::kBigEndian, &StoredClass::baseBytes},
                    hqos::Field{32, 8, hqos::kBigEndian, &StoredClass::baseDrops});

// The file of the default store: hqosd.db in $HQOS_STATE_DIR if set, else for root in
// /var/lib/hqos, for others in $XDG_STATE_HOME/hqos or $HOME/.local/state/hqos. "" when there is no
// such place.
std::string DefaultStorePath();

// Decode a record of `length` bytes. False, with `out` untouched, when the bytes are too short. Of
// an SP, name, id and value1 (its unit) are stored.
bool DecodeSP(const uint8_t* value, size_t length, HQOS_SPInfo& out);
bool DecodeFG(const uint8_t* value, size_t length, HQOS_FGInfo& out);
bool DecodeFC(const uint8_t* value, size_t length, HQOS_FCInfo& out);
bool DecodeDP(const uint8_t* value, size_t length, HQOS_DPInfo& out);
bool DecodeFPCfg(const uint8_t* value, size_t length, HQOS_FPCfg& out);

}  // namespace hqosd
