// The store in an SQLite database: one table of text key to value, and one for quarantined records.
// sqlite_store.cc reads and writes it, sqlite_opening.cc opens and repairs it.
#pragma once

#include <span>

#include "service/store/schema.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

inline constexpr char kLocked[] = "another process has locked it";
inline constexpr char kNoRoom[] = "its disk is full";

// The disk has no room for what SQLite wanted to write; sync errors count too.
bool IsOutOfRoom(sqlite3* db);

class SqliteStore final : public Store {
 public:
  explicit SqliteStore(const std::string& file) : file_(file), reserve_(file) {}

  std::string Read(std::vector<StoredRecord>& records,
                   std::vector<QuarantinedRecord>* quarantine) override;
  std::string Write(const std::vector<Change>& changes) override;

  // What fails is tried again at once as a whole, with all that Write does about it.
  std::string WriteSome(const std::vector<Change>& changes, const Slice& slice,
                        size_t& done) override;
  void Checkpoint() override;
  void Abandon() override;
  std::string WhyNotWritten() override;
  std::string Restored(const std::vector<std::string>& keys) override;

  std::string Damage() const override { return damage_; }

  std::string OpenToRead();
  std::string OpenToCheck();
  std::string OpenToServe();

 private:
  bool Execute(const char* sql) { return hqosd::Execute(db_.get(), sql); }
  Statement Prepare(const char* sql) { return hqosd::Prepare(db_.get(), sql); }
  std::string Why() const { return db_ == nullptr ? "out of memory" : sqlite3_errmsg(db_.get()); }

  bool Open(const std::string& name, int flags) { return OpenDatabase(name, flags, db_); }
  std::string FindDamage() const;
  std::string SetUp();
  bool CommitWithoutCheckpoint();
  // Closing will not fold the log into the file.
  void LeaveLog();
  std::string CheckFiles();
  std::string OpenWithoutRoom();
  std::string OpenReadOnly();
  std::string Repair();
  std::string TryRepair();
  std::string OpenDamaged(const std::string& why);

  std::string ReadRecords(std::vector<StoredRecord>& records);
  std::string ReadQuarantine(std::vector<QuarantinedRecord>& records);

  // Carries `make` out in one transaction.
  template <class What, class Carry>
  std::string Transact(const std::vector<What>& what, const Carry& make);
  template <class What, class Carry>
  std::string TransactOnce(const std::vector<What>& what, const Carry& make);
  template <class What, class Carry>
  std::string OpenAgainAndTransact(const std::vector<What>& what, const Carry& make);

  bool Make(std::span<const Change> changes);

  std::string file_;
  Reserve reserve_;
  StoreLock lock_;
  Database db_;  // closed before the lock is given up
  bool wasLocked_ = false;
  bool hasRoom_ = true;  // false: opened on a full disk, to read
  std::string damage_;   // of a store that cannot be salvaged yet: its rows are in memory
};

}  // namespace hqosd
