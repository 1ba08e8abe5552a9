// Messages of the clients' sockets, with the memory files that come along.
#pragma once

#include <sys/types.h>

#include "service/model/tlvs.h"

namespace hqosd {

// Receives a request, of at most one byte more than is allowed, and the contents of the file that
// comes with it: empty unless it is a sealed memory file of an allowed size. Returns as recv()
// does.
ssize_t ReceiveRequest(int fd, Bytes& request, Bytes& file);

// Sends a reply, and unless it is empty a sealed memory file.
bool SendReply(int fd, const Bytes& reply, const Bytes& file);

}  // namespace hqosd
