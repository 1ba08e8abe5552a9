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
  Bytes command;                    // the request, when it is one that takes long; else empty
  uint64_t ticket = 0;              // of the reply; 0: nobody waits for it
  std::string comment;              // instead of the one in the file, unless it is empty
  std::optional<uint64_t> reverts;  // to this revision, because it was not confirmed

  TransactionRun run;
  // What the kernel has: as before, parts of the new state, the new one, or neither until it is
  // restored.
  enum class Kernel { Before, Building, Built, Unknown } kernel = Kernel::Before;
  bool hasClasses = false;  // the new state has those of the old one
  bool isInstalled = false;
  Differences rows;
  std::optional<KeptExport> kept;  // of the state before
  std::optional<History> history;  // with it
  size_t written = 0;              // of the rows
};

}  // namespace hqosd
