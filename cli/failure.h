// Calling the service, and what the program reports and returns when a command fails.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "cli/collection.h"
#include "cli/output.h"
#include "hqos.h"

namespace hqosctl {

enum ExitCode { kDone = 0, kRefused = 1, kUsage = 2, kNoService = 3, kDiffers = 4 };

class Failure : public std::runtime_error {
 public:
  // `status` is the code that the library or the service has returned; 0: none.
  Failure(ExitCode code, const std::string& text, uint32_t status = 0)
      : runtime_error(text), code_(code), status_(status) {}
  ExitCode code() const { return code_; }
  uint32_t status() const { return status_; }

 private:
  ExitCode code_;
  uint32_t status_;
};

// {"error": {"code", "name", "text"}}; code and name are left out when there is no status.
Output::Record ErrorRecord(const Failure& failure);

// For commands that cannot be collected.
[[noreturn]] void RefuseInCollection();

// Why the last connection to the service failed (errno); 0 when it did not.
void NoteConnection(int reason);

// Throw a Failure unless the command, or the query for `object`, succeeded.
void CheckCommand(uint32_t status, const HQOS_Result& result);
void CheckQuery(uint32_t status, const std::string& object);

// An argument as the library takes it.
inline const char* ToC(const std::string& text) { return text.c_str(); }
template <class Value>
Value ToC(Value value) {
  return value;
}

// Calls a command of the library, or collects it; throws a Failure unless it succeeds.
template <class... Parameters, class... Arguments>
void Do(uint32_t (*command)(Parameters...), const Arguments&... arguments) {
  HQOS_Result result{};
  const uint32_t status = command(ToC(arguments)..., &result);
  if (Collection* const collection = Collection::Active()) return collection->Keep();
  CheckCommand(status, result);
}

}  // namespace hqosctl
