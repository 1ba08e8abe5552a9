#include "platform/host/endpoint.h"

#include <arpa/inet.h>
#include <errno.h>
#include <pwd.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/hqos.h"

namespace {

// The name of the endpoint of the own slot's service, which nearly all calls use, in constant form.
constexpr uint32_t kServiceNode = HQOS_SERVICE_NODE;
constexpr uint16_t kServicePort = HQOS_SERVICE_PORT;
constexpr char kServiceName[] = "/lip-80000000-1174";
static_assert(kServiceNode == 0x80000000 && kServicePort == 1174);

// Writes <dir><subdir>/lip-<node>-<port>. Returns the same as LIP_GetEndpoint.
template <size_t N>
uint32_t Compose(const char* dir, const char (&subdir)[N], uint32_t node, uint16_t port, char* path,
                 uint32_t room) {
  char other[sizeof "/lip-01234567-65535"];
  const char* name = kServiceName;
  size_t nameLength = sizeof kServiceName - 1;
  if (node != kServiceNode || port != kServicePort) {
    nameLength = static_cast<size_t>(snprintf(other, sizeof other, "/lip-%08x-%u", node, port));
    name = other;
  }
  const size_t dirLength = strlen(dir), length = dirLength + N - 1 + nameLength;
  if (length >= room) return 0;
  char* at = static_cast<char*>(mempcpy(path, dir, dirLength));
  at = static_cast<char*>(mempcpy(at, subdir, N - 1));
  memcpy(at, name, nameLength + 1);
  return static_cast<uint32_t>(length);
}

const char* Environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// In the home directory of the user database. Not inlined, so that only this path pays for the
// buffer.
[[gnu::noinline]] uint32_t ComposeInHome(uint32_t node, uint16_t port, char* path, uint32_t room) {
  char buffer[4096];
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) {
    return 0;
  }
  return Compose(found->pw_dir, "/.hqos", node, port, path, room);
}

}  // namespace

uint32_t LIP_GetEndpoint(uint32_t node, uint16_t port, uint32_t candidate, char* path,
                         uint32_t room) {
  if (const char* dir = Environment("HQOS_RUNTIME_DIR")) {
    return candidate == 0 ? Compose(dir, "", node, port, path, room) : 0;
  }
  if (candidate == 0) return Compose("/run/hqos", "", node, port, path, room);
  if (const char* dir = Environment("XDG_RUNTIME_DIR")) {
    if (--candidate == 0) return Compose(dir, "/hqos", node, port, path, room);
  }
  if (candidate != 1) return 0;
  const char* const home = Environment("HOME");
  return home != nullptr ? Compose(home, "/.hqos", node, port, path, room)
                         : ComposeInHome(node, port, path, room);
}

namespace hqos::host {

bool EndpointAddress(const sockaddr_lip& address, uint32_t candidate, sockaddr_un* out,
                     socklen_t* length) {
  const uint32_t n = LIP_GetEndpoint(ntohl(address.slip_node), ntohs(address.slip_port), candidate,
                                     out->sun_path, sizeof out->sun_path);
  if (n == 0) return false;
  out->sun_family = AF_UNIX;
  *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + n + 1);
  return true;
}

void CopyDirectory(const sockaddr_un& endpoint, char (&dir)[sizeof(sockaddr_un::sun_path)]) {
  const char* const slash = strrchr(endpoint.sun_path, '/');
  const size_t length = static_cast<size_t>(slash - endpoint.sun_path);
  memcpy(dir, endpoint.sun_path, length);
  dir[length] = '\0';
}

bool IsTrusted(const sockaddr_un& endpoint, uint32_t candidate) {
  if (candidate == 0) return true;
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  struct stat info;
  if (lstat(dir, &info) != 0) return false;
  errno = EPERM;
  return S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool IsPeerTrusted(int connected, const sockaddr_un& endpoint) {
  ucred peer;
  socklen_t size = sizeof peer;
  if (getsockopt(connected, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
  if (peer.uid == 0 || peer.uid == geteuid()) return true;
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  struct stat info;
  if (stat(dir, &info) != 0) return false;
  errno = EPERM;
  return peer.uid == info.st_uid;
}

}  // namespace hqos::host
