// The revision of the state, the states that transactions have replaced, and the transaction that
// waits for its confirmation.
#pragma once

#include <zlib.h>

#include <map>
#include <optional>

#include "service/requests/state.h"
#include "service/store/records.h"
#include "service/store/store.h"

namespace hqosd {

// Makes the compressed export of a model.
class KeptExport {
 public:
  // `model` stays as it is meanwhile.
  KeptExport(const Model& model, uint64_t revision) : export_(model), revision_(revision) {}
  ~KeptExport();
  KeptExport(const KeptExport&) = delete;
  KeptExport& operator=(const KeptExport&) = delete;

  bool Step(const Slice& slice);  // true when it is complete

  uint64_t length() const { return plain_.size(); }  // of the export
  Bytes Take() { return std::move(compressed_); }

 private:
  StateExport export_;
  uint64_t revision_;
  Bytes plain_, compressed_;
  z_stream stream_{};
};

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

  // Keeps the export of the present state, which is complete, and removes the oldest that are too
  // many. The records that change go to `changes`.
  void Keep(KeptExport& present, const hqos::KeptState& what, std::vector<Change>& changes);

  // The records of the revision and the pending transaction, `wasPending` when the store has one.
  std::vector<Change> Rows(bool wasPending) const;

 private:
  void RemoveOldest(std::vector<Change>& changes);

  std::map<uint64_t, Kept> kept_;
};

// Why changes are refused meanwhile.
std::string UnconfirmedText(const PendingState& pending);

}  // namespace hqosd
