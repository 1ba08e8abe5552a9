// What can still be read of a damaged store.
#pragma once

#include <string>

#include "service/store/sqlite.h"

namespace hqosd {

// Puts a fresh store in the place of the damaged one, with every row that can be read: those that
// SQLite finds from either end, and those on pages that it cannot reach whose checksums are right.
// The damaged files are kept under a name with the time. Nobody else may have the store open.
// Returns "", or why it could not; the damaged store is then as it was.
std::string Salvage(const std::string& file, const std::string& damage);

// Whether the death of a service has interrupted a salvage at its last step; this completes it, and
// returns "" or why it could not.
bool IsSalvageReady(const std::string& file);
std::string FinishSalvage(const std::string& file);

// A store in memory with the same rows, for one that cannot be replaced. Null when memory is short.
Database ReadDamaged(const std::string& file);

}  // namespace hqosd
