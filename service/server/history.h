// The revision of the state, the states that transactions have replaced, and the transaction that
// waits for its confirmation.
#pragma once

#include <map>
#include <optional>

#include "msg/state_file.h"
#include "service/store/records.h"
#include "service/store/store.h"

namespace hqosd {

class History {
 public:
  // A state that was replaced: `file` is its export, compressed.
  struct Kept {
    hqos::KeptState what;
    uint64_t length;  // of the export
    Bytes file;
  };
  uint64_t revision = 0;
  std::optional<PendingState> pending;

  // Reads what the store holds.
  void Load(const std::vector<StoredRecord>& records);

  // The export of a kept state. Throws a Refusal when there is none.
  Bytes Export(uint64_t wanted) const;
  // All of them, oldest first, as kKeptState.
  Bytes List() const;

  // Keeps the export of the present state, and removes the oldest that are too many. The records
  // that change go to `changes`.
  void Keep(const Bytes& file, const hqos::KeptState& what, std::vector<Change>& changes);

  // The records of the revision and the pending transaction, `wasPending` when the store has one.
  std::vector<Change> Rows(bool wasPending) const;

 private:
  std::map<uint64_t, Kept> kept_;
};

// Why changes are refused meanwhile.
std::string UnconfirmedText(const PendingState& pending);

}  // namespace hqosd
