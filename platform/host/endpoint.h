// The endpoints of a host, and who may have created them.
#pragma once

#include <arpa/inet.h>
#include <errno.h>
#include <stddef.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/lip.h"

namespace hqos::host {

// Writes the Unix address of a candidate for the endpoint, and its length. False when there is no
// such candidate, or its path is too long for an address.
inline bool EndpointAddress(const sockaddr_lip& address, uint32_t candidate, sockaddr_un* out,
                            socklen_t* length) {
  const uint32_t n = LIP_GetEndpoint(ntohl(address.slip_node), ntohs(address.slip_port), candidate,
                                     out->sun_path, sizeof out->sun_path);
  if (n == 0) return false;
  out->sun_family = AF_UNIX;
  *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + n + 1);
  return true;
}

// Whether the directory of the endpoint belongs to the effective user, with no write access for
// others. When false, errno gives the reason (EPERM: not safe).
bool IsInOwnDirectory(const sockaddr_un& endpoint);

// Whether only this user or the system can have created the endpoint. Candidate 0 is in a directory
// of the system, or one that the user named; the others are in the user's own. When false, errno
// gives the reason.
inline bool IsTrusted(const sockaddr_un& endpoint, uint32_t candidate) {
  return candidate == 0 || IsInOwnDirectory(endpoint);
}

// Whether the user owns the directory of the endpoint. When false, errno gives the reason (EPERM:
// another user).
bool IsDirectoryOwner(uid_t user, const sockaddr_un& endpoint);

// Whether the process that listens there belongs to root, this user or the owner of the directory:
// in a directory that any user may write to, another user could have created the socket first. When
// false, errno gives the reason (EPERM: another user).
inline bool IsPeerTrusted(int connected, const sockaddr_un& endpoint) {
  ucred peer;
  socklen_t size = sizeof peer;
  return getsockopt(connected, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == 0 || peer.uid == geteuid() || IsDirectoryOwner(peer.uid, endpoint));
}

// Whether the next candidate is to be tried after this errno.
inline bool ShouldTryNext(int reason) {
  return reason == ENOENT || reason == ECONNREFUSED || reason == EACCES || reason == EPERM ||
         reason == EROFS || reason == ENOTDIR;
}

// Copies the directory part of an endpoint's path, NUL-terminated, to `dir`.
void CopyDirectory(const sockaddr_un& endpoint, char (&dir)[sizeof(sockaddr_un::sun_path)]);

}  // namespace hqos::host
