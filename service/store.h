// Where the service keeps its records, so that it forgets nothing: text keys with values.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/answer.h"

namespace hqosd {

// What is to become of a key: a new value, or none. With a reason in `aside`, the value that it has
// is moved to the records set aside, and `value` takes its place.
struct Change {
  std::string key;
  std::optional<Bytes> value;
  std::string aside;
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

// Opens the store in the file, which is made when there is none, unless it is only to be read. Null
// when it cannot be opened, or another service has it; `why` then says so.
std::unique_ptr<Store> OpenStore(const std::string& file, bool readOnly, std::string& why);

}  // namespace hqosd
