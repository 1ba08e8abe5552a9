#include "platform/host/endpoint.h"

#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/hqos.h"

namespace {

// The endpoint's name on the own slot, which nearly all calls use, as a constant.
constexpr uint32_t kServiceNode = HQOS_SERVICE_NODE;
constexpr uint16_t kServicePort = HQOS_SERVICE_PORT;
constexpr char kServiceName[] = "/lip-80000000-1174";
static_assert(kServiceNode == 0x80000000 && kServicePort == 1174);

// Writes <dir><subdir>/lip-<node>-<port>. Returns the same as LIP_GetEndpoint.
template <size_t N>
uint32_t Compose(const char* dir, const char (&subdir)[N], uint32_t node, uint16_t port, char* path,
                 uint32_t room) {
  if (node != kServiceNode || port != kServicePort) {
    const int length = snprintf(path, room, "%s%s/lip-%08x-%u", dir, subdir, node, port);
    return length > 0 && static_cast<uint32_t>(length) < room ? static_cast<uint32_t>(length) : 0;
  }
  const size_t dirLength = strlen(dir), length = dirLength + N - 1 + sizeof kServiceName - 1;
  if (length >= room) return 0;
  char* const at = static_cast<char*>(mempcpy(path, dir, dirLength));
  memcpy(at, subdir, N - 1);
  memcpy(at + N - 1, kServiceName, sizeof kServiceName);
  return static_cast<uint32_t>(length);
}

const char* Environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// The candidates after the first, in the user's own directories. Not inlined, so that only this
// path pays for the buffer.
[[gnu::noinline]] uint32_t ComposeForUser(uint32_t node, uint16_t port, uint32_t candidate,
                                          char* path, uint32_t room) {
  if (const char* dir = Environment("XDG_RUNTIME_DIR")) {
    if (--candidate == 0) return Compose(dir, "/hqos", node, port, path, room);
  }
  if (candidate != 1) return 0;
  const char* home = Environment("HOME");
  char buffer[4096];
  passwd entry;
  passwd* found = nullptr;
  if (home == nullptr && getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 &&
      found != nullptr) {
    home = found->pw_dir;
  }
  return home != nullptr ? Compose(home, "/.hqos", node, port, path, room) : 0;
}

}  // namespace

uint32_t LIP_GetEndpoint(uint32_t node, uint16_t port, uint32_t candidate, char* path,
                         uint32_t room) {
  const char* const dir = Environment("HQOS_RUNTIME_DIR");
  if (candidate == 0) {
    return Compose(dir != nullptr ? dir : "/run/hqos", "", node, port, path, room);
  }
  return dir != nullptr ? 0 : ComposeForUser(node, port, candidate, path, room);
}

namespace hqos::host {

void CopyDirectory(const sockaddr_un& endpoint, char (&dir)[sizeof(sockaddr_un::sun_path)]) {
  const char* const slash = strrchr(endpoint.sun_path, '/');
  const size_t length = static_cast<size_t>(slash - endpoint.sun_path);
  memcpy(dir, endpoint.sun_path, length);
  dir[length] = '\0';
}

bool IsInOwnDirectory(const sockaddr_un& endpoint) {
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  struct stat info;
  if (lstat(dir, &info) != 0) return false;
  errno = EPERM;
  return S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool IsDirectoryOwner(uid_t user, const sockaddr_un& endpoint) {
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  struct stat info;
  if (stat(dir, &info) != 0) return false;
  errno = EPERM;
  return user == info.st_uid;
}

}  // namespace hqos::host
