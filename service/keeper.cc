#include "service/keeper.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "msg/records.h"
#include "platform/hqosd.h"
#include "service/dispatch.h"
#include "service/load.h"
#include "service/log.h"
#include "service/reserve.h"
#include "service/rows.h"

namespace hqosd {

namespace {

// A key in one line.
std::string Printable(std::string key) {
  for (char& c : key) {
    if (static_cast<unsigned char>(c) < 0x20) c = '/';
  }
  return key;
}

// Whether it is a command that was carried out and changes what is stored.
bool IsUndone(const Exchange& exchange) {
  const auto& [request, reply] = exchange;
  if (request.size() < HQOS_MSGHEAD_LEN || request[3] != HQOS_OP_CONFIG) return false;
  const hqos::Tlv command = hqos::FirstTlv(request.data(), static_cast<uint16_t>(request.size()));
  const hqos::Tlv status = hqos::FirstTlv(reply.data(), static_cast<uint16_t>(reply.size()));
  HQOS_Result verdict{};
  return command.type != HQOS_CMD_SET_DEBUG && command.type != HQOS_CMD_RESET_DEBUG &&
         Decode(hqos::kResultCode, status.value, status.length, verdict) && verdict.code == 0;
}

bool IsOfClass(const Bytes& request, bool isCommand) {
  return request.size() > 3 && (request[3] == HQOS_OP_CONFIG) == isCommand;
}

}  // namespace

bool Keeper::KeepIn(std::unique_ptr<Store> store) {
  store_ = std::move(store);
  const std::string why = Reload();
  if (!why.empty()) Log("cannot use the store: %s", why.c_str());
  return why.empty();
}

// Replaces the model by what the store holds, and mends the store.
std::string Keeper::Reload() try {
  astray_ = true;
  std::vector<StoredRecord> records;
  std::string why = store_->Read(records);
  if (!why.empty()) return why;
  Model fresh;
  fresh.interfaces = model_.interfaces;
  fresh.debug = model_.debug;
  pending_ = Load(records, fresh).mending;
  for (const Change& change : pending_) {
    if (!change.aside.empty()) {
      Log("set aside %s: %s", Printable(change.key).c_str(), change.aside.c_str());
    }
  }
  if (!pending_.empty()) {
    why = store_->Write(pending_);
    if (why.empty()) pending_.clear();
    if (!why.empty()) Log("the store is not mended yet: %s", why.c_str());
  }
  fresh.counters = std::move(model_.counters);
  model_ = std::move(fresh);
  astray_ = false;
  return "";
} catch (const std::bad_alloc&) {
  return "out of memory";
}

Bytes Keeper::Respond(const Bytes& request, bool mayConfigure) {
  const bool isCommand = IsOfClass(request, true);
  if (isCommand && !mayConfigure) {
    return RefuseRequest(request, HQOSD_NOT_ALLOWED,
                         "only root, the service's user and members of group hqos may configure");
  }
  constexpr char kShort[] = "nothing is changed, the service is short of memory";
  if (!KeepReserve() && isCommand) return RefuseRequest(request, HQOSD_NO_MEMORY, kShort);
  try {
    return Answer(request);
  } catch (const std::bad_alloc&) {
    if (isCommand) {  // half done, and the reserve was not enough: better no service
      Log("out of memory in the middle of a command");
      std::_Exit(1);
    }
    return RefuseRequest(request, HQOSD_NO_MEMORY, kShort);
  }
}

Bytes Keeper::Answer(const Bytes& request) {
  if (astray_) {
    const std::string why = Reload();
    if (!why.empty()) return RefuseRequest(request, HQOSD_NOT_STORED, "the store fails: " + why);
  }
  return hqosd::Respond(model_, request.data(), request.size());
}

std::string Keeper::Save() try {
  std::vector<Change> changes = TakeChanges(model_);
  if (changes.empty()) return "";
  changes.insert(changes.begin(), pending_.begin(), pending_.end());
  std::string why = store_->Write(changes);
  if (why.empty()) pending_.clear();
  return why;
} catch (const std::bad_alloc&) {
  return "out of memory";
}

void Keeper::Commit(std::vector<Exchange>& exchanges) {
  if (store_ == nullptr) return model_.ForgetChanges();
  const std::string why = Save();
  if (why.empty()) return;
  // Nothing of what was done since the last commit has been: neither the commands, nor what the
  // queries among them saw.
  Log("cannot write to the store: %s", why.c_str());
  const std::string unread = Reload();
  if (!unread.empty()) Log("cannot read the store: %s", unread.c_str());
  for (Exchange& exchange : exchanges) {
    if (IsUndone(exchange)) {
      exchange.reply = RefuseRequest(exchange.request, HQOSD_NOT_STORED,
                                     "nothing is changed, the store fails: " + why);
    } else if (IsOfClass(exchange.request, false)) {
      exchange.reply = Answer(exchange.request);
    }
  }
}

bool CheckStore(Store& store) {
  std::vector<StoredRecord> records;
  const std::string why = store.Read(records);
  if (!why.empty()) {
    std::printf("the store cannot be used: %s\n", why.c_str());
    return false;
  }
  Model model;
  const Loaded loaded = Load(records, model);
  std::printf("%zu records: %zu SPs, %zu FGs, %zu FCs, %zu FPs, %zu DPs, %zu applications\n",
              records.size(), model.sps.All().size(), model.fgs.All().size(),
              model.fcs.All().size(), model.fps.All().size(), model.dps.All().size(),
              model.applications.size());
  for (const Change& change : loaded.mending) {
    const char* const what = change.aside.empty() ? "not up to date" : change.aside.c_str();
    std::printf("%s: %s\n", Printable(change.key).c_str(), what);
  }
  return loaded.mending.empty();
}

}  // namespace hqosd
