// The tables of a store. Every row of `record` has the checksum of its key and value (XXH3, 64
// bits). Version 1 had no checksums, and called the second table set_aside.
#pragma once

#include "service/store/sqlite.h"

namespace hqosd {

constexpr char kCreateTables[] =
    "CREATE TABLE IF NOT EXISTS record(key TEXT PRIMARY KEY, value BLOB NOT NULL, sum INTEGER)"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS quarantine(key TEXT, value BLOB, reason TEXT, since TEXT);";

// The third column: whether the checksum is right.
constexpr char kReadRecords[] =
    "SELECT key, value, sum IS row_sum(key, value) FROM record ORDER BY key";
constexpr char kReadQuarantine[] =
    "SELECT key, value, reason, since FROM quarantine ORDER BY rowid";

int64_t RowSum(const std::string& key, const Bytes& value);

constexpr int kBusyTime = 250;  // ms for a lock that somebody else holds by accident

constexpr int kReadUri = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;

// Opens the database, whose statements can use row_sum(key, value). False when it cannot; `db` says
// why, or is null when memory is short.
bool OpenDatabase(const std::string& name, int flags, Database& db);

// The number of the store's version in its text form; "" when it has no valid one.
std::string VersionOf(sqlite3* db);

// "" when the version is the present one, or one that can be upgraded.
std::string CheckVersion(sqlite3* db);

// What SQLite's own check finds, or what that passes over: a row whose key has left the order of
// the tree, a table without its columns; "" when there is no damage.
std::string FindDamage(sqlite3* db);

// From version 1 to the present one: its rows are accepted as they are, once.
bool Upgrade(sqlite3* db);

}  // namespace hqosd
