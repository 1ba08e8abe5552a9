#include "service/server/guard.h"

#include <pwd.h>

#include <cstdlib>
#include <new>

#include "service/model/log.h"
#include "service/server/reserve.h"

namespace hqosd {

namespace {

bool IsState(const Bytes& request) { return request.size() > 3 && request[3] == HQOSD_OP_STATE; }

std::string NameOf(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

}  // namespace

Response RespondGuarded(Transactor& transactor, const Bytes& request, Bytes file,
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
      return transactor.RespondState(request, std::move(file), NameOf(sender.user),
                                     sender.mayConfigure, out);
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
