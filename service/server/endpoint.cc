#include "service/server/endpoint.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "hqos.h"
#include "platform/lip.h"

namespace hqosd {

namespace {

constexpr int kBacklog = 512;

// Why a service cannot listen, by the errno of LIP_Listen.
const char* WhyNot(int reason) {
  switch (reason) {
    case EADDRINUSE:
      return "it is taken, by a service or a file";
    case EPERM:
      return "others could change what is there, or lip.lock beside it is another user's";
    case EWOULDBLOCK:
      return "another process holds lip.lock beside it; find it with fuser, and end it";
    default:
      return std::strerror(reason);
  }
}

}  // namespace

Endpoint::Endpoint(uint32_t node) {
  const int inherited = sd_listen_fds(0);
  if (inherited != 0) {
    Inherit(inherited);
  } else {
    Listen(node);
  }
}

Endpoint::~Endpoint() {
  struct stat now;
  if (isOwn_ && lstat(path_, &now) == 0 && now.st_ino == file_.st_ino &&
      now.st_dev == file_.st_dev) {
    unlink(path_);
  }
  if (fd_ >= 0) close(fd_);
}

// Its file remains the service manager's.
void Endpoint::Inherit(int count) {
  std::strcpy(path_, "the inherited socket");
  if (count != 1 || sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_SEQPACKET, 1, nullptr, 0) <= 0) {
    fault_ = "it must be one Unix-domain socket of sequenced packets that listens";
    return;
  }
  fd_ = SD_LISTEN_FDS_START;
  sockaddr_un address{};
  socklen_t length = sizeof address;
  const bool isNamed = getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
                       address.sun_path[0] == '/';
  // The longest name has no NUL.
  if (isNamed)
    std::snprintf(path_, sizeof path_, "%.*s", int{sizeof address.sun_path}, address.sun_path);
}

void Endpoint::Listen(uint32_t node) {
  fd_ = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  const sockaddr_lip address{
      sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(node), {}};
  uint32_t candidate = 0;
  isOwn_ = fd_ >= 0 && LIP_Listen(fd_, &address, kBacklog, &candidate) == 0;
  if (!isOwn_) fault_ = WhyNot(errno);
  LIP_GetEndpoint(node, HQOS_SERVICE_PORT, candidate, path_, sizeof path_);
  lstat(path_, &file_);
}

}  // namespace hqosd
