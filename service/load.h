// From the records of the store to the model.
#pragma once

#include "service/model.h"
#include "service/store.h"

namespace hqosd {

struct Loaded {
  // What the store lacks or has too much: records set aside, with the reason, and records that were
  // not as the service writes them.
  std::vector<Change> mending;
};

// Fills the empty model from the records. A record that does not decode, or does not fit the others
// (references, cycles, ranges), is left out and in the mending; the rest is taken.
Loaded Load(const std::vector<StoredRecord>& records, Model& model);

}  // namespace hqosd
