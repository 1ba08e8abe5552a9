// Why a command did not do its work, and what the program says and returns then.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "hqos.h"

namespace hqosctl {

enum ExitCode { kDone = 0, kRefused = 1, kUsage = 2, kNoService = 3 };

class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : runtime_error(text), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// Throw a Failure unless the command, or the query for `object`, succeeded.
void CheckCommand(uint32_t status, const HQOS_Result& result);
void CheckQuery(uint32_t status, const std::string& object);

}  // namespace hqosctl
