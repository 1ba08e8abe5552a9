// What a request passes before it reaches the model: may the client configure, is there memory.
#pragma once

#include "service/server/transactor.h"

namespace hqosd {

// Refuses a command of a client that may not configure, and a request for which there is no memory;
// otherwise the transactor responds. A command that runs out of memory in the middle ends the
// process: the store has all that was acknowledged.
Response RespondGuarded(Transactor& transactor, const Bytes& request, bool mayConfigure);

}  // namespace hqosd
