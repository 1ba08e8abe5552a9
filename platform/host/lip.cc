// Address family 37 on a host: Unix-domain sequenced packets.
#include "platform/lip.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/host/endpoint.h"

using hqos::host::CopyDirectory;
using hqos::host::EndpointAddress;
using hqos::host::IsPeerTrusted;
using hqos::host::IsTrusted;
using hqos::host::ShouldTryNext;

// ---- Clients ------------------------------------------------------------------------------------

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
  for (uint32_t candidate = 0; EndpointAddress(*address, candidate, &endpoint, &endpointLength);
       ++candidate) {
    if (IsTrusted(endpoint, candidate) &&
        connect(fd, reinterpret_cast<const sockaddr*>(&endpoint), endpointLength) == 0) {
      return IsPeerTrusted(fd, endpoint) ? 0 : -1;  // a connected socket cannot try the next
    }
    reason = errno;
    if (!ShouldTryNext(reason)) break;
  }
  errno = reason;
  return -1;
}

// ---- Services -----------------------------------------------------------------------------------

namespace {

// Removes a socket that nobody listens on. False with errno EADDRINUSE when a service listens, or
// when the endpoint is not a socket.
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

// Any user may connect in the system's directory and in the one that the environment names, only
// the same user in the user's own directories.
constexpr mode_t DirectoryMode(uint32_t candidate) { return candidate == 0 ? 0755 : 0700; }
constexpr mode_t SocketMode(uint32_t candidate) { return candidate == 0 ? 0666 : 0600; }

bool ListenAt(int fd, const sockaddr_un& endpoint, socklen_t length, uint32_t candidate,
              int backlog) {
  if (!RemoveStale(endpoint, length)) return false;
  // The file gets the mode of the open socket, less the umask. No path is followed.
  const mode_t before = umask(0);
  const bool bound = fchmod(fd, SocketMode(candidate)) == 0 &&
                     bind(fd, reinterpret_cast<const sockaddr*>(&endpoint), length) == 0;
  const int reason = errno;
  umask(before);
  errno = reason;
  return bound && listen(fd, backlog) == 0;
}

// Whether the open directory, and a symbolic link to it, belong to this user or root, and no other
// user can replace a socket in it.
bool IsOurs(int directory, char* path) {
  for (size_t n = strlen(path); n > 1 && (path[n - 1] == '/' || strcmp(path + n - 2, "/.") == 0);) {
    path[--n] = '\0';  // the link itself
  }
  const auto isForeign = [](const struct stat& s) {
    return s.st_uid != 0 && s.st_uid != geteuid();
  };
  struct stat link, target;
  if (lstat(path, &link) != 0 || fstat(directory, &target) != 0) return false;
  errno = EPERM;
  const bool isShared = (target.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return !isForeign(link) && !isForeign(target) && (!isShared || (target.st_mode & S_ISVTX) != 0);
}

// Locks an open file. Waits up to 2 seconds, since services hold the lock only briefly, but does
// not wait for a file of another user (EPERM).
bool TakeLock(int lock) {
  constexpr int kTries = 100;
  constexpr timespec kPause{0, 20'000'000};
  struct stat info;
  if (fstat(lock, &info) != 0) return false;
  errno = EPERM;
  if (!S_ISREG(info.st_mode) || info.st_uid != geteuid() || info.st_nlink != 1) return false;
  for (int i = 0; i < kTries; ++i) {
    if (flock(lock, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    nanosleep(&kPause, nullptr);
  }
  errno = EWOULDBLOCK;
  return false;
}

// Takes the lock that keeps a second service from removing, as stale, a socket that is bound but
// not yet listening. Returns its descriptor, or -1 with errno.
int Lock(int directory) {
  const int lock =
      openat(directory, "lip.lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (lock >= 0 && TakeLock(lock)) return lock;
  const int reason = errno;
  if (lock >= 0) close(lock);
  errno = reason;
  return -1;
}

bool ListenInDirectory(int fd, const sockaddr_un& endpoint, socklen_t length, uint32_t candidate,
                       int backlog) {
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  const bool made = mkdir(dir, DirectoryMode(candidate)) == 0;
  if (!made && errno != EEXIST) return false;
  if (!IsTrusted(endpoint, candidate)) return false;
  const int directory = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return false;
  if (made) fchmod(directory, DirectoryMode(candidate));  // the umask may have removed bits
  const int lock = IsOurs(directory, dir) ? Lock(directory) : -1;
  const bool listening = lock >= 0 && ListenAt(fd, endpoint, length, candidate, backlog);
  const int reason = errno;
  if (lock >= 0) close(lock);
  close(directory);
  errno = reason;
  return listening;
}

}  // namespace

int LIP_Listen(int fd, const sockaddr_lip* address, int backlog, uint32_t* candidate) {
  int reason = ENAMETOOLONG;
  sockaddr_un endpoint;
  socklen_t length;
  for (uint32_t next = 0; EndpointAddress(*address, next, &endpoint, &length); ++next) {
    *candidate = next;
    if (ListenInDirectory(fd, endpoint, length, next, backlog)) return 0;
    reason = errno;
    if (!ShouldTryNext(reason)) break;
  }
  errno = reason;
  return -1;
}
