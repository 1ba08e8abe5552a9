// Opening a store, and repairing what is damaged.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "service/model/log.h"
#include "service/store/salvage.h"
#include "service/store/sqlite_store.h"

namespace hqosd {

namespace {

namespace fs = std::filesystem;

constexpr char kEmpty[] = "it is empty";

// Commits are on disk when they return: synchronous=FULL syncs the log at each.
constexpr char kSetUp[] =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA secure_delete=ON";

}  // namespace

std::string SqliteStore::FindDamage() const {
  // A store that was served once has tables.
  const bool isEmpty =
      reserve_.Exists() && FirstText(db_.get(), "SELECT count(*) FROM sqlite_master") == "0";
  return isEmpty ? kEmpty : hqosd::FindDamage(db_.get());
}

void SqliteStore::LeaveLog() {
  if (db_ != nullptr) sqlite3_db_config(db_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

std::string SqliteStore::SetUp() {
  if (VersionOf(db_.get()) == "1" && !Upgrade(db_.get())) return Why();
  if (!Execute(kSetUp) || !Execute(kCreateTables)) return Why();
  return FirstText(db_.get(), "PRAGMA journal_mode") == "wal" ? "" : "it cannot have a log";
}

// "" when the files are those that were opened.
std::string SqliteStore::CheckFiles() {
  std::string lost = lock_.Check();
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
  std::string why = OpenReadOnly();
  if (!why.empty()) return why;
  damage_ = FindDamage();
  if (!damage_.empty()) db_ = ReadDamaged(file_);
  if (damage_.empty() && hasLostLog) damage_ = "it has lost its log";
  return db_ == nullptr ? "out of memory" : "";
}

std::string SqliteStore::OpenToRead() {
  std::string why = OpenReadOnly();
  if (!why.empty() || db_ == nullptr) return why;
  damage_ = FindDamage();
  return damage_.empty() ? "" : OpenDamaged("hqosd repairs it when it may write there");
}

std::unique_ptr<Store> OpenStore(const std::string& file, Purpose purpose, std::string& why) {
  auto store = std::make_unique<SqliteStore>(file);
  why = purpose == Purpose::Read    ? store->OpenToRead()
        : purpose == Purpose::Check ? store->OpenToCheck()
                                    : store->OpenToServe();
  if (!why.empty()) return nullptr;
  return store;
}

}  // namespace hqosd
