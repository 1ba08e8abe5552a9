// What a request passes before it reaches the model: may the client configure, is there memory.
#pragma once

#include <sys/types.h>

#include "service/server/transactor.h"

namespace hqosd {

// Who sends a request.
struct Sender {
  uid_t user;
  bool mayConfigure;
};

// Refuses a command of a client that may not configure, and a request for which there is no memory;
// otherwise the transactor responds. A command that runs out of memory in the middle ends the
// process: the store has all that was acknowledged. A transaction works on a copy. `file` came with
// the request; `out` is to go with the reply.
Response RespondGuarded(Transactor& transactor, const Bytes& request, const RequestFile& file,
                        const Sender& sender, Bytes& out);

}  // namespace hqosd
