// Interfaces of the host, and what changes about them and their traffic control.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "service/kernel/netlink.h"

namespace hqosd::kernel {

struct LinkState {
  int index;
  std::string name;
  std::string kind;  // "ifb"; empty for hardware
  uint32_t mtu;      // bytes
  bool isUp;         // by its settings, whether a cable is there or not
};

// Throws a NetlinkError.
std::vector<LinkState> ReadLinks(Netlink& netlink);

// In bit/s, as the driver reports it; 0: unknown.
uint64_t ReadRate(const std::string& name);

// The ifb for what comes in by the interface. It is hqosd's own: others have other names or kinds.
std::string IfbName(int device);
bool IsOwnIfb(const LinkState& link);

// Listens to changes that others make, in a socket that the caller watches for reading.
class Monitor {
 public:
  // What comes from requests of that port is not reported. Throws a NetlinkError.
  explicit Monitor(uint32_t ownPort);

  int fd() const { return mnl_socket_get_fd(socket_.get()); }

  struct News {
    bool areLost = false;           // some were lost: anything may have changed
    std::vector<int> links, trees;  // devices of which a link or the traffic control has changed
  };
  // All there is; does not wait.
  News Read();

 private:
  struct Close {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };
  std::unique_ptr<mnl_socket, Close> socket_;
};

}  // namespace hqosd::kernel
