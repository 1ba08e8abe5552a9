// The transactor's requests about the state as a whole: transactions, exports, confirmations.
#include <ctime>

#include "service/model/log.h"
#include "service/server/transactor.h"
#include "service/store/rows.h"

namespace hqosd {

namespace {

uint64_t Now() { return static_cast<uint64_t>(std::time(nullptr)); }

Bytes StateReply(uint32_t code, const std::string& text, uint64_t revision) {
  Bytes reply = StatusReply(HQOSD_OP_STATE, code, text);
  AppendRecord(reply, HQOSD_TLV_REVISION, hqos::kRevision, hqos::Revision{revision});
  return reply;
}

// As many of the refusals as fit.
void AppendRefusals(const std::vector<RefusedCommand>& refusals, Bytes& reply) {
  for (const auto& [position, refusal] : refusals) {
    Bytes value = Encoded(hqos::kStateRefusal, hqos::StateRefusal{position, refusal.code});
    const std::string text = refusal.text.substr(0, HQOS_RESULT_TEXT - 1);
    value.insert(value.end(), text.begin(), text.end());
    value.push_back(0);
    if (reply.size() + value.size() + 8 > HQOS_MSG_MAX) return;
    AppendTlv(reply, HQOSD_TLV_REFUSAL, value.data(), value.size());
  }
}

}  // namespace

std::string UnconfirmedText(const PendingState& pending) {
  const auto time = static_cast<time_t>(pending.time);
  tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%F %T", &parts);
  return fmt::format("a transaction waits for its confirmation until {} UTC", text);
}

std::optional<uint64_t> Transactor::Deadline() const {
  if (!history_.pending) return std::nullopt;
  return history_.pending->time;
}

// Stores what commands have changed before in this turn. When that fails their answers are left to
// Commit, and the request that came now is refused.
void Transactor::Flush() {
  if (needsReload_) failure_ = Reload();
  if (failure_.empty() && store_ != nullptr) failure_ = Save();
  if (store_ == nullptr && model_.IsDirty()) {
    ++history_.revision;
    model_.ClearDirty();
  }
  if (!failure_.empty()) Refuse(HQOSD_NOT_STORED, "the store fails: {}", failure_);
}

Response Transactor::RespondState(const Bytes& request, const Bytes& file, const std::string& user,
                                  bool mayConfigure, Bytes& out) {
  Response response;
  response.isCommand = true;  // it is not repeated when the turn cannot be stored
  try {
    HQOS_MsgHead head{};
    hqos::Tlv tlv{};
    Parse(request.data(), request.size(), head, tlv);
    Flush();
    if (tlv.type == HQOSD_STATE_EXPORT) {
      response.reply = Export(tlv, out);
    } else if (tlv.type == HQOSD_STATE_STATUS) {
      response.reply = StateReply(0, "", history_.revision);
      AppendRecord(response.reply, HQOSD_TLV_STATUS, hqos::kServiceStatus, tally_.Status(model_));
    } else if (tlv.type == HQOSD_STATE_TRANSACT) {
      response.reply = Transact(file, user, mayConfigure);
    } else {
      Refuse(HQOSD_UNKNOWN, "request {} of class {} is not known", tlv.type, head.opClass);
    }
  } catch (const Refusal& refusal) {
    response.reply = StateReply(refusal.code, refusal.text, history_.revision);
  }
  return response;
}

Bytes Transactor::Export(const hqos::Tlv& request, Bytes& out) {
  hqos::ExportKey key{};
  if (!Decode(hqos::kExportKey, request.value, request.length, key)) RefuseShort();
  if (key.what == HQOSD_EXPORT_RUNNING) {
    out = ExportState(model_, history_.revision);
  } else if (key.what == HQOSD_EXPORT_KEPT) {
    out = history_.Export(key.revision);
  } else if (key.what == HQOSD_EXPORT_HISTORY) {
    out = history_.List();
  } else {
    Refuse(HQOSD_BAD_VALUE, "export {} is not known", key.what);
  }
  return StateReply(0, "", history_.revision);
}

Bytes Transactor::Transact(const Bytes& bytes, const std::string& user, bool mayConfigure) {
  const StateFile file = ParseState(bytes);
  const hqos::StateHead& head = file.head;
  if (!mayConfigure && head.check == 0) {
    Refuse(HQOSD_NOT_ALLOWED,
           "only root, the service's user and members of group hqos may configure");
  }
  if (head.mode == HQOSD_MODE_CONFIRM || head.mode == HQOSD_MODE_REVERT) {
    if (!history_.pending) Refuse(HQOSD_NOT_FOUND, "no transaction waits for its confirmation");
    if (head.mode == HQOSD_MODE_CONFIRM) Confirm();
    if (head.mode == HQOSD_MODE_REVERT) Revert(user);
    return StateReply(0, "", history_.revision);
  }
  if (history_.pending) Refuse(HQOSD_UNCONFIRMED, "{}", UnconfirmedText(*history_.pending));
  if (head.revision != hqos::kAnyRevision && head.revision != history_.revision) {
    Refuse(HQOSD_STALE, "revision {} expected, {} found", head.revision, history_.revision);
  }
  return RunFile(file, user);
}

Bytes Transactor::RunFile(const StateFile& file, const std::string& user) {
  std::vector<RefusedCommand> refusals;
  Model fresh = RunTransaction(model_, file, refusals);
  if (!refusals.empty()) {
    Bytes reply = StateReply(refusals[0].refusal.code, refusals[0].refusal.text, history_.revision);
    AppendRefusals(refusals, reply);
    return reply;
  }
  if (file.head.check == 0) Install(std::move(fresh), file, user);
  return StateReply(0, "", history_.revision);
}

// Stores the model, with the state that it replaces for the history, and makes it the present one.
// Without a difference nothing happens.
void Transactor::Install(Model fresh, const StateFile& file, const std::string& user) {
  std::vector<Change> changes = Differences(model_, fresh);
  if (changes.empty()) return;
  History history = history_;
  hqos::KeptState what{history.revision, Now(), {}, {}};
  user.copy(what.user, sizeof what.user - 1);
  std::copy(std::begin(file.head.comment), std::end(file.head.comment), what.comment);
  history.Keep(ExportState(model_, history.revision), what, changes);
  history.pending.reset();
  if (file.head.confirm != 0)
    history.pending = PendingState{Now() + file.head.confirm, history.revision};
  ++history.revision;
  if (store_ != nullptr) {
    changes.insert(changes.begin(), repairs_.begin(), repairs_.end());
    for (Change& row : history.Rows(history_.pending.has_value()))
      changes.push_back(std::move(row));
    const std::string why = Write(changes);
    if (!why.empty()) Refuse(HQOSD_NOT_STORED, "nothing is changed, the store fails: {}", why);
    repairs_.clear();
  }
  fresh.counters = std::move(model_.counters);
  model_ = std::move(fresh);
  history_ = std::move(history);
}

void Transactor::Confirm() {
  History history = history_;
  history.pending.reset();
  const std::string why = store_ == nullptr ? "" : Write(history.Rows(true));
  if (!why.empty()) Refuse(HQOSD_NOT_STORED, "nothing is changed, the store fails: {}", why);
  history_ = std::move(history);
}

// Goes back to the state before the transaction that waits.
void Transactor::Revert(const std::string& user) {
  const uint64_t revision = history_.pending->revision;
  const Bytes bytes = history_.Export(revision);
  StateFile file = ParseState(bytes);
  fmt::format("unconfirmed, reverted to revision {}", revision)
      .copy(file.head.comment, sizeof file.head.comment - 1);
  RunFile(file, user);
  if (history_.pending) Confirm();  // there was no difference
  Log("reverted to revision %llu", static_cast<unsigned long long>(revision));
}

void Transactor::RevertIfDue() {
  if (!history_.pending || Now() < history_.pending->time) return;
  try {
    Flush();
    Revert("hqosd");
  } catch (const Refusal& refusal) {
    Log("cannot revert the transaction that was not confirmed: %s", refusal.text.c_str());
    history_.pending->time = Now() + 1;  // try again
  }
}

}  // namespace hqosd
