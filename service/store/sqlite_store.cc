// The store in an SQLite database: one table of text key to value, and one for quarantined records.
#include <sys/stat.h>

#include <filesystem>

#include "service/model/log.h"
#include "service/store/records.h"
#include "service/store/salvage.h"
#include "service/store/schema.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

namespace {

namespace fs = std::filesystem;

constexpr int kBusyTime = 250;  // ms for a lock that somebody else holds by accident
constexpr char kLocked[] = "another process has locked it";
constexpr char kNoRoom[] = "its disk is full";

// Commits are on disk when they return: synchronous=FULL syncs the log at each.
constexpr char kSetUp[] =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA secure_delete=ON";
constexpr char kPut[] = "INSERT OR REPLACE INTO record VALUES(?1, ?2, row_sum(?1, ?2))";
constexpr char kDelete[] = "DELETE FROM record WHERE key = ?1";
constexpr char kQuarantine[] =
    "INSERT INTO quarantine SELECT key, value, ?2, datetime('now') FROM record WHERE key = ?1";
constexpr char kReadQuarantine[] =
    "SELECT key, value, reason, since FROM quarantine ORDER BY rowid";
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

  std::string WhyLocked() override {
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
        if (del == nullptr || !Step(*del, key, nullptr)) return false;
      }
      return true;
    });
  }

  std::string OpenToRead();
  std::string OpenToCheck() {
    std::string why = OpenToRead();
    if (why.empty()) why = FindDamage();
    return why;
  }
  std::string OpenToServe();

 private:
  bool Execute(const char* sql) { return hqosd::Execute(db_.get(), sql); }
  Statement Prepare(const char* sql) { return hqosd::Prepare(db_.get(), sql); }
  std::string Why() const { return db_ == nullptr ? "out of memory" : sqlite3_errmsg(db_.get()); }

  bool Open(const std::string& name, int flags) {
    sqlite3* db = nullptr;
    const int result = sqlite3_open_v2(name.c_str(), &db, flags, nullptr);
    db_.reset(db);
    if (db != nullptr) sqlite3_busy_timeout(db, kBusyTime);
    return result == SQLITE_OK && AddRowSum(db);
  }

  // "" when the version is the present one, or one that can be upgraded.
  std::string CheckVersion() {
    const std::string version = VersionOf(db_.get());
    if (version.empty() || version == kStoreVersion || version == "1") return "";
    return "its version is " + version + ", not " + kStoreVersion;
  }
  std::string FindDamage();
  std::string SetUp();
  std::string OpenWithoutRoom();

  std::string ReadRecords(std::vector<StoredRecord>& records) {
    const bool hasSums = !VersionOf(db_.get()).empty() && VersionOf(db_.get()) != "1";
    const char* const sql = hasSums ? "SELECT key, value, sum IS row_sum(key, value) FROM record"
                                      " ORDER BY key"
                                    : "SELECT key, value, 1 FROM record ORDER BY key";
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

  bool Make(const std::vector<Change>& changes) {
    const Statement put = Prepare(kPut), del = Prepare(kDelete), quarantine = Prepare(kQuarantine);
    if (put == nullptr || del == nullptr || quarantine == nullptr) return false;
    for (const Change& change : changes) {
      if (!change.quarantine.empty() && !Step(*quarantine, change.key, &change.quarantine)) {
        return false;
      }
      const bool done =
          change.value ? Step(*put, change.key, &*change.value) : Step(*del, change.key, nullptr);
      if (!done) return false;
    }
    return true;
  }

  // Runs a statement with a key and, where it has a second parameter, a text or bytes.
  static bool Step(sqlite3_stmt& statement, const std::string& key, std::nullptr_t) {
    sqlite3_bind_text(&statement, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    const bool done = sqlite3_step(&statement) == SQLITE_DONE;
    return sqlite3_reset(&statement) == SQLITE_OK && done;
  }
  static bool Step(sqlite3_stmt& statement, const std::string& key, const std::string* text) {
    sqlite3_bind_text(&statement, 2, text->data(), static_cast<int>(text->size()), SQLITE_STATIC);
    return Step(statement, key, nullptr);
  }
  static bool Step(sqlite3_stmt& statement, const std::string& key, const Bytes* value) {
    // Without bytes there is no pointer, and that would bind NULL.
    const void* const data = value->empty() ? "" : static_cast<const void*>(value->data());
    sqlite3_bind_blob(&statement, 2, data, static_cast<int>(value->size()), SQLITE_STATIC);
    return Step(statement, key, nullptr);
  }

  std::string file_;
  Reserve reserve_;
  StoreLock lock_;
  Database db_;  // closed before the lock is given up
  bool wasLocked_ = false;
  bool hasRoom_ = true;  // false: opened on a full disk, to read
};

// A row whose key has left the order of the tree is damage that SQLite's own check passes over.
std::string SqliteStore::FindDamage() {
  std::string damage = FirstText(db_.get(), "PRAGMA quick_check(1)");
  if (damage != "ok") return damage.empty() ? Why() : damage.substr(damage.rfind('\n') + 1);
  std::string last, unordered;
  const int result =
      ForEachRow(db_.get(), "SELECT key FROM record ORDER BY key", [&](sqlite3_stmt* row) {
        std::string key = TextAt(row, 0);
        if (!last.empty() && key <= last) unordered = "a key is not in the order of its tree";
        last = std::move(key);
      });
  const std::string why = Why();
  if (result == SQLITE_DONE) {
    const bool isUsable = VersionOf(db_.get()) == "1" || Prepare(kReadQuarantine) != nullptr;
    return isUsable ? unordered : Why();
  }
  return FirstText(db_.get(), "SELECT count(*) FROM sqlite_master") == "0" ? "" : why;
}

std::string SqliteStore::SetUp() {
  if (VersionOf(db_.get()) == "1" && !Upgrade(db_.get())) return Why();
  if (!Execute(kSetUp) || !Execute(kCreateTables)) return Why();
  return FirstText(db_.get(), "PRAGMA journal_mode") == "wal" ? "" : "it cannot have a log";
}

// In exclusive mode SQLite needs no file for its index of the log.
std::string SqliteStore::OpenWithoutRoom() {
  const bool isOpen = Open(file_, SQLITE_OPEN_READWRITE) &&
                      Execute("PRAGMA locking_mode=EXCLUSIVE") &&
                      !FirstText(db_.get(), "SELECT count(*) FROM record").empty();
  hasRoom_ = false;
  return isOpen ? "" : Why();
}

std::string SqliteStore::OpenToServe() {
  std::error_code ignored;
  fs::create_directories(fs::path(file_).parent_path(), ignored);
  const bool wasThere = reserve_.Exists();
  std::string why = lock_.Take(file_);
  if (!why.empty()) return why;
  // Who can read a store can lock it, and keep its log from being emptied.
  for (const char* end : {"", "-wal", "-shm"}) chmod((file_ + end).c_str(), S_IRUSR | S_IWUSR);
  std::error_code noSize;
  const bool isEmpty = fs::file_size(file_, noSize) == 0;
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  std::string damage = wasThere && isEmpty ? "it is empty" : "";
  if (damage.empty()) {
    if (!Open(file_, kFlags)) return Why();
    why = CheckVersion();
    if (!why.empty()) return why;
    damage = FindDamage();
    if (!damage.empty() && IsOutOfRoom(db_.get()) && OpenWithoutRoom().empty()) {
      Log("the store can only be read until there is room: %s", kNoRoom);
      return "";
    }
  }
  if (!damage.empty()) {
    db_.reset();
    why = Salvage(file_, damage);
    if (!why.empty()) return "it is damaged (" + damage + ") and cannot be salvaged: " + why;
    why = lock_.Take(file_);
    if (!why.empty() || !Open(file_, kFlags)) return why.empty() ? Why() : why;
  }
  why = SetUp();
  if (why.empty()) reserve_.Make();
  return why;
}

std::string SqliteStore::OpenToRead() {
  constexpr int kFlags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
  if (!Open(ReadingUri(file_, false), kFlags)) return Why();
  // On a full disk SQLite cannot have its index of the log, and a service there has none either.
  const bool isRead = !FirstText(db_.get(), "SELECT count(*) FROM sqlite_master").empty();
  const bool hasNoRoom = IsOutOfRoom(db_.get()) || sqlite3_errcode(db_.get()) == SQLITE_BUSY;
  if (!isRead && hasNoRoom && !Open(ReadingUri(file_, true), kFlags)) return Why();
  return CheckVersion();
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
  std::string why = lock_.Check();
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
