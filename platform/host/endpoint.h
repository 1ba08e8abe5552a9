// The endpoints of a host, and who may have created them.
#pragma once

#include <errno.h>
#include <sys/un.h>

#include "platform/lip.h"

namespace hqos::host {

// Writes the Unix address of a candidate for the endpoint, and its length. False when there is no
// such candidate, or its path is too long for an address.
bool EndpointAddress(const sockaddr_lip& address, uint32_t candidate, sockaddr_un* out,
                     socklen_t* length);

// Whether only this user or the system can have created the endpoint. Candidate 0 is in a directory
// of the system, or one that the user named; the other directories must belong to the effective
// user, with no write access for others. When false, errno gives the reason (EPERM: not safe).
bool IsTrusted(const sockaddr_un& endpoint, uint32_t candidate);

// Whether the process that listens there belongs to root, this user or the owner of the directory:
// in a directory that any user may write to, another user could have created the socket first. When
// false, errno gives the reason (EPERM: another user).
bool IsPeerTrusted(int connected, const sockaddr_un& endpoint);

// Whether the next candidate is to be tried after this errno.
inline bool ShouldTryNext(int reason) {
  return reason == ENOENT || reason == ECONNREFUSED || reason == EACCES || reason == EPERM ||
         reason == EROFS || reason == ENOTDIR;
}

// Copies the directory part of an endpoint's path, NUL-terminated, to `dir`.
void CopyDirectory(const sockaddr_un& endpoint, char (&dir)[sizeof(sockaddr_un::sun_path)]);

}  // namespace hqos::host
