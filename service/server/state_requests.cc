// The transactor's requests about the state as a whole: transactions, exports, confirmations.
#include <ctime>

#include "service/server/transaction.h"
#include "service/server/transactor.h"

namespace hqosd {

Bytes StateReply(uint32_t code, const std::string& text, uint64_t revision) {
  Bytes reply = StatusReply(HQOSD_OP_STATE, code, text);
  AppendRecord(reply, HQOSD_TLV_REVISION, hqos::kRevision, hqos::Revision{revision});
  return reply;
}

[[noreturn]] void RefuseBusy() { Refuse(HQOSD_BUSY, "a transaction is being carried out"); }

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
  if (store_ == nullptr) KeepUnstored();
  if (!failure_.empty()) Refuse(HQOSD_NOT_STORED, "the store fails: {}", failure_);
}

Response Transactor::RespondState(const Bytes& request, const RequestFile& file,
                                  const std::string& user, bool mayConfigure, Bytes& out) {
  Response response;
  response.isCommand = true;  // it is not repeated when the turn cannot be stored
  try {
    HQOS_MsgHead head{};
    hqos::Tlv tlv{};
    Parse(request.data(), request.size(), head, tlv);
    if (underway_ == nullptr) Flush();
    if (tlv.type == HQOSD_STATE_EXPORT) {
      response.reply = Export(tlv, out);
    } else if (tlv.type == HQOSD_STATE_STATUS) {
      response.reply = StateReply(0, "", history_.revision);
      AppendRecord(response.reply, HQOSD_TLV_STATUS, hqos::kServiceStatus, tally_.Status(model_));
    } else if (tlv.type == HQOSD_STATE_TRANSACT) {
      response.reply = Transact(file, user, mayConfigure, response.ticket);
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

// A request that is refused because of its head costs no more than the head.
Bytes Transactor::Transact(const RequestFile& from, const std::string& user, bool mayConfigure,
                           uint64_t& ticket) {
  hqos::StateHead head{};
  const Bytes first = from.Read(hqos::kStateHead.size);
  Decode(hqos::kStateHead, first.data(), first.size(), head);
  const bool decides = head.mode == HQOSD_MODE_CONFIRM || head.mode == HQOSD_MODE_REVERT;
  if (!mayConfigure && (head.check == 0 || decides)) {
    Refuse(HQOSD_NOT_ALLOWED,
           "only root, the service's user and members of group hqos may configure");
  }
  if (underway_ != nullptr && head.check != 0) RefuseBusy();
  MakeWay();
  if (decides) {
    if (head.check != 0) Refuse(HQOSD_MALFORMED, "the file: only commands can be checked");
    const Bytes bytes = from.Read(hqos::kMaxStateFile);
    StateFile file;
    StateReader(bytes).Step(Slice(), file);
    if (!history_.pending) Refuse(HQOSD_NOT_FOUND, "no transaction waits for its confirmation");
    if (head.mode == HQOSD_MODE_REVERT) return Begin(NewRevert(user), ticket);
    Confirm();
    return StateReply(0, "", history_.revision);
  }
  if (history_.pending) Refuse(HQOSD_UNCONFIRMED, "{}", UnconfirmedText(*history_.pending));
  if (head.revision != hqos::kAnyRevision && head.revision != history_.revision) {
    Refuse(HQOSD_STALE, "revision {} expected, {} found", head.revision, history_.revision);
  }
  return Begin(std::make_unique<Transaction>(model_, from.Read(hqos::kMaxStateFile), user), ticket);
}

}  // namespace hqosd
