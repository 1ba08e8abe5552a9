// The client's side of the host's stand-in for address family 37.
#include "platform/lip.h"

#include <errno.h>

#include "platform/host/endpoint.h"

using hqos::host::EndpointAddress;
using hqos::host::IsPassedOver;
using hqos::host::IsPeerTrusted;
using hqos::host::IsTrusted;

int LIP_Socket(int family, int type, int protocol) {
  if (family != LIP_FAMILY || type != SOCK_DGRAM || protocol != LIP_PROTOCOL) {
    errno = EAFNOSUPPORT;
    return -1;
  }
  return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

int LIP_Connect(int fd, const sockaddr_lip* address, socklen_t length) {
  if (length != sizeof *address || address->slip_len != sizeof *address ||
      address->slip_family != LIP_FAMILY) {
    errno = EINVAL;
    return -1;
  }
  int reason = ENAMETOOLONG;
  sockaddr_un endpoint;
  socklen_t endpointLength;
  for (uint32_t rank = 0; EndpointAddress(*address, rank, &endpoint, &endpointLength); ++rank) {
    if (IsTrusted(endpoint, rank) &&
        connect(fd, reinterpret_cast<const sockaddr*>(&endpoint), endpointLength) == 0) {
      return IsPeerTrusted(fd, endpoint) ? 0 : -1;  // connected, it cannot try the next
    }
    reason = errno;
    if (!IsPassedOver(reason)) break;
  }
  errno = reason;
  return -1;
}
