// A transaction that is being carried out, in slices of the event loop.
#pragma once

#include <optional>

#include "service/requests/state.h"
#include "service/server/history.h"
#include "service/store/differences.h"

namespace hqosd {

struct Transaction {
  // `model` stays as it is meanwhile.
  Transaction(const Model& model, Bytes commands, std::string byUser)
      : bytes(std::move(commands)),
        reader(bytes),
        user(std::move(byUser)),
        run(model, file),
        rows(model, run.Result()) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool IsCheck() const { return file.head.check != 0; }

  const Bytes bytes;
  StateReader reader;
  StateFile file;  // in the bytes
  std::string user;
  uint64_t ticket = 0;              // of the reply; 0: nobody waits for it
  std::string comment;              // instead of the one in the file, unless it is empty
  std::optional<uint64_t> reverts;  // to this revision, because it was not confirmed

  TransactionRun run;
  // What the kernel has: as before, the new state, or none of both until it is restored.
  enum class Kernel { Before, Built, Unknown } kernel = Kernel::Before;
  Differences rows;
  std::optional<KeptExport> kept;  // of the state before
  std::optional<History> history;  // with it
  size_t written = 0;              // of the rows
};

}  // namespace hqosd
