// The service's side of the host's stand-in for address family 37.
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host/endpoint.h"

using hqos::host::CopyDirectory;
using hqos::host::EndpointAddress;
using hqos::host::IsPassedOver;
using hqos::host::IsTrusted;

namespace {

// Makes way at the endpoint: removes a socket that nobody listens on. False with errno EADDRINUSE
// when somebody does, or when something else than a socket stands there.
bool RemoveStale(const sockaddr_un& endpoint, socklen_t length) {
  const int probe = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) return false;
  const int connected = connect(probe, reinterpret_cast<const sockaddr*>(&endpoint), length);
  const int reason = connected == 0 ? EADDRINUSE : errno;
  close(probe);
  if (reason == ENOENT) return true;
  struct stat info;
  if (reason == ECONNREFUSED && lstat(endpoint.sun_path, &info) == 0 && S_ISSOCK(info.st_mode)) {
    return unlink(endpoint.sun_path) == 0;
  }
  errno = EADDRINUSE;
  return false;
}

bool ListenAt(int fd, const sockaddr_un& endpoint, socklen_t length, int backlog) {
  // Only the owner may connect. The mode of the open socket becomes that of its file.
  return RemoveStale(endpoint, length) && fchmod(fd, S_IRUSR | S_IWUSR) == 0 &&
         bind(fd, reinterpret_cast<const sockaddr*>(&endpoint), length) == 0 &&
         listen(fd, backlog) == 0;
}

bool ListenInDirectory(int fd, const sockaddr_un& endpoint, socklen_t length, uint32_t rank,
                       int backlog) {
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  if (mkdir(dir, S_IRWXU) != 0 && errno != EEXIST) return false;
  if (!IsTrusted(endpoint, rank)) return false;
  // The lock keeps a second service from taking a socket for stale that is not listened on yet.
  const int lock = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock < 0) return false;
  const bool listening = flock(lock, LOCK_EX) == 0 && ListenAt(fd, endpoint, length, backlog);
  const int reason = errno;
  close(lock);
  errno = reason;
  return listening;
}

}  // namespace

int LIP_Listen(int fd, const sockaddr_lip* address, int backlog, uint32_t* rank) {
  int reason = ENAMETOOLONG;
  sockaddr_un endpoint;
  socklen_t length;
  for (uint32_t next = 0; EndpointAddress(*address, next, &endpoint, &length); ++next) {
    *rank = next;
    if (ListenInDirectory(fd, endpoint, length, next, backlog)) return 0;
    reason = errno;
    if (!IsPassedOver(reason)) break;
  }
  errno = reason;
  return -1;
}
