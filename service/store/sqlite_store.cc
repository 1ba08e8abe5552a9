// The store in an SQLite database: one table of text key to value, and one for quarantined records.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <span>

#include "service/model/log.h"
#include "service/store/records.h"
#include "service/store/salvage.h"
#include "service/store/schema.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

namespace {

namespace fs = std::filesystem;

constexpr size_t kChangesAtOnce = 100;
constexpr int kAutoCheckpoint = 1000;  // pages in the log, SQLite's default
constexpr char kLocked[] = "another process has locked it";
constexpr char kNoRoom[] = "its disk is full";
constexpr char kEmpty[] = "it is empty";

// Commits are on disk when they return: synchronous=FULL syncs the log at each.
constexpr char kSetUp[] =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA secure_delete=ON";
constexpr char kPut[] = "INSERT OR REPLACE INTO record VALUES(?1, ?2, row_sum(?1, ?2))";
constexpr char kDelete[] = "DELETE FROM record WHERE key = ?1";
constexpr char kQuarantine[] =
    "INSERT INTO quarantine SELECT key, value, ?2, datetime('now') FROM record WHERE key = ?1";
constexpr char kOverwrite[] =
    "INSERT OR REPLACE INTO record SELECT key, value, sum FROM record"
    " WHERE key = '" HQOSD_KEY_VERSION "'";

// The disk has no room for what SQLite wanted to write; sync errors count too.
bool IsOutOfRoom(sqlite3* db) {
  const int code = sqlite3_errcode(db);
  return code == SQLITE_FULL || code == SQLITE_IOERR || code == SQLITE_CANTOPEN;
}

class SqliteStore final : public Store {
 public:
  explicit SqliteStore(const std::string& file) : file_(file), reserve_(file) {}

  std::string Read(std::vector<StoredRecord>& records,
                   std::vector<QuarantinedRecord>* quarantine) override {
    Execute("BEGIN");
    std::string why = ReadRecords(records);
    if (why.empty() && quarantine != nullptr) why = ReadQuarantine(*quarantine);
    Execute("COMMIT");
    return why;
  }

  std::string Write(const std::vector<Change>& changes) override {
    return Transact(changes, [this](const std::vector<Change>& all) { return Make(all); });
  }

  // What fails is tried again at once as a whole, with all that Write does about it.
  std::string WriteSome(const std::vector<Change>& changes, const Slice& slice,
                        size_t& done) override {
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

  void Checkpoint() override {
    sqlite3_wal_checkpoint_v2(db_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  }

  void Abandon() override {
    if (sqlite3_get_autocommit(db_.get()) == 0) Execute("ROLLBACK");
  }

  std::string WhyNotWritten() override {
    const std::string lost = CheckFiles();
    if (!lost.empty()) return lost;
    sqlite3_busy_timeout(db_.get(), wasLocked_ ? 0 : kBusyTime);
    const bool isFree = Execute("BEGIN IMMEDIATE");
    wasLocked_ = !isFree && sqlite3_errcode(db_.get()) == SQLITE_BUSY;
    if (isFree) Execute("ROLLBACK");
    return wasLocked_ ? kLocked : "";
  }

  std::string Restored(const std::vector<std::string>& keys) override {
    return Transact(keys, [this](const std::vector<std::string>& all) {
      const Statement del = Prepare("DELETE FROM quarantine WHERE key = ?1");
      for (const std::string& key : all) {
        if (del == nullptr || !Run(del, key)) return false;
      }
      return true;
    });
  }

  std::string Damage() const override { return damage_; }

  std::string OpenToRead();
  std::string OpenToCheck();
  std::string OpenToServe();

 private:
  bool Execute(const char* sql) { return hqosd::Execute(db_.get(), sql); }
  Statement Prepare(const char* sql) { return hqosd::Prepare(db_.get(), sql); }
  std::string Why() const { return db_ == nullptr ? "out of memory" : sqlite3_errmsg(db_.get()); }

  bool Open(const std::string& name, int flags) { return OpenDatabase(name, flags, db_); }
  std::string FindDamage() const {
    // A store that was served once has tables.
    const bool isEmpty =
        reserve_.Exists() && FirstText(db_.get(), "SELECT count(*) FROM sqlite_master") == "0";
    return isEmpty ? kEmpty : hqosd::FindDamage(db_.get());
  }
  std::string SetUp();
  bool CommitWithoutCheckpoint() {
    sqlite3_wal_autocheckpoint(db_.get(), 0);
    const bool isDone = Execute("COMMIT");
    sqlite3_wal_autocheckpoint(db_.get(), kAutoCheckpoint);
    return isDone;
  }
  // Closing will not fold the log into the file.
  void LeaveLog() {
    if (db_ != nullptr) sqlite3_db_config(db_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  std::string CheckFiles();
  std::string OpenWithoutRoom();
  std::string OpenReadOnly();
  std::string Repair();
  std::string TryRepair();
  std::string OpenDamaged(const std::string& why);

  std::string ReadRecords(std::vector<StoredRecord>& records) {
    const bool isOld = VersionOf(db_.get()) == "1";
    const char* const sql = isOld ? "SELECT key, value, 1 FROM record ORDER BY key" : kReadRecords;
    const int result = ForEachRow(db_.get(), sql, [&records](sqlite3_stmt* row) {
      records.push_back({TextAt(row, 0), BytesAt(row, 1), sqlite3_column_int(row, 2) != 0});
    });
    return result == SQLITE_DONE ? "" : Why();
  }

  std::string ReadQuarantine(std::vector<QuarantinedRecord>& records) {
    const bool isOld = VersionOf(db_.get()) == "1";
    const char* const sql =
        isOld ? "SELECT key, value, reason, since FROM set_aside ORDER BY rowid" : kReadQuarantine;
    const int result = ForEachRow(db_.get(), sql, [&records](sqlite3_stmt* row) {
      records.push_back({TextAt(row, 0), BytesAt(row, 1), TextAt(row, 2), TextAt(row, 3)});
    });
    return result == SQLITE_DONE ? "" : Why();
  }

  // Carries `make` out in one transaction.
  template <class What, class Carry>
  std::string Transact(const std::vector<What>& what, const Carry& make);
  template <class What, class Carry>
  std::string TransactOnce(const std::vector<What>& what, const Carry& make);
  template <class What, class Carry>
  std::string OpenAgainAndTransact(const std::vector<What>& what, const Carry& make);

  bool Make(std::span<const Change> changes) {
    const Statement put = Prepare(kPut), del = Prepare(kDelete), quarantine = Prepare(kQuarantine);
    if (put == nullptr || del == nullptr || quarantine == nullptr) return false;
    for (const Change& change : changes) {
      if (!change.quarantine.empty() && !Run(quarantine, change.key, change.quarantine)) {
        return false;
      }
      const bool done = change.value ? Run(put, change.key, *change.value) : Run(del, change.key);
      if (!done) return false;
    }
    return true;
  }

  std::string file_;
  Reserve reserve_;
  StoreLock lock_;
  Database db_;  // closed before the lock is given up
  bool wasLocked_ = false;
  bool hasRoom_ = true;  // false: opened on a full disk, to read
  std::string damage_;   // of a store that cannot be salvaged yet: its rows are in memory
};

std::string SqliteStore::SetUp() {
  if (VersionOf(db_.get()) == "1" && !Upgrade(db_.get())) return Why();
  if (!Execute(kSetUp) || !Execute(kCreateTables)) return Why();
  return FirstText(db_.get(), "PRAGMA journal_mode") == "wal" ? "" : "it cannot have a log";
}

// "" when the files are those that were opened.
std::string SqliteStore::CheckFiles() {
  const std::string lost = lock_.Check();
  if (!lost.empty()) LeaveLog();  // it may be all that is left
  const bool isOnDisk = lock_.IsTaken() && damage_.empty();
  if (!lost.empty() || !isOnDisk || access((file_ + "-wal").c_str(), F_OK) == 0) return lost;
  Log("%s-wal has been removed; it is made again", file_.c_str());
  db_.reset();  // has the log open still, and writes it to the database
  return Open(file_, SQLITE_OPEN_READWRITE) ? SetUp() : Why();
}

// In exclusive mode SQLite needs no file for its index of the log.
std::string SqliteStore::OpenWithoutRoom() {
  const bool isOpen = Open(file_, SQLITE_OPEN_READWRITE) &&
                      Execute("PRAGMA locking_mode=EXCLUSIVE") &&
                      !FirstText(db_.get(), "SELECT count(*) FROM record").empty();
  hasRoom_ = false;
  if (isOpen) unlink((file_ + "-shm").c_str());  // of another time; see HasLostLog
  return isOpen ? "" : Why();
}

// Salvages the damaged store, and opens the fresh one.
std::string SqliteStore::Repair() {
  std::string why = lock_.IsTaken() ? "" : lock_.Take(file_);
  if (why.empty()) why = Salvage(file_, damage_);
  if (!why.empty()) return why;
  damage_.clear();
  db_.reset();
  why = lock_.Take(file_);
  if (!why.empty()) return why;
  return Open(file_, SQLITE_OPEN_READWRITE) ? SetUp() : Why();
}

// For a damaged store that could not be salvaged at the start. Tries no more than may succeed.
std::string SqliteStore::TryRepair() {
  std::error_code noSize;
  const uint64_t size = fs::file_size(file_, noSize);
  if (!noSize && !HasRoom(file_, 2 * size)) return "it is damaged, and " + std::string(kNoRoom);
  const std::string why = Repair();
  return why.empty() ? "" : "it is damaged, and cannot be salvaged: " + why;
}

// Serves what can be read of the damaged store from memory.
std::string SqliteStore::OpenDamaged(const std::string& why) {
  db_ = ReadDamaged(file_);
  if (db_ == nullptr) return "out of memory";
  Log(Level::Warning, "the store is damaged (%s) and can only be read: %s", damage_.c_str(),
      why.c_str());
  return "";
}

std::string SqliteStore::OpenToServe() {
  std::error_code ignored;
  fs::create_directories(fs::path(file_).parent_path(), ignored);
  const bool wasThere = reserve_.Exists();
  std::string why = lock_.Take(file_);
  if (why.empty() && IsSalvageReady(file_)) {
    Log("the salvage of a damaged store was interrupted, and is completed");
    why = FinishSalvage(file_);
    if (why.empty()) why = lock_.Take(file_);
  }
  if (!why.empty()) return why;
  if (HasLostLog(file_))
    Log("the store has lost its log, %s-wal, and what that held", file_.c_str());
  // Who can read a store can lock it, and keep its log from being emptied.
  for (const char* end : {"", "-wal", "-shm"}) chmod((file_ + end).c_str(), S_IRUSR | S_IWUSR);
  std::error_code noSize;
  if (wasThere && fs::file_size(file_, noSize) == 0) damage_ = kEmpty;
  if (damage_.empty()) {
    if (!Open(file_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) return Why();
    if (!Execute("SELECT 1 FROM sqlite_master") && sqlite3_errcode(db_.get()) == SQLITE_BUSY) {
      return kLocked;  // that is no damage
    }
    why = CheckVersion(db_.get());
    if (!why.empty()) return why;
    damage_ = FindDamage();
    if (!damage_.empty() && IsOutOfRoom(db_.get()) && OpenWithoutRoom().empty()) {
      damage_ = FindDamage();
      if (damage_.empty())
        Log(Level::Warning, "the store can only be read until there is room: %s", kNoRoom);
      if (damage_.empty()) return "";
    }
  }
  if (damage_.empty()) {
    why = SetUp();
  } else {
    LeaveLog();
    db_.reset();
    why = Repair();
    if (!damage_.empty()) return OpenDamaged(why);
  }
  if (why.empty()) reserve_.Make();
  return why;
}

std::string SqliteStore::OpenReadOnly() {
  if (!Open(ReadingUri(file_, false), kReadUri)) return Why();
  // On a full disk SQLite cannot have its index of the log, and a service there has none either.
  const bool isRead = !FirstText(db_.get(), "SELECT count(*) FROM sqlite_master").empty();
  const bool hasNoRoom = IsOutOfRoom(db_.get()) || sqlite3_errcode(db_.get()) == SQLITE_BUSY;
  if (!isRead && hasNoRoom && !Open(ReadingUri(file_, true), kReadUri)) return Why();
  return CheckVersion(db_.get());
}

std::string SqliteStore::OpenToCheck() {
  const bool hasLostLog = HasLostLog(file_);
  const std::string why = OpenReadOnly();
  if (!why.empty()) return why;
  damage_ = FindDamage();
  if (!damage_.empty()) db_ = ReadDamaged(file_);
  if (damage_.empty() && hasLostLog) damage_ = "it has lost its log";
  return db_ == nullptr ? "out of memory" : "";
}

std::string SqliteStore::OpenToRead() {
  const std::string why = OpenReadOnly();
  if (!why.empty() || db_ == nullptr) return why;
  damage_ = FindDamage();
  return damage_.empty() ? "" : OpenDamaged("hqosd repairs it when it may write there");
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

}  // namespace

std::unique_ptr<Store> OpenStore(const std::string& file, Purpose purpose, std::string& why) {
  auto store = std::make_unique<SqliteStore>(file);
  why = purpose == Purpose::Read    ? store->OpenToRead()
        : purpose == Purpose::Check ? store->OpenToCheck()
                                    : store->OpenToServe();
  if (!why.empty()) return nullptr;
  return store;
}

}  // namespace hqosd
