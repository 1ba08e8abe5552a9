#include "platform/host/endpoint.h"

#include <arpa/inet.h>
#include <errno.h>
#include <pwd.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Appends to a fixed buffer; once something did not fit, `at` stays null.
struct Path {
  char* at;
  char* end;

  void Add(const char* text, size_t length) {
    if (at == nullptr || length >= static_cast<size_t>(end - at)) {
      at = nullptr;
      return;
    }
    memcpy(at, text, length);
    at += length;
  }
};

// Writes the digits of `value`, at least `width` of them, and returns how many.
size_t Digits(uint32_t value, uint32_t base, size_t width, char* out) {
  char reversed[16];
  size_t n = 0;
  for (; value != 0 || n < width; value /= base) reversed[n++] = "0123456789abcdef"[value % base];
  for (size_t i = 0; i < n; ++i) out[i] = reversed[n - 1 - i];
  return n;
}

uint32_t Compose(const char* dir, const char* subdir, uint32_t node, uint16_t port, char* path,
                 uint32_t room) {
  char name[sizeof "/lip-ffffffff-65535"] = "/lip-";
  size_t length = 5;
  length += Digits(node, 16, 8, name + length);
  name[length++] = '-';
  length += Digits(port, 10, 1, name + length);

  Path out{path, path + room};
  out.Add(dir, strlen(dir));
  out.Add(subdir, strlen(subdir));
  out.Add(name, length);
  if (out.at == nullptr) return 0;
  *out.at = '\0';
  return static_cast<uint32_t>(out.at - path);
}

const char* Environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

uint32_t LIP_GetEndpoint(uint32_t node, uint16_t port, uint32_t rank, char* path, uint32_t room) {
  if (rank > 1) return 0;
  if (const char* dir = Environment("HQOS_RUNTIME_DIR")) {
    return rank == 0 ? Compose(dir, "", node, port, path, room) : 0;
  }
  if (rank == 0) return Compose("/run/hqos", "", node, port, path, room);
  if (const char* dir = Environment("XDG_RUNTIME_DIR")) {
    return Compose(dir, "/hqos", node, port, path, room);
  }
  char buffer[4096];
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) {
    return 0;
  }
  return Compose(found->pw_dir, "/.hqos", node, port, path, room);
}

namespace hqos::host {

bool EndpointAddress(const sockaddr_lip& address, uint32_t rank, sockaddr_un* out,
                     socklen_t* length) {
  const uint32_t n = LIP_GetEndpoint(ntohl(address.slip_node), ntohs(address.slip_port), rank,
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

bool IsTrusted(const sockaddr_un& endpoint, uint32_t rank) {
  if (rank == 0) return true;
  char dir[sizeof endpoint.sun_path];
  CopyDirectory(endpoint, dir);
  struct stat info;
  if (lstat(dir, &info) != 0) return false;
  errno = EPERM;
  return S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace hqos::host
