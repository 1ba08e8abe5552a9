#include "service/store/schema.h"

#include <xxhash.h>

#include "service/store/records.h"

namespace hqosd {

namespace {

int64_t Sum(const void* key, size_t keyLength, const void* value, size_t length) {
  return static_cast<int64_t>(XXH3_64bits_withSeed(value, length, XXH3_64bits(key, keyLength)));
}

void SumOfArguments(sqlite3_context* context, int, sqlite3_value** arguments) {
  const auto length = [&](int i) { return static_cast<size_t>(sqlite3_value_bytes(arguments[i])); };
  const void* const key = sqlite3_value_blob(arguments[0]);
  const void* const value = sqlite3_value_blob(arguments[1]);
  sqlite3_result_int64(context, Sum(key, length(0), value, length(1)));
}

}  // namespace

int64_t RowSum(const std::string& key, const Bytes& value) {
  return Sum(key.data(), key.size(), value.data(), value.size());
}

bool OpenDatabase(const std::string& name, int flags, Database& db) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
  db.reset(opened);
  if (opened != nullptr) sqlite3_busy_timeout(opened, kBusyTime);
  return result == SQLITE_OK &&
         sqlite3_create_function(opened, "row_sum", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                 SumOfArguments, nullptr, nullptr) == SQLITE_OK;
}

std::string VersionOf(sqlite3* db) {
  const bool hasSums =
      !FirstText(db, "SELECT name FROM pragma_table_info('record') WHERE name = 'sum'").empty();
  return FirstText(db, hasSums ? "SELECT value FROM record WHERE key = '" HQOSD_KEY_VERSION
                                 "' AND sum = row_sum(key, value)"
                               : "SELECT value FROM record WHERE key = '" HQOSD_KEY_VERSION "'");
}

std::string CheckVersion(sqlite3* db) {
  const std::string version = VersionOf(db);
  if (version.empty() || version == kStoreVersion || version == "1") return "";
  return "its version is " + version + ", not " + kStoreVersion;
}

std::string FindDamage(sqlite3* db) {
  std::string damage = FirstText(db, "PRAGMA quick_check(1)");
  if (damage != "ok")
    return damage.empty() ? std::string(sqlite3_errmsg(db)) : damage.substr(damage.rfind('\n') + 1);
  std::string last, unordered;
  const int result = ForEachRow(db, "SELECT key FROM record ORDER BY key", [&](sqlite3_stmt* row) {
    std::string key = TextAt(row, 0);
    if (!last.empty() && key <= last) unordered = "a key is not in the order of its tree";
    last = std::move(key);
  });
  const std::string why = sqlite3_errmsg(db);
  if (result == SQLITE_DONE) {
    const bool isUsable = VersionOf(db) == "1" || (Prepare(db, kReadRecords) != nullptr &&
                                                   Prepare(db, kReadQuarantine) != nullptr);
    return isUsable ? unordered : sqlite3_errmsg(db);
  }
  return FirstText(db, "SELECT count(*) FROM sqlite_master") == "0" ? "" : why;
}

bool Upgrade(sqlite3* db) {
  const bool done =
      Execute(db,
              "BEGIN IMMEDIATE; ALTER TABLE record ADD COLUMN sum INTEGER;"
              "ALTER TABLE set_aside RENAME TO quarantine;"
              "UPDATE record SET value = CAST('2' AS BLOB) WHERE key = '" HQOSD_KEY_VERSION
              "'; UPDATE record SET sum = row_sum(key, value); COMMIT");
  if (!done) Execute(db, "ROLLBACK");
  return done;
}

}  // namespace hqosd
