#include "service/server/guard.h"

#include <pwd.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "service/model/log.h"

namespace hqosd {

namespace {

// More than a request needs, except a change to a very large hierarchy that is applied in many
// places. It is never written to, so it costs addresses, not memory.
constexpr size_t kReserve = size_t{64} << 20;
void* s_reserve = nullptr;

void UseReserve() {
  if (s_reserve == nullptr) throw std::bad_alloc();
  std::free(s_reserve);
  s_reserve = nullptr;
}

// Reserves memory for `new` to use when there is no other, so that a request that has begun is
// completed. False when none can be reserved: then no command may begin.
bool KeepReserve() {
  if (s_reserve == nullptr) {
    s_reserve = std::malloc(kReserve);
    std::set_new_handler(UseReserve);
  }
  return s_reserve != nullptr;
}

bool IsState(const Bytes& request) { return request.size() > 3 && request[3] == HQOSD_OP_STATE; }

std::string NameOf(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

}  // namespace

Response RespondGuarded(Transactor& transactor, const Bytes& request, const RequestFile& file,
                        const Sender& sender, Bytes& out) {
  const bool isCommand = IsCommand(request);
  if (isCommand && !sender.mayConfigure) {
    return RefuseRequest(request,
                         {HQOSD_NOT_ALLOWED,
                          "only root, the service's user and members of group hqos may configure"});
  }
  constexpr char kShort[] = "nothing is changed, the service is short of memory";
  if (!KeepReserve() && isCommand) return RefuseRequest(request, {HQOSD_NO_MEMORY, kShort});
  try {
    if (IsState(request)) {
      return transactor.RespondState(request, file, NameOf(sender.user), sender.mayConfigure, out);
    }
    return transactor.Respond(request);
  } catch (const std::bad_alloc&) {
    if (isCommand) {
      Log(Level::Error, "out of memory in the middle of a command");
      std::_Exit(1);
    }
    return RefuseRequest(request, {HQOSD_NO_MEMORY, kShort});
  }
}

}  // namespace hqosd
