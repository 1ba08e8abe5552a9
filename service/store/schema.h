// The tables of a store. Every row of `record` has the checksum of its key and value (XXH3, 64
// bits). Version 1 had no checksums, and called the second table set_aside.
#pragma once

#include "service/store/sqlite.h"

namespace hqosd {

constexpr char kCreateTables[] =
    "CREATE TABLE IF NOT EXISTS record(key TEXT PRIMARY KEY, value BLOB NOT NULL, sum INTEGER)"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS quarantine(key TEXT, value BLOB, reason TEXT, since TEXT);";

int64_t RowSum(const std::string& key, const Bytes& value);

// Makes row_sum(key, value) known to the statements of the connection.
bool AddRowSum(sqlite3* db);

// The number of the store's version in its text form; "" when it has none that can be believed.
std::string VersionOf(sqlite3* db);

// From version 1 to the present one: its rows are accepted as they are, once.
bool Upgrade(sqlite3* db);

}  // namespace hqosd
