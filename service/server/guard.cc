#include "service/server/guard.h"

#include <cstdlib>
#include <new>

#include "service/model/log.h"
#include "service/server/reserve.h"

namespace hqosd {

Response RespondGuarded(Transactor& transactor, const Bytes& request, bool mayConfigure) {
  const bool isCommand = IsCommand(request);
  if (isCommand && !mayConfigure) {
    return RefuseRequest(request,
                         {HQOSD_NOT_ALLOWED,
                          "only root, the service's user and members of group hqos may configure"});
  }
  constexpr char kShort[] = "nothing is changed, the service is short of memory";
  if (!KeepReserve() && isCommand) return RefuseRequest(request, {HQOSD_NO_MEMORY, kShort});
  try {
    return transactor.Respond(request);
  } catch (const std::bad_alloc&) {
    if (isCommand) {
      Log("out of memory in the middle of a command");
      std::_Exit(1);
    }
    return RefuseRequest(request, {HQOSD_NO_MEMORY, kShort});
  }
}

}  // namespace hqosd
