// Transactions, exports and history: the requests that hqosd has of its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/model.h"
#include "msg/state_file.h"

namespace hqosctl {

// A state of the service: the running one, or one that is kept.
struct State {
  uint64_t revision = 0;
  client::Model model;
  std::vector<uint8_t> file;  // the export as it came
};

// Reads the running state, or the one kept with that revision.
State ReadState(std::optional<uint64_t> revision = std::nullopt);

struct Transaction {
  bool isReplace = true;
  bool isCheck = false;              // change nothing
  std::optional<uint64_t> expected;  // the revision that the service must have
  uint32_t confirmSeconds = 0;       // 0: without confirmation
  std::string comment;
  std::vector<uint8_t> commands;
  uint32_t count = 0;
};

// A command that was refused, by its place in the transaction.
struct RefusedCommand {
  uint32_t position, code;
  std::string text;
};

struct Verdict {
  uint64_t revision = 0;                 // after the transaction; without change, the present one
  uint32_t code = 0;                     // an HQOSD_Status
  bool isStale = false;                  // refused because of the expected revision
  std::string refusal;                   // "": done; otherwise why not, a line for each reason
  std::vector<RefusedCommand> commands;  // that are refused; none where that is not the reason
};

Verdict Send(const Transaction& transaction);

// Sends an export back: the state that it describes, with every identifier.
Verdict SendBack(const State& state, uint64_t expected, const std::string& comment);

struct HistoryEntry {
  uint64_t revision;
  int64_t time;  // seconds since 1970
  std::string user, comment;
};
std::vector<HistoryEntry> ReadHistory();

// What the service has counted, and its revision.
struct Status {
  uint64_t revision;
  hqos::ServiceStatus counted;
};
Status ReadStatus();

// Confirms the transaction that waits for it; the revision after that.
uint64_t Confirm();
// Reverts it at once; nothing when none waits.
std::optional<uint64_t> Revert();

}  // namespace hqosctl
