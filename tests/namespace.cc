#include "tests/namespace.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace net {

using namespace hqosd::kernel;

namespace {

bool Enter() {
  if (unshare(CLONE_NEWNET) == 0) return true;
  const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
  std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
  return true;
}

// In the thread's namespace.
void BringUpSilently(const std::string& name) {
  Netlink netlink;
  std::ofstream("/proc/sys/net/ipv6/conf/" + name + "/disable_ipv6") << "1";
  if (Apply(netlink, IndexOf(name), std::vector<Operation>{BringUp{}}).failure) std::abort();
}

}  // namespace

std::string WhyNotEntered() {
  if (!Enter()) return std::string("no network namespaces here: ") + std::strerror(errno);
  Netlink netlink;
  const std::pair<const char*, std::vector<Operation>> needs[] = {
      {"htb", {AddTree{1}, RemoveTree{}}},
      {"the ingress hook", {AddHooks{}}},
      {"the bpf classifier or mirred", {SetRedirect{1}, RemoveRedirect{}, RemoveHooks{}}},
      {"ifb", {AddIfb{"probe"}}},
  };
  for (const auto& [what, operations] : needs) {
    const Outcome outcome = Apply(netlink, IndexOf("lo"), operations);
    if (!outcome.failure) continue;
    const int error = outcome.failure->error;
    if (error != ENOENT && error != EOPNOTSUPP && error != EPERM) std::abort();
    return std::string("this kernel has not ") + what + ": " + outcome.failure->text;
  }
  Apply(netlink, IndexOf("probe"), std::vector<Operation>{RemoveLink{}});
  return "";
}

int IndexOf(const std::string& name) { return static_cast<int>(if_nametoindex(name.c_str())); }

void TakeDown(Netlink& netlink, int device) {
  Message message(RTM_NEWLINK, 0);
  auto& fixed = message.Fixed<ifinfomsg>();
  fixed.ifi_index = device;
  fixed.ifi_change = IFF_UP;
  if (netlink.Do(message)) std::abort();
}

Peer::Peer() {
  std::thread([this] {
    if (unshare(CLONE_NEWNET) != 0) std::abort();
    fd_ = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
  }).join();
}

Peer::~Peer() { close(fd_); }

void Peer::Enter() const {
  if (setns(fd_, CLONE_NEWNET) != 0) std::abort();
}

void AddPair(Netlink& netlink, const std::string& a, const std::string& b, const Peer* peer) {
  Message message(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL);
  message.Fixed<ifinfomsg>();
  message.Put(IFLA_IFNAME, a);
  nlattr* info = message.BeginNest(IFLA_LINKINFO);
  message.Put(IFLA_INFO_KIND, std::string("veth"));
  nlattr* data = message.BeginNest(IFLA_INFO_DATA);
  nlattr* other = message.BeginNest(VETH_INFO_PEER);
  message.Fixed<ifinfomsg>();
  message.Put(IFLA_IFNAME, b);
  if (peer != nullptr) message.Put(IFLA_NET_NS_FD, peer->fd());
  for (nlattr* nest : {other, data, info}) message.EndNest(nest);
  if (netlink.Do(message)) std::abort();
  BringUpSilently(a);
  if (peer == nullptr) return BringUpSilently(b);
  std::thread([&] {
    peer->Enter();
    BringUpSilently(b);
  }).join();
}

sockaddr_in AddressOf(const char* address, uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  inet_pton(AF_INET, address, &result.sin_addr);
  return result;
}

void AddAddress(Netlink& netlink, const std::string& name, const char* address) {
  Message message(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL);
  auto& fixed = message.Fixed<ifaddrmsg>();
  fixed.ifa_family = AF_INET;
  fixed.ifa_prefixlen = 24;
  fixed.ifa_index = static_cast<uint32_t>(IndexOf(name));
  message.Put(IFA_LOCAL, AddressOf(address, 0).sin_addr);
  if (netlink.Do(message)) std::abort();
}

Port::Port(const std::string& name, uint16_t protocol)
    : fd_(socket(AF_PACKET, SOCK_RAW, 0)) {  // until it is bound, nothing of other interfaces
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(protocol);
  address.sll_ifindex = IndexOf(name);
  const int room = 64 << 20;
  setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
  setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
  setsockopt(fd_, SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room);
  setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  if (bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
}

Port::~Port() { close(fd_); }

void Port::Mark(uint32_t mark) const { setsockopt(fd_, SOL_SOCKET, SO_MARK, &mark, sizeof mark); }

bool Port::Send(const Frame& frame) const {
  return send(fd_, frame.data(), frame.size(), 0) == static_cast<ssize_t>(frame.size());
}

std::vector<Frame> Port::Receive(int milliseconds) const {
  std::vector<Frame> frames;
  pollfd event{fd_, POLLIN, 0};
  while (poll(&event, 1, milliseconds) > 0) {
    Frame frame(65536);
    sockaddr_ll from{};
    socklen_t length = sizeof from;
    const ssize_t size =
        recvfrom(fd_, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (size < 0 || from.sll_pkttype == PACKET_OUTGOING) continue;
    frame.resize(static_cast<size_t>(size));
    frames.push_back(std::move(frame));
  }
  return frames;
}

void Port::Wait(int milliseconds) const {
  pollfd event{fd_, POLLIN, 0};
  poll(&event, 1, milliseconds);
}

}  // namespace net
