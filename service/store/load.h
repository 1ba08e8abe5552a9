// From the records of the store to the model.
#pragma once

#include "service/model/model.h"
#include "service/store/store.h"

namespace hqosd {

// Fills the empty model from the records. A record that does not decode, or does not fit the others
// (names, cycles, ranges), is left out; an FP whose DP is missing is kept without it, and a nesting
// without its FP. Returns the repairs that the store needs: records to quarantine, with the reason,
// and records that are not as the service writes them.
std::vector<Change> Load(const std::vector<StoredRecord>& records, Model& model);

// A key on one line.
std::string PrintableKey(std::string key);

}  // namespace hqosd
