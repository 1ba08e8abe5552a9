// Where endpoints stand on a host, and who may have put them there.
#pragma once

#include <errno.h>
#include <sys/un.h>

#include "platform/lip.h"

namespace hqos::host {

// Fills the Unix address of the endpoint of the given rank and its length. False when there is no
// such rank, or its path is too long for an address.
bool EndpointAddress(const sockaddr_lip& address, uint32_t rank, sockaddr_un* out,
                     socklen_t* length);

// Whether nobody but this user or the system can have made the endpoint of that rank. Rank 0 stands
// where only the system or the user's own word puts it; the directories of others must belong to
// the effective user, with no write access for others. When false, errno says why (EPERM: not
// safe).
bool IsTrusted(const sockaddr_un& endpoint, uint32_t rank);

// Whether who listens there is root, this user or the owner of the directory: in one that all may
// write to, anybody can put a socket first. When false, errno says why (EPERM: somebody else).
bool IsPeerTrusted(int connected, const sockaddr_un& endpoint);

// Whether a failure at one endpoint (errno) leaves the next one to be tried.
inline bool IsPassedOver(int reason) {
  return reason == ENOENT || reason == ECONNREFUSED || reason == EACCES || reason == EPERM ||
         reason == EROFS || reason == ENOTDIR;
}

// Copies the directory part of an endpoint's path, NUL-terminated, to `dir`.
void CopyDirectory(const sockaddr_un& endpoint, char (&dir)[sizeof(sockaddr_un::sun_path)]);

}  // namespace hqos::host
