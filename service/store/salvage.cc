#include "service/store/salvage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>

#include "service/model/log.h"
#include "service/store/page_scan.h"
#include "service/store/records.h"
#include "service/store/schema.h"

namespace hqosd {

namespace {

namespace fs = std::filesystem;

struct Row {
  Bytes value;
  int64_t sum;
};
using Rows = std::map<std::string, Row>;

struct Quarantined {
  std::string key;
  Bytes value;
  std::string reason, since;
};

Database OpenFile(const std::string& file) {
  sqlite3* db = nullptr;
  const bool done = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                                    nullptr) == SQLITE_OK;
  Database opened(db);
  return done && AddRowSum(db) ? std::move(opened) : nullptr;
}

// What SQLite finds from the first key on, and from the last one back. Rows of a version without
// checksums are accepted as they are.
void ReadByKeys(sqlite3* db, Rows& rows, std::vector<Quarantined>& quarantine) {
  const auto take = [&rows](sqlite3_stmt* row) {
    const std::string key = TextAt(row, 0);
    rows.insert({key, {BytesAt(row, 1), sqlite3_column_int64(row, 2)}});
  };
  for (const char* sum : {"sum", "row_sum(key, value)"}) {
    for (const char* order : {"", " DESC"}) {
      const std::string sql =
          fmt::format("SELECT key, value, {} FROM record ORDER BY key{}", sum, order);
      ForEachRow(db, sql.c_str(), take);
    }
    if (!rows.empty()) break;
  }
  for (const char* table : {"quarantine", "set_aside"}) {
    ForEachRow(
        db, fmt::format("SELECT key, value, reason, since FROM {}", table).c_str(),
        [&quarantine](sqlite3_stmt* row) {
          quarantine.push_back({TextAt(row, 0), BytesAt(row, 1), TextAt(row, 2), TextAt(row, 3)});
        });
  }
}

// What is on the pages of a database file, or of a log, where each has a header of its own. A row
// that is found twice is the later one in a log, and in a file the one that SQLite found.
void ReadByPages(const std::string& file, bool isLog, Rows& rows) {
  std::ifstream in(file, std::ios::binary);
  Bytes header(100);
  in.read(reinterpret_cast<char*>(header.data()), static_cast<std::streamsize>(header.size()));
  in.clear();
  const size_t size = PageSize(header, isLog);
  in.seekg(isLog ? 32 : 0);
  Bytes page(size);
  for (size_t number = 0;; ++number) {
    if (isLog) in.ignore(24);
    if (!in.read(reinterpret_cast<char*>(page.data()), static_cast<std::streamsize>(size))) return;
    ScanPage(page, number == 0 && !isLog ? 100 : 0, [&](const PageRow& row) {
      if (RowSum(row.key, row.value) != row.sum) return;
      if (isLog) {
        rows[row.key] = {row.value, row.sum};
      } else {
        rows.insert({row.key, {row.value, row.sum}});
      }
    });
  }
}

// A store of the rows, on disk when it returns true.
bool Create(const std::string& file, const Rows& rows, const std::vector<Quarantined>& quarantine) {
  const Database db = OpenFile(file);
  if (db == nullptr || !Execute(db.get(), "PRAGMA synchronous=FULL; BEGIN") ||
      !Execute(db.get(), kCreateTables)) {
    return false;
  }
  const auto bind = [](const Statement& to, int column, const auto& bytes, bool isText) {
    const int length = static_cast<int>(bytes.size());
    const void* const data = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
    isText
        ? sqlite3_bind_text(to.get(), column, static_cast<const char*>(data), length, SQLITE_STATIC)
        : sqlite3_bind_blob(to.get(), column, data, length, SQLITE_STATIC);
  };
  const auto step = [](const Statement& insert) {
    return sqlite3_step(insert.get()) == SQLITE_DONE && sqlite3_reset(insert.get()) == SQLITE_OK;
  };
  const Statement record = Prepare(db.get(), "INSERT INTO record VALUES(?1, ?2, ?3)");
  const Statement other = Prepare(db.get(), "INSERT INTO quarantine VALUES(?1, ?2, ?3, ?4)");
  for (const auto& [key, row] : rows) {
    bind(record, 1, key, true);
    bind(record, 2, row.value, false);
    sqlite3_bind_int64(record.get(), 3, row.sum);
    if (!step(record)) return false;
  }
  for (const Quarantined& row : quarantine) {
    bind(other, 1, row.key, true);
    bind(other, 2, row.value, false);
    bind(other, 3, row.reason, true);
    bind(other, 4, row.since, true);
    if (!step(other)) return false;
  }
  return Execute(db.get(), "COMMIT");
}

std::string Now() {
  const time_t now = time(nullptr);
  tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
  return text;
}

// Copies the damaged files beside themselves.
std::string Keep(const std::string& file, const std::string& kept) {
  std::error_code error;
  fs::copy_file(file, kept, error);
  if (!error && fs::exists(file + "-wal")) fs::copy_file(file + "-wal", kept + "-wal", error);
  return error ? "it cannot be copied to " + kept + ": " + error.message() : "";
}

// Puts the fresh store in the place of the damaged one, whose log must not be applied to it.
std::string Replace(const std::string& fresh, const std::string& file) {
  for (const char* end : {"-wal", "-shm"}) unlink((file + end).c_str());
  if (rename(fresh.c_str(), file.c_str()) != 0) return std::strerror(errno);
  const std::string dir = fs::path(file).parent_path();
  const int fd = open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    fsync(fd);
    close(fd);
  }
  return "";
}

}  // namespace

std::string Salvage(const std::string& file, const std::string& damage) {
  const std::string fresh = file + ".salvaged";
  std::string kept = file + ".damaged-" + Now();
  while (fs::exists(kept)) kept += '+';
  std::string why = Keep(file, kept);
  if (!why.empty()) return why;
  Rows rows;
  std::vector<Quarantined> quarantine;
  if (const Database db = OpenFile(file)) {
    Execute(db.get(), "PRAGMA wal_checkpoint(TRUNCATE)");
    ReadByKeys(db.get(), rows, quarantine);
  }
  const size_t byKeys = rows.size();
  ReadByPages(file, false, rows);
  if (rows.empty()) ReadByPages(kept + "-wal", true, rows);
  const size_t found = rows.size();
  const Bytes version(std::begin(kStoreVersion), std::end(kStoreVersion) - 1);
  rows[HQOSD_KEY_VERSION] = {version, RowSum(HQOSD_KEY_VERSION, version)};
  for (const char* end : {"", "-journal"}) unlink((fresh + end).c_str());
  if (!Create(fresh, rows, quarantine)) return "the rows that can be read cannot be written";
  why = Replace(fresh, file);
  if (!why.empty()) return why;
  Log("the store was damaged: %s; %zu records can be read, %zu of them only from their pages, and "
      "all "
      "others are lost; the damaged store is kept as %s",
      damage.c_str(), found, found - byKeys, kept.c_str());
  return "";
}

}  // namespace hqosd
