// Where the service keeps its records: text keys with values.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/model/slice.h"
#include "service/model/tlvs.h"

namespace hqosd {

// A change of a key: a new value, or none. With a reason in `quarantine`, the value that it has is
// moved to the quarantined records before.
struct Change {
  std::string key;
  std::optional<Bytes> value;
  std::string quarantine;
};

struct StoredRecord {
  std::string key;
  Bytes value;
  bool isSound = true;  // its checksum is right
};

struct QuarantinedRecord {
  std::string key;
  Bytes value;
  std::string reason, since;  // since: UTC
};

// All functions return "", or why they failed.
class Store {
 public:
  virtual ~Store() = default;
  // All records in the order of their keys, and the quarantined ones in the order of their time,
  // as of one moment.
  virtual std::string Read(std::vector<StoredRecord>& records,
                           std::vector<QuarantinedRecord>* quarantine = nullptr) = 0;
  // Makes the changes, all or none. They are on disk when it returns "".
  virtual std::string Write(const std::vector<Change>& changes) = 0;
  // The same in slices: makes changes from number `done` on and counts them there, until all are
  // made and on disk or the slice is over. Until then nothing else is written, and when the store
  // is closed before, none is made.
  virtual std::string WriteSome(const std::vector<Change>& changes, const Slice& slice,
                                size_t& done) = 0;
  // Undoes the changes made so far.
  virtual void Abandon() = 0;
  // Moves what has been written from the log to the file. WriteSome leaves that to the caller when
  // it has taken several slices.
  virtual void Checkpoint() = 0;
  // Why nothing can be written: its files have gone, or another process has locked it; else "".
  // Waits a moment for the lock, but not again while it is held.
  virtual std::string WhyNotWritten() = 0;
  // What is wrong with the database itself; "" when it is sound.
  virtual std::string Damage() const = 0;
  // The quarantined values of the keys have been put back.
  virtual std::string Restored(const std::vector<std::string>& keys) = 0;
};

enum class Purpose { Read, Check, Serve };

// Opens the store in the file. To check, what is readable of a damaged one is read. To serve, it is
// created when there is none, upgraded, and salvaged when it is damaged; on a full disk it can be
// read and refuses to write until there is room. Null when it cannot be opened, or another service
// has it; `why` then says so.
std::unique_ptr<Store> OpenStore(const std::string& file, Purpose purpose, std::string& why);

// Copies the store to the new file, also while a service has it.
std::string BackUpStore(const std::string& file, const std::string& copy);

}  // namespace hqosd
