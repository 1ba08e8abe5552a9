#include "service/server/transactor.h"

#include <new>
#include <utility>

#include "service/kernel/enforcer.h"
#include "service/model/log.h"
#include "service/server/transaction.h"
#include "service/store/load.h"
#include "service/store/rows.h"

namespace hqosd {

namespace {

constexpr char kNotStored[] = "nothing is changed, the store fails: {}";

}  // namespace

bool Transactor::AttachStore(std::unique_ptr<Store> store) {
  store_ = std::move(store);
  const std::string why = Reload();
  if (!why.empty()) Log(Level::Error, "cannot use the store: %s", why.c_str());
  if (!why.empty() || !history_.pending) return why.empty();
  Log(Level::Warning, "a transaction was not confirmed before this start");
  history_.pending->time = 0;
  RevertIfDue();
  while (IsBusy()) Continue();
  return true;
}

// Replaces the model by what the store holds, and repairs the store.
std::string Transactor::Reload() try {
  needsReload_ = true;
  std::vector<StoredRecord> records;
  std::string why = store_->Read(records);
  if (!why.empty()) return why;
  Model fresh;
  fresh.interfaces = model_.interfaces;
  fresh.debug = model_.debug;
  repairs_ = Load(records, fresh);
  for (const Change& change : repairs_) {
    if (change.quarantine.empty()) continue;
    Log(Level::Warning, "quarantined %s: %s", PrintableKey(change.key).c_str(),
        change.quarantine.c_str());
  }
  if (!repairs_.empty()) {
    why = store_->Write(repairs_);
    if (why.empty()) repairs_.clear();
    if (!why.empty()) Log(Level::Warning, "the store is not repaired yet: %s", why.c_str());
  }
  fresh.counters = std::move(model_.counters);
  model_ = std::move(fresh);
  history_.Load(records);
  needsReload_ = false;
  if (enforcer_ != nullptr) enforcer_->Restore(model_);
  return "";
} catch (const std::bad_alloc&) {
  return "out of memory";
}

Response Transactor::Respond(const Bytes& request) try {
  if (IsCommand(request)) MakeWay();
  if (needsReload_) {
    const std::string why = Reload();
    if (!why.empty()) {
      return RefuseRequest(request, {HQOSD_NOT_STORED, fmt::format("the store fails: {}", why)});
    }
  }
  if (history_.pending && IsCommand(request)) {
    return RefuseRequest(request, {HQOSD_UNCONFIRMED, UnconfirmedText(*history_.pending)});
  }
  // Known before the model changes, it need not be read back.
  const std::string why = store_ != nullptr && IsCommand(request) ? store_->WhyNotWritten() : "";
  if (!why.empty()) {
    return RefuseRequest(request, {HQOSD_NOT_STORED, fmt::format(kNotStored, why)});
  }
  if (enforcer_ != nullptr && IsCommand(request)) return RespondEnforced(request);
  return hqosd::Respond(model_, request.data(), request.size());
} catch (const Refusal& refusal) {
  return RefuseRequest(request, refusal);
}

std::string Transactor::Write(const std::vector<Change>& changes) {
  const auto begin = std::chrono::steady_clock::now();
  std::string why = store_->Write(changes);
  tally_.Committed(std::chrono::steady_clock::now() - begin, why.empty());
  return why;
}

std::string Transactor::WriteSome(const std::vector<Change>& changes, const Slice& slice,
                                  size_t& done) {
  if (done == 0) writing_ = {};
  const auto begin = std::chrono::steady_clock::now();
  std::string why = store_->WriteSome(changes, slice, done);
  writing_ += std::chrono::steady_clock::now() - begin;
  if (!why.empty() || done == changes.size()) tally_.Committed(writing_, why.empty());
  return why;
}

std::string Transactor::Save() try {
  const bool isRevision = model_.IsConfigurationDirty();
  std::vector<Change> changes = TakeChanges(model_);
  if (changes.empty()) return "";
  changes.insert(changes.begin(), repairs_.begin(), repairs_.end());
  if (isRevision) ++history_.revision;
  for (Change& row : history_.Rows(false)) changes.push_back(std::move(row));
  std::string why = Write(changes);
  if (why.empty()) repairs_.clear();
  if (why.empty() && enforcer_ != nullptr) enforcer_->Finish();
  return why;
} catch (const std::bad_alloc&) {
  return "out of memory";
}

void Transactor::Commit(std::vector<Exchange>& exchanges) {
  Settle(exchanges);
  for (const Exchange& one : exchanges) tally_.Answered(one.request, one.response.reply);
}

// What Save does without a store.
void Transactor::KeepUnstored() {
  if (model_.IsConfigurationDirty()) ++history_.revision;
  model_.ClearDirty();
  if (enforcer_ != nullptr) enforcer_->Finish();
}

void Transactor::Settle(std::vector<Exchange>& exchanges) {
  if (store_ == nullptr) return KeepUnstored();
  const std::string why = failure_.empty() ? Save() : std::exchange(failure_, "");
  if (why.empty()) return;
  Log(Level::Error, "cannot write to the store: %s", why.c_str());
  const std::string unread = Reload();
  if (!unread.empty()) Log(Level::Error, "cannot read the store: %s", unread.c_str());
  for (Exchange& exchange : exchanges) {
    if (exchange.response.isAcceptedChange) {
      exchange.response =
          RefuseRequest(exchange.request, {HQOSD_NOT_STORED, fmt::format(kNotStored, why)});
    } else if (!exchange.response.isCommand) {
      exchange.response = Respond(exchange.request);
    }
  }
}

}  // namespace hqosd
