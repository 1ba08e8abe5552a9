#include "service/kernel/links.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <linux/ethtool.h>
#include <linux/filter.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace hqosd::kernel {

namespace {

constexpr char kIfbPrefix[] = "hqos-";  // with ten digits as long as a name can be
constexpr size_t kRoom = 65536;

void AddOnce(std::vector<int>& devices, int device) {
  if (std::find(devices.begin(), devices.end(), device) == devices.end()) {
    devices.push_back(device);
  }
}

}  // namespace

std::vector<LinkState> ReadLinks(Netlink& netlink) {
  Message message(RTM_GETLINK, 0);
  message.Fixed<ifinfomsg>();
  const std::vector<char> answer = netlink.Dump(message);
  std::vector<LinkState> links;
  for (const nlmsghdr* one : MessagesIn(answer)) {
    const auto& fixed = FixedOf<ifinfomsg>(*one);
    const Attributes attributes(*one, sizeof fixed);
    uint32_t mtu = 0;
    attributes.Read(IFLA_MTU, mtu);
    links.push_back({fixed.ifi_index, attributes.Text(IFLA_IFNAME),
                     attributes.Nest(IFLA_LINKINFO).Text(IFLA_INFO_KIND), mtu,
                     (fixed.ifi_flags & IFF_UP) != 0});
  }
  return links;
}

uint64_t ReadRate(const std::string& name) {
  // The settings end in bit sets; the first call only asks for their size.
  alignas(ethtool_link_settings) uint8_t room[sizeof(ethtool_link_settings) + 3uL * 127 * 4] = {};
  auto& settings = *reinterpret_cast<ethtool_link_settings*>(room);
  ifreq request{};
  name.copy(request.ifr_name, sizeof request.ifr_name - 1);
  request.ifr_data = reinterpret_cast<char*>(room);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);  // the family does not matter
  if (fd < 0) return 0;
  bool isRead = true;
  for (int i = 0; i < 2 && isRead; ++i) {
    settings.cmd = ETHTOOL_GLINKSETTINGS;
    settings.link_mode_masks_nwords =
        static_cast<int8_t>(std::abs(settings.link_mode_masks_nwords));
    isRead = ioctl(fd, SIOCETHTOOL, &request) == 0;
  }
  close(fd);
  const bool isKnown = isRead && settings.speed != static_cast<uint32_t>(SPEED_UNKNOWN);
  return isKnown ? uint64_t{settings.speed} * 1'000'000 : 0;
}

std::string IfbName(int device) { return kIfbPrefix + std::to_string(device); }

bool IsOwnIfb(const LinkState& link) {
  return link.kind == "ifb" && link.name.starts_with(kIfbPrefix);
}

Monitor::Monitor(uint32_t ownPort)
    : socket_(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK)) {
  // Otherwise a large tree being built would fill the socket.
  sock_filter code[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(nlmsghdr, nlmsg_pid)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, htonl(ownPort)},
      {BPF_RET | BPF_K, 0, 0, 0},
      {BPF_RET | BPF_K, 0, 0, UINT32_MAX},
  };
  const sock_fprog withoutOwn{std::size(code), code};
  if (socket_ == nullptr ||
      setsockopt(fd(), SOL_SOCKET, SO_ATTACH_FILTER, &withoutOwn, sizeof withoutOwn) != 0 ||
      mnl_socket_bind(socket_.get(), RTMGRP_LINK | RTMGRP_TC, MNL_SOCKET_AUTOPID) != 0) {
    const int error = errno;
    throw NetlinkError(error,
                       fmt::format("netlink: cannot listen to changes: {}", std::strerror(error)));
  }
}

Monitor::News Monitor::Read() {
  News news;
  std::vector<char> room(kRoom);
  for (;;) {
    const ssize_t length = mnl_socket_recvfrom(socket_.get(), room.data(), room.size());
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno != ENOBUFS && errno != ENOSPC) return news;
    if (length < 0) {
      news.areLost = true;
      continue;
    }
    for (const nlmsghdr* one : MessagesIn({room.data(), static_cast<size_t>(length)})) {
      if (one->nlmsg_type == RTM_NEWLINK || one->nlmsg_type == RTM_DELLINK) {
        AddOnce(news.links, FixedOf<ifinfomsg>(*one).ifi_index);
      } else {
        AddOnce(news.trees, FixedOf<tcmsg>(*one).tcm_ifindex);
      }
    }
  }
}

}  // namespace hqosd::kernel
