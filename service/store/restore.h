// What a store holds in quarantine, for people.
#pragma once

#include "service/store/store.h"

namespace hqosd {

// Reads the store and prints what is in it, what is wrong with it and what is in quarantine; true
// when nothing is wrong.
bool CheckStore(Store& store);

// Restores the first quarantined value of each key that fits, and prints what becomes of each; true
// when all are restored. Keys are as they are printed.
bool RestoreRecords(Store& store, const std::vector<std::string>& keys);

}  // namespace hqosd
