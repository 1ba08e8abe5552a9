#include "service/store/sqlite_store.h"

#include <algorithm>

#include "service/model/log.h"
#include "service/store/records.h"

namespace hqosd {

namespace {

constexpr size_t kChangesAtOnce = 100;
constexpr int kAutoCheckpoint = 1000;  // pages in the log, SQLite's default

constexpr char kPut[] = "INSERT OR REPLACE INTO record VALUES(?1, ?2, row_sum(?1, ?2))";
constexpr char kDelete[] = "DELETE FROM record WHERE key = ?1";
constexpr char kQuarantine[] =
    "INSERT INTO quarantine SELECT key, value, ?2, datetime('now') FROM record WHERE key = ?1";
constexpr char kOverwrite[] =
    "INSERT OR REPLACE INTO record SELECT key, value, sum FROM record"
    " WHERE key = '" HQOSD_KEY_VERSION "'";

}  // namespace

bool IsOutOfRoom(sqlite3* db) {
  const int code = sqlite3_errcode(db);
  return code == SQLITE_FULL || code == SQLITE_IOERR || code == SQLITE_CANTOPEN;
}

bool SqliteStore::CommitWithoutCheckpoint() {
  sqlite3_wal_autocheckpoint(db_.get(), 0);
  const bool isDone = Execute("COMMIT");
  sqlite3_wal_autocheckpoint(db_.get(), kAutoCheckpoint);
  return isDone;
}

std::string SqliteStore::ReadRecords(std::vector<StoredRecord>& records) {
  const bool isOld = VersionOf(db_.get()) == "1";
  const char* const sql = isOld ? "SELECT key, value, 1 FROM record ORDER BY key" : kReadRecords;
  const int result = ForEachRow(db_.get(), sql, [&records](sqlite3_stmt* row) {
    records.push_back({TextAt(row, 0), BytesAt(row, 1), sqlite3_column_int(row, 2) != 0});
  });
  return result == SQLITE_DONE ? "" : Why();
}

std::string SqliteStore::ReadQuarantine(std::vector<QuarantinedRecord>& records) {
  const bool isOld = VersionOf(db_.get()) == "1";
  const char* const sql =
      isOld ? "SELECT key, value, reason, since FROM set_aside ORDER BY rowid" : kReadQuarantine;
  const int result = ForEachRow(db_.get(), sql, [&records](sqlite3_stmt* row) {
    records.push_back({TextAt(row, 0), BytesAt(row, 1), TextAt(row, 2), TextAt(row, 3)});
  });
  return result == SQLITE_DONE ? "" : Why();
}

bool SqliteStore::Make(std::span<const Change> changes) {
  const Statement put = Prepare(kPut), del = Prepare(kDelete), quarantine = Prepare(kQuarantine);
  if (put == nullptr || del == nullptr || quarantine == nullptr) return false;
  return std::all_of(changes.begin(), changes.end(), [&](const Change& change) {
    if (!change.quarantine.empty() && !Run(quarantine, change.key, change.quarantine)) {
      return false;
    }
    return change.value ? Run(put, change.key, *change.value) : Run(del, change.key);
  });
}

template <class What, class Carry>
std::string SqliteStore::TransactOnce(const std::vector<What>& what, const Carry& make) {
  if (!Execute("BEGIN IMMEDIATE")) {
    return sqlite3_errcode(db_.get()) == SQLITE_BUSY ? kLocked : Why();
  }
  if (make(what) && Execute("COMMIT")) return "";
  std::string why = IsOutOfRoom(db_.get()) ? kNoRoom : Why();
  if (sqlite3_errcode(db_.get()) == SQLITE_IOERR) why = Why();
  Execute("ROLLBACK");
  // When the sync failed, the log holds the transaction; a service that starts would find it. It
  // is overwritten here, whether that can be synced or not.
  Execute(kOverwrite);
  return why.empty() ? "unknown" : why;
}

// For a store that was opened on a full disk.
template <class What, class Carry>
std::string SqliteStore::OpenAgainAndTransact(const std::vector<What>& what, const Carry& make) {
  db_.reset();
  hasRoom_ = true;
  const std::string why = Open(file_, SQLITE_OPEN_READWRITE) ? SetUp() : Why();
  if (!why.empty()) return OpenWithoutRoom().empty() ? kNoRoom : why;
  Log("there is room for the store again");
  return TransactOnce(what, make);
}

template <class What, class Carry>
std::string SqliteStore::Transact(const std::vector<What>& what, const Carry& make) {
  std::string why = CheckFiles();
  if (why.empty() && !damage_.empty()) why = TryRepair();
  if (!why.empty()) return why;
  why = hasRoom_ ? TransactOnce(what, make) : OpenAgainAndTransact(what, make);
  if constexpr (std::is_same_v<What, Change>) {
    // What deletes may use the reserve, even if it rewrites rows too.
    const bool deletes =
        std::any_of(what.begin(), what.end(), [](const Change& change) { return !change.value; });
    if (why == kNoRoom && deletes && reserve_.GiveUp()) {
      why = hasRoom_ ? TransactOnce(what, make) : OpenAgainAndTransact(what, make);
    }
  }
  if (why.empty()) reserve_.Make();
  return why;
}

std::string SqliteStore::Read(std::vector<StoredRecord>& records,
                              std::vector<QuarantinedRecord>* quarantine) {
  Execute("BEGIN");
  std::string why = ReadRecords(records);
  if (why.empty() && quarantine != nullptr) why = ReadQuarantine(*quarantine);
  Execute("COMMIT");
  return why;
}

std::string SqliteStore::Write(const std::vector<Change>& changes) {
  return Transact(changes, [this](const std::vector<Change>& all) { return Make(all); });
}

std::string SqliteStore::WriteSome(const std::vector<Change>& changes, const Slice& slice,
                                   size_t& done) {
  const bool canBegin = hasRoom_ && damage_.empty() && CheckFiles().empty();
  bool isMade = canBegin && (done != 0 || Execute("BEGIN IMMEDIATE"));
  const size_t first = done;
  while (isMade && done < changes.size()) {
    if (done != first && slice.IsOver()) break;
    const size_t count = std::min(kChangesAtOnce, changes.size() - done);
    isMade = Make(std::span(changes).subspan(done, count));
    done += count;
  }
  if (isMade && done < changes.size()) {
    StartWriting(file_ + "-wal");
    return "";
  }
  if (isMade && (first == 0 ? Execute("COMMIT") : CommitWithoutCheckpoint())) return "";
  Abandon();
  if (isMade) Execute(kOverwrite);  // as in TransactOnce
  done = changes.size();
  return Write(changes);
}

void SqliteStore::Checkpoint() {
  sqlite3_wal_checkpoint_v2(db_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

void SqliteStore::Abandon() {
  if (sqlite3_get_autocommit(db_.get()) == 0) Execute("ROLLBACK");
}

std::string SqliteStore::WhyNotWritten() {
  std::string lost = CheckFiles();
  if (!lost.empty()) return lost;
  sqlite3_busy_timeout(db_.get(), wasLocked_ ? 0 : kBusyTime);
  const bool isFree = Execute("BEGIN IMMEDIATE");
  wasLocked_ = !isFree && sqlite3_errcode(db_.get()) == SQLITE_BUSY;
  if (isFree) Execute("ROLLBACK");
  return wasLocked_ ? kLocked : "";
}

std::string SqliteStore::Restored(const std::vector<std::string>& keys) {
  return Transact(keys, [this](const std::vector<std::string>& all) {
    const Statement del = Prepare("DELETE FROM quarantine WHERE key = ?1");
    const auto isDeleted = [&](const std::string& key) { return del != nullptr && Run(del, key); };
    return std::all_of(all.begin(), all.end(), isDeleted);
  });
}

}  // namespace hqosd
