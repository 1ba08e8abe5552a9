// Where the service keeps its records: text keys with values.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

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
};

// All functions return "", or why they failed.
class Store {
 public:
  virtual ~Store() = default;
  // All records in the order of their keys.
  virtual std::string Read(std::vector<StoredRecord>& records) = 0;
  // Makes the changes, all or none. They are on disk when it returns "".
  virtual std::string Write(const std::vector<Change>& changes) = 0;
};

// Opens the store in the file, which is created when there is none, unless it is opened to read.
// Null when it cannot be opened, or another service has it; `why` then says so.
std::unique_ptr<Store> OpenStore(const std::string& file, bool readOnly, std::string& why);

}  // namespace hqosd
