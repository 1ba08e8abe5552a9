#include "service/kernel/claim.h"

#include <fmt/format.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

#include "service/kernel/netlink.h"
#include "service/model/log.h"

namespace hqosd::kernel {

namespace {

// An abstract address belongs to a network namespace, and is free when its holder ends.
constexpr std::string_view kName{"\0hqosd-enforce", 14};

// Asks for something that changes nothing, as no device has index 0. Privileges are checked first.
bool MayChange() {
  Netlink netlink(OpenSocket());
  Message message(RTM_DELQDISC, 0);
  message.Fixed<tcmsg>();
  const auto failure = netlink.Do(message);
  return !failure || failure->error != EPERM;
}

// The user who holds the address, root if the kernel does not say; none when nobody does.
std::optional<uid_t> Holder() try {
  Netlink netlink(OpenSocket(NETLINK_SOCK_DIAG));
  Message message(SOCK_DIAG_BY_FAMILY, 0);
  auto& request = message.Fixed<unix_diag_req>();
  request.sdiag_family = AF_UNIX;
  request.udiag_states = ~0u;
  request.udiag_show = UDIAG_SHOW_NAME | UDIAG_SHOW_UID;
  const std::vector<char> answer = netlink.Dump(message);
  for (const nlmsghdr* one : MessagesIn(answer)) {
    const Attributes attributes(*one, sizeof(unix_diag_msg));
    const nlattr* const name = attributes.Find(UNIX_DIAG_NAME);
    uid_t user = 0;
    if (name != nullptr && attributes.Read(UNIX_DIAG_UID, user) &&
        kName == std::string_view(static_cast<const char*>(mnl_attr_get_payload(name)),
                                  mnl_attr_get_payload_len(name))) {
      return user;
    }
  }
  return std::nullopt;
} catch (const NetlinkError&) {
  return 0;
}

// Any user can hold the address, but not keep a service from its work.
bool IsService(uid_t user) {
  const passwd* const hqos = getpwnam("hqos");
  return user == 0 || user == geteuid() || (hqos != nullptr && user == hqos->pw_uid);
}

int Bind() {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{AF_UNIX, {}};
  kName.copy(address.sun_path, kName.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + kName.size());
  if (fd >= 0 && bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) return fd;
  const int reason = errno;
  if (fd >= 0) close(fd);
  if (reason != EADDRINUSE) {
    throw NetlinkError(reason, fmt::format("cannot claim it: {}", std::strerror(reason)));
  }
  return -1;
}

}  // namespace

Claim::Claim() : fd_(-1) {
  if (!MayChange()) {
    throw NetlinkError(EPERM, "this needs CAP_NET_ADMIN in the network namespace");
  }
  if ((fd_ = Bind()) >= 0) return;
  const auto holder = Holder();
  if (holder && !IsService(*holder)) {
    Log(Level::Warning, "user %u holds @hqosd-enforce, which keeps services apart", *holder);
  } else if (!holder && (fd_ = Bind()) >= 0) {  // it has ended in between
    return;
  } else {
    throw NetlinkError(EADDRINUSE,
                       "another hqosd enforces in this network namespace; ss -axp lists its "
                       "socket, @hqosd-enforce");
  }
}

Claim::~Claim() {
  if (fd_ >= 0) close(fd_);
}

}  // namespace hqosd::kernel
