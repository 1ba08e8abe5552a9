// The transactor's part in enforcement: a change that an SP applied to an interface cannot be
// enforced with is refused, in the model, the store and the kernel alike.
#include "service/kernel/enforcer.h"
#include "service/model/hierarchy.h"
#include "service/model/log.h"
#include "service/server/transaction.h"
#include "service/server/transactor.h"

namespace hqosd {

namespace {

// Objects alone have no classes, and those in use are not deleted.
bool ChangesTrees(const Model& model, const Bytes& request) try {
  HQOS_MsgHead head{};
  hqos::Tlv tlv{};
  Parse(request.data(), request.size(), head, tlv);
  switch (tlv.type) {
    case HQOS_CMD_ADD_SP:
    case HQOS_CMD_DEL_SP:
    case HQOS_CMD_ADD_FG:
    case HQOS_CMD_DEL_FG:
    case HQOS_CMD_ADD_FP:
    case HQOS_CMD_DEL_FP:
    case HQOS_CMD_ADD_DP:
    case HQOS_CMD_DEL_DP:
    case HQOS_CMD_ADD_DP_THRESHOLD:
    case HQOS_CMD_DEL_DP_THRESHOLD:
    case HQOS_CMD_ADD_DP_WEIGHT:
    case HQOS_CMD_DEL_DP_WEIGHT:
    case HQOS_CMD_SET_DEBUG:
    case HQOS_CMD_RESET_DEBUG:
      return false;
    case HQOS_CMD_APPLY_SP:
      return true;
    default:
      return !model.applications.empty();
  }
} catch (const Refusal&) {
  return false;
}

// The name that a child has by this identifier; "" when there is none.
std::string ChildName(const Model& model, uint16_t id) {
  const auto fg = model.fgs.All().find(id);
  if (fg != model.fgs.All().end()) return "FG " + fg->second.name;
  const auto fc = model.fcs.All().find(id);
  return fc != model.fcs.All().end() ? "FC " + fc->second.name : "";
}

bool IsSamePath(const Model& from, const Model& to, const SonPath& path) {
  return std::all_of(path.begin(), path.end(), [&](uint16_t id) {
    return id == HQOS_PATH_UNSET || ChildName(from, id) == ChildName(to, id);
  });
}

}  // namespace

void KeepClasses(const Model& from, Model& to) {
  for (auto& [key, application] : to.applications) {
    const auto before = from.applications.find(key);
    if (before == from.applications.end() ||
        from.sps.All().at(before->second.sp).name != to.sps.All().at(application.sp).name) {
      continue;
    }
    application.classes = before->second.classes;
    std::erase_if(application.classes,
                  [&](const auto& one) { return !IsSamePath(from, to, one.first); });
  }
}

void Transactor::AttachKernel(kernel::Enforcer& enforcer) {
  enforcer_ = &enforcer;
  model_.counters = kernel::KernelCounters(enforcer);
  enforcer.Restore(model_);
  SaveClasses();
}

int Transactor::KernelFd() const { return enforcer_ == nullptr ? -1 : enforcer_->fd(); }

bool Transactor::WaitsForKernel() const {
  return enforcer_ != nullptr && enforcer_->due().has_value();
}

bool Transactor::IsLookDue() const {
  return WaitsForKernel() && *enforcer_->due() <= kernel::Enforcer::Clock::now();
}

void Transactor::LookAround() {
  if (needsReload_ || underway_ != nullptr) return enforcer_->LookLater();
  enforcer_->LookAround(model_);
  SaveClasses();
}

// What a repair has changed; a failure is left to the next command.
void Transactor::SaveClasses() {
  if (!model_.IsDirty()) return;
  try {
    Flush();
  } catch (const Refusal& refusal) {
    Log(Level::Error, "%s", refusal.text.c_str());
  }
}

// Brings the kernel to the model of a transaction before that is stored; true when that is done. A
// reversal does not depend on it: the kernel is then restored afterwards, as far as that goes.
bool Transactor::Enforce(Transaction& t, const Slice& slice) {
  using Kernel = Transaction::Kernel;
  Model& fresh = t.run.Result();
  if (!std::exchange(t.hasClasses, true)) KeepClasses(model_, fresh);
  if (enforcer_ == nullptr) return true;
  try {
    if (t.IsCheck()) enforcer_->Check(fresh);
    if (t.kernel == Kernel::Before && !t.IsCheck()) {
      enforcer_->Begin(fresh, kernel::Enforcer::Scope::All);
      t.kernel = Kernel::Building;
    }
    if (t.kernel == Kernel::Building) {
      if (!enforcer_->Build(fresh, slice)) return false;
      t.kernel = Kernel::Built;
    }
  } catch (const Refusal& refusal) {
    t.kernel = Kernel::Before;
    if (!t.reverts) throw;
    Log(Level::Error, "%s", refusal.text.c_str());
    t.kernel = Kernel::Unknown;
  }
  return true;
}

// Makes the state of a transaction the present one, or checks it; true when that is done.
bool Transactor::Complete(Transaction& t, const Slice& slice) {
  if (!t.isInstalled) {
    if (!Enforce(t, slice)) return false;
    if (t.IsCheck()) return true;
    if (!Install(t, slice)) return false;
    t.isInstalled = true;
  }
  if (t.kernel == Transaction::Kernel::Built) return enforcer_->Finish(slice);
  if (t.kernel == Transaction::Kernel::Unknown) enforcer_->Restore(model_);
  return true;
}

// What a command before has left over is removed before the next one, after it has been stored.
Response Transactor::RespondEnforced(const Bytes& request) {
  if (!ChangesTrees(model_, request)) {
    return hqosd::Respond(model_, request.data(), request.size());
  }
  try {
    if (enforcer_->hasLeftovers()) Flush();
    enforcer_->LookAround(model_);
    Model before = model_.Copy();
    Response response = hqosd::Respond(model_, request.data(), request.size());
    if (!response.isAcceptedChange) return response;
    bool isBuilt = false;
    try {
      enforcer_->Begin(model_, kernel::Enforcer::Scope::Dirty);
      isBuilt = enforcer_->Build(model_, Slice(kSlice));
    } catch (const Refusal&) {
      before.counters = std::move(model_.counters);
      model_ = std::move(before);
      throw;
    }
    if (!isBuilt) GoOnLater(request, std::move(before), response);
    return response;
  } catch (const Refusal& refusal) {
    return RefuseRequest(request, refusal);
  }
}

// A command whose classes take long goes on as a transaction that leaves no history.
void Transactor::GoOnLater(const Bytes& request, Model before, Response& response) {
  Model fresh = std::move(model_);
  before.counters = std::move(fresh.counters);
  model_ = std::move(before);
  try {
    Flush();  // commands before it
  } catch (const Refusal&) {
    enforcer_->Restore(model_);
    throw;
  }
  hqos::StateHead head{};
  head.format = hqos::kStateFormat;
  head.mode = HQOSD_MODE_CHANGE;
  head.length = hqos::kStateHead.size;
  auto t = std::make_unique<Transaction>(model_, Encoded(hqos::kStateHead, head), "");
  t->reader.Step(Slice(), t->file);
  t->run.Step(Slice());
  t->run.Result() = std::move(fresh);
  t->hasClasses = true;
  t->kernel = Transaction::Kernel::Building;
  t->command = request;
  t->ticket = response.ticket = ++lastTicket_;
  response.isAcceptedChange = false;
  underway_ = std::move(t);
}

}  // namespace hqosd
