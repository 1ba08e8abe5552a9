// How the transactor carries transactions out.
#include "service/server/transaction.h"

#include <ctime>
#include <new>

#include "service/kernel/enforcer.h"
#include "service/model/log.h"
#include "service/server/transactor.h"

namespace hqosd {

namespace {

uint64_t Now() { return static_cast<uint64_t>(std::time(nullptr)); }

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

Transactor::Transactor(Model model) : model_(std::move(model)) {}
Transactor::~Transactor() = default;

bool Transactor::IsBusy() const {
  return underway_ != nullptr || past_ != nullptr || needsCheckpoint_ || !finished_.empty();
}

// For a change. Throws a Refusal unless what is under way only checks.
void Transactor::MakeWay() {
  if (underway_ == nullptr) return;
  if (!underway_->IsCheck()) RefuseBusy();
  finished_.push_back(
      {underway_->ticket, StateReply(HQOSD_BUSY, "a change came first", history_.revision)});
  past_ = std::move(underway_);
}

Bytes Transactor::Begin(std::unique_ptr<Transaction> transaction, uint64_t& ticket) {
  underway_ = std::move(transaction);
  underway_->ticket = ticket = ++lastTicket_;
  std::optional<Bytes> reply = Step(Slice(kSlice));
  if (reply) ticket = 0;
  return reply.value_or(Bytes());
}

std::vector<LateReply> Transactor::Continue() {
  if (past_ != nullptr) {
    past_.reset();
  } else if (underway_ == nullptr && std::exchange(needsCheckpoint_, false)) {
    store_->Checkpoint();
  } else if (underway_ != nullptr) {
    const uint64_t ticket = underway_->ticket;
    std::optional<Bytes> reply = Step(Slice(kSlice));
    if (reply) finished_.push_back({ticket, std::move(*reply)});
  }
  return std::exchange(finished_, {});
}

// Carries a slice out; the reply when the transaction is complete, or refused.
std::optional<Bytes> Transactor::Step(const Slice& slice) {
  std::unique_ptr<Transaction> t = std::move(underway_);
  const std::vector<RefusedCommand>& refusals = t->run.Refusals();
  Refusal refusal{0, ""};
  try {
    const bool isRun = t->reader.Step(slice, t->file) && t->run.Step(slice);
    if (!isRun || (refusals.empty() && !Complete(*t, slice))) {
      underway_ = std::move(t);
      return std::nullopt;
    }
    if (!refusals.empty()) refusal = refusals[0].refusal;
    if (refusals.empty() && t->reverts && history_.pending) Confirm();  // there was no difference
  } catch (const Refusal& why) {
    refusal = why;
  } catch (const std::bad_alloc&) {
    refusal = {HQOSD_NO_MEMORY, "nothing is changed, the service is short of memory"};
  }
  if (refusal.code != 0 && store_ != nullptr) store_->Abandon();
  if (refusal.code != 0 && t->kernel != Transaction::Kernel::Before) enforcer_->Restore(model_);
  if (t->reverts) LogRevert(*t->reverts, refusal);

  Bytes reply;
  if (t->command.empty()) {
    reply = StateReply(refusal.code, refusal.text, history_.revision);
    AppendRefusals(refusals, reply);
  } else {
    reply = RefuseRequest(t->command, refusal).reply;  // or its success: code 0
  }
  past_ = std::move(t);  // takes long, too
  return reply;
}

void Transactor::LogRevert(uint64_t revision, const Refusal& refusal) {
  if (refusal.code == 0) {
    Log(Level::Warning, "reverted to revision %llu", static_cast<unsigned long long>(revision));
    return;
  }
  Log(Level::Error, "cannot revert the transaction that was not confirmed: %s",
      refusal.text.c_str());
  if (history_.pending && history_.pending->time <= Now()) {
    history_.pending->time = Now() + 1;  // try again
  }
}

// Stores the model, with the state that it replaces for the history, and makes it the present one;
// true when that is done. Without a difference nothing happens.
bool Transactor::Install(Transaction& t, const Slice& slice) {
  if (!t.rows.Step(slice)) return false;
  std::vector<Change>& changes = t.rows.Changes();
  if (changes.empty()) return true;
  if (!t.history && !Keep(t, slice)) return false;
  if (store_ != nullptr) {
    needsCheckpoint_ = t.written != 0;
    const std::string why = WriteSome(changes, slice, t.written);
    if (!why.empty()) Refuse(HQOSD_NOT_STORED, "nothing is changed, the store fails: {}", why);
    if (t.written < changes.size()) return false;
    repairs_.clear();
  }
  Model& fresh = t.run.Result();
  fresh.counters = std::move(model_.counters);
  std::swap(model_, fresh);
  history_ = std::move(*t.history);
  return true;
}

// Makes the history that has the present state, and adds its rows.
bool Transactor::Keep(Transaction& t, const Slice& slice) {
  if (!t.kept && t.command.empty()) t.kept.emplace(model_, history_.revision);
  if (t.kept && !t.kept->Step(slice)) return false;
  std::vector<Change>& changes = t.rows.Changes();
  changes.insert(changes.begin(), repairs_.begin(), repairs_.end());
  History history = history_;
  hqos::KeptState what{history.revision, Now(), {}, {}};
  t.user.copy(what.user, sizeof what.user - 1);
  const hqos::StateHead& head = t.file.head;
  const std::string comment = t.comment.empty() ? head.comment : t.comment;
  comment.copy(what.comment, sizeof what.comment - 1);
  if (t.kept) history.Keep(*t.kept, what, changes);
  history.pending.reset();
  if (head.confirm != 0) history.pending = PendingState{Now() + head.confirm, history.revision};
  ++history.revision;
  for (Change& row : history.Rows(history_.pending.has_value())) changes.push_back(std::move(row));
  t.history = std::move(history);
  return true;
}

void Transactor::Confirm() {
  History history = history_;
  history.pending.reset();
  const std::string why = store_ == nullptr ? "" : Write(history.Rows(true));
  if (!why.empty()) Refuse(HQOSD_NOT_STORED, "nothing is changed, the store fails: {}", why);
  history_ = std::move(history);
}

// What goes back to the state before the transaction that waits.
std::unique_ptr<Transaction> Transactor::NewRevert(const std::string& user) {
  const uint64_t revision = history_.pending->revision;
  auto revert = std::make_unique<Transaction>(model_, history_.Export(revision), user);
  revert->reverts = revision;
  revert->comment = fmt::format("unconfirmed, reverted to revision {}", revision);
  return revert;
}

void Transactor::RevertIfDue() {
  if (!history_.pending || Now() < history_.pending->time) return;
  if (underway_ != nullptr && !underway_->IsCheck()) return;
  try {
    MakeWay();
    Flush();
    underway_ = NewRevert("hqosd");
  } catch (const Refusal& refusal) {
    LogRevert(history_.pending->revision, refusal);
  }
}

}  // namespace hqosd
