// The store in an SQLite database: one table of text key to value, and one for quarantined records.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "service/store/records.h"
#include "service/store/store.h"

namespace hqosd {

namespace {

struct Close {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, Close>;
using Statement = std::unique_ptr<sqlite3_stmt, Close>;

// Commits are on disk when they return: synchronous=FULL syncs the log at each.
constexpr char kSetUp[] =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
    "CREATE TABLE IF NOT EXISTS record(key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS set_aside(key TEXT, value BLOB, reason TEXT, since TEXT);";
constexpr char kPut[] = "INSERT OR REPLACE INTO record VALUES(?1, ?2)";
constexpr char kDelete[] = "DELETE FROM record WHERE key = ?1";
constexpr char kQuarantine[] =
    "INSERT INTO set_aside SELECT key, value, ?2, datetime('now') FROM record WHERE key = ?1";

constexpr char kOverwrite[] =
    "INSERT OR REPLACE INTO record SELECT key, value FROM record WHERE key = '" HQOSD_KEY_VERSION
    "'";

class SqliteStore final : public Store {
 public:
  SqliteStore(Database db, int lock) : db_(std::move(db)), lock_(lock) {}
  ~SqliteStore() override {
    db_.reset();
    if (lock_ >= 0) close(lock_);
  }

  bool Execute(const char* sql) {
    return sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  // The text in the first column of the first row; "" when there is none.
  std::string Text(const char* sql) {
    const Statement select = Prepare(sql);
    if (select == nullptr || sqlite3_step(select.get()) != SQLITE_ROW) return "";
    const auto* const text = sqlite3_column_text(select.get(), 0);
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
  }

  std::string Why() const { return sqlite3_errmsg(db_.get()); }

  std::string Read(std::vector<StoredRecord>& records) override {
    const Statement select = Prepare("SELECT key, value FROM record ORDER BY key");
    int result = SQLITE_ERROR;
    while (select != nullptr && (result = sqlite3_step(select.get())) == SQLITE_ROW) {
      const auto* const key = static_cast<const char*>(sqlite3_column_blob(select.get(), 0));
      const auto keyLength = static_cast<size_t>(sqlite3_column_bytes(select.get(), 0));
      const auto* const value = static_cast<const uint8_t*>(sqlite3_column_blob(select.get(), 1));
      const auto length = static_cast<size_t>(sqlite3_column_bytes(select.get(), 1));
      records.push_back({key == nullptr ? "" : std::string(key, keyLength),
                         value == nullptr ? Bytes() : Bytes(value, value + length)});
    }
    return result == SQLITE_DONE ? "" : Why();
  }

  std::string Write(const std::vector<Change>& changes) override {
    bool done = Execute("BEGIN IMMEDIATE") && Make(changes) && Execute("COMMIT");
    if (done) return "";
    std::string why = Why();
    Execute("ROLLBACK");
    // When the sync failed, the log holds the transaction; a service that starts would find it. It
    // is overwritten here, whether that can be synced or not.
    Execute(kOverwrite);
    return why.empty() ? "unknown" : why;
  }

 private:
  Statement Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db_.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
  }

  bool Make(const std::vector<Change>& changes) {
    const Statement put = Prepare(kPut), del = Prepare(kDelete), quarantine = Prepare(kQuarantine);
    if (put == nullptr || del == nullptr || quarantine == nullptr) return false;
    for (const Change& change : changes) {
      if (!change.quarantine.empty() && !Step(*quarantine, change.key, change.quarantine))
        return false;
      const bool done = change.value ? Step(*put, change.key, *change.value)
                                     : Step(*del, change.key, std::string());
      if (!done) return false;
    }
    return true;
  }

  // Runs a statement with a key and, where it has a second parameter, a value.
  template <class Value>
  static bool Step(sqlite3_stmt& statement, const std::string& key, const Value& value) {
    sqlite3_bind_text(&statement, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    const int length = static_cast<int>(value.size());
    if constexpr (std::is_same_v<Value, Bytes>) {
      // Without bytes there is no pointer, and that would bind NULL.
      value.empty() ? sqlite3_bind_zeroblob(&statement, 2, 0)
                    : sqlite3_bind_blob(&statement, 2, value.data(), length, SQLITE_STATIC);
    } else {
      sqlite3_bind_text(&statement, 2, value.data(), length, SQLITE_STATIC);
    }
    const bool done = sqlite3_step(&statement) == SQLITE_DONE;
    return sqlite3_reset(&statement) == SQLITE_OK && done;
  }

  Database db_;
  int lock_;  // held while the store is open for writing
};

// The file that says that a service has the store; -1 with a reason when another has it.
int Lock(const std::string& file, std::string& why) {
  const int fd = open((file + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0) return fd;
  why = fd >= 0 && errno == EWOULDBLOCK ? "another service has it" : std::strerror(errno);
  if (fd >= 0) close(fd);
  return -1;
}

// The file as SQLite opens it to read. One that nobody has open, in a directory where no log can be
// made beside it, is opened as one that does not change.
std::string ReadingUri(const std::string& file) {
  std::string uri = "file:";
  for (const char c : file) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = std::isalnum(byte) != 0 || c == '/' || c == '.' || c == '-' || c == '_';
    uri += isPlain ? std::string(1, c) : std::string{'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  const std::string dir = std::filesystem::path(file).parent_path();
  const bool canLog = access(dir.empty() ? "." : dir.c_str(), W_OK) == 0;
  return canLog || access((file + "-wal").c_str(), F_OK) == 0 ? uri : uri + "?immutable=1";
}

}  // namespace

std::unique_ptr<Store> OpenStore(const std::string& file, bool readOnly, std::string& why) {
  int lock = -1;
  if (!readOnly) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), ignored);
    lock = Lock(file, why);
    if (lock < 0) return nullptr;
    // Who can read a store can lock it, and keep its log from being emptied.
    for (const char* end : {"", "-wal", "-shm"}) chmod((file + end).c_str(), S_IRUSR | S_IWUSR);
  }
  sqlite3* db = nullptr;
  const int flags = readOnly ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI
                             : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  const std::string name = readOnly ? ReadingUri(file) : file;
  const int result = sqlite3_open_v2(name.c_str(), &db, flags, nullptr);
  auto store = std::make_unique<SqliteStore>(Database(db), lock);
  if (db != nullptr) sqlite3_busy_timeout(db, 5000);
  if (result == SQLITE_OK) {
    // Before anything is changed in it.
    const std::string version =
        store->Text("SELECT value FROM record WHERE key = '" HQOSD_KEY_VERSION "'");
    const std::string known = kStoreVersion;
    if (!version.empty() && version != known) {
      why = "its version is " + version + ", not " + known;
      return nullptr;
    }
    if (readOnly) return store;
    if (store->Execute(kSetUp) && store->Text("PRAGMA journal_mode") == "wal") return store;
  }
  why = db == nullptr ? "out of memory" : store->Why();
  return nullptr;
}

}  // namespace hqosd
