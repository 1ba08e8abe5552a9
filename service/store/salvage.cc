#include "service/store/salvage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>

#include "service/model/log.h"
#include "service/store/page_scan.h"
#include "service/store/records.h"
#include "service/store/schema.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

namespace {

namespace fs = std::filesystem;

constexpr char kReady[] = ".repaired";  // ends the name of a complete fresh store

struct Row {
  Bytes value;
  int64_t sum;
};

// What a damaged store has.
struct Found {
  std::map<std::string, Row> rows;
  std::vector<QuarantinedRecord> quarantine;
  size_t byKeys = 0, count = 0;  // of the rows: those that SQLite finds, and all that are found
};

// What SQLite finds from the first key on, and from the last one back. Rows of a version without
// checksums are accepted as they are.
void ReadByKeys(sqlite3* db, Found& found) {
  const auto take = [&found](sqlite3_stmt* row) {
    const std::string key = TextAt(row, 0);
    found.rows.insert({key, {BytesAt(row, 1), sqlite3_column_int64(row, 2)}});
  };
  const char* const sum = VersionOf(db) == "1" ? "row_sum(key, value)" : "sum";
  for (const char* order : {"", " DESC"}) {
    const std::string sql =
        fmt::format("SELECT key, value, {} FROM record ORDER BY key{}", sum, order);
    ForEachRow(db, sql.c_str(), take);
  }
  for (const char* table : {"quarantine", "set_aside"}) {
    ForEachRow(db, fmt::format("SELECT key, value, reason, since FROM {}", table).c_str(),
               [&found](sqlite3_stmt* row) {
                 found.quarantine.push_back(
                     {TextAt(row, 0), BytesAt(row, 1), TextAt(row, 2), TextAt(row, 3)});
               });
  }
}

Found ReadRows(const std::string& file) {
  Found found;
  std::error_code noSize;
  const bool isEmpty = fs::file_size(file, noSize) == 0;
  // With its log first, for whose index there may be no room. SQLite removes that of an empty file.
  for (const bool isFull : {false, true}) {
    if (isEmpty) break;
    Database db;
    if (OpenDatabase(ReadingUri(file, isFull), kReadUri, db)) {
      ReadByKeys(db.get(), found);
    }
    if (!found.rows.empty()) break;
  }
  found.byKeys = found.rows.size();
  std::map<std::string, Row> byPages;
  ScanPages(file, [&byPages](const PageRow& row) {
    if (RowSum(row.key, row.value) == row.sum) byPages[row.key] = {row.value, row.sum};
  });
  found.rows.merge(byPages);
  found.count = found.rows.size();
  const Bytes version(std::begin(kStoreVersion), std::end(kStoreVersion) - 1);
  found.rows[HQOSD_KEY_VERSION] = {version, RowSum(HQOSD_KEY_VERSION, version)};
  return found;
}

// A new store of the rows, on disk when it is returned; else null.
Database Create(const std::string& file, const Found& found) {
  Database db;
  if (!OpenDatabase(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, db) ||
      !Execute(db.get(), "PRAGMA synchronous=FULL; BEGIN") || !Execute(db.get(), kCreateTables)) {
    return nullptr;
  }
  const Statement record = Prepare(db.get(), "INSERT INTO record VALUES(?1, ?2, ?3)");
  const Statement other = Prepare(db.get(), "INSERT INTO quarantine VALUES(?1, ?2, ?3, ?4)");
  for (const auto& [key, row] : found.rows) {
    if (!Run(record, key, row.value, row.sum)) return nullptr;
  }
  for (const QuarantinedRecord& row : found.quarantine) {
    if (!Run(other, row.key, row.value, row.reason, row.since)) return nullptr;
  }
  return Execute(db.get(), "COMMIT") ? std::move(db) : nullptr;
}

std::string Now() {
  const time_t now = time(nullptr);
  tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
  return text;
}

bool Sync(const fs::path& file) {
  const int fd = open(file.empty() ? "." : file.c_str(), O_RDONLY | O_CLOEXEC);
  const bool done = fd >= 0 && fsync(fd) == 0;
  if (fd >= 0) close(fd);
  return done;
}

// Gives the file a second name, which takes no room, or copies it where that cannot be.
std::string KeepFile(const std::string& file, const std::string& kept) {
  std::error_code error;
  fs::create_hard_link(file, kept, error);
  if (error) fs::copy_file(file, kept, error);
  return error || !Sync(kept) ? "it cannot be kept as " + kept + ": " + error.message() : "";
}

std::string Keep(const std::string& file, const std::string& kept) {
  std::string why = KeepFile(file, kept);
  if (why.empty() && fs::exists(file + "-wal")) why = KeepFile(file + "-wal", kept + "-wal");
  return why;
}

// Puts the fresh store in the place of the damaged one. A death in between is finished at the next
// start: the log, which must not be applied to the fresh one, goes before.
std::string Replace(const std::string& fresh, const std::string& file) {
  const fs::path dir = fs::path(file).parent_path();
  if (rename(fresh.c_str(), (file + kReady).c_str()) != 0 || !Sync(dir)) {
    return std::strerror(errno);
  }
  return FinishSalvage(file);
}

}  // namespace

bool IsSalvageReady(const std::string& file) { return fs::exists(file + kReady); }

std::string FinishSalvage(const std::string& file) {
  const std::string ready = file + kReady;
  for (const char* end : {"-wal", "-shm"}) unlink((file + end).c_str());
  if (rename(ready.c_str(), file.c_str()) != 0) return std::strerror(errno);
  Sync(fs::path(file).parent_path());
  return "";
}

std::string Salvage(const std::string& file, const std::string& damage) {
  const std::string fresh = file + ".salvaged";
  std::string kept = file + ".damaged-" + Now();
  while (fs::exists(kept)) kept += '+';
  std::string why = Keep(file, kept);
  const Found found = why.empty() ? ReadRows(file) : Found();
  for (const char* end : {"", "-journal"}) unlink((fresh + end).c_str());
  if (why.empty() && Create(fresh, found) == nullptr) {
    why = "the rows that can be read cannot be written";
  }
  if (!why.empty()) {
    for (const std::string& made : {kept, kept + "-wal", fresh, fresh + "-journal"}) {
      unlink(made.c_str());
    }
    return why;
  }
  why = Replace(fresh, file);
  if (!why.empty()) return why;
  Log(Level::Warning,
      "the store was damaged: %s; %zu records can be read, %zu of them only from their pages, and "
      "all others are lost; the damaged store is kept as %s",
      damage.c_str(), found.count, found.count - found.byKeys, kept.c_str());
  return "";
}

Database ReadDamaged(const std::string& file) { return Create(":memory:", ReadRows(file)); }

}  // namespace hqosd
