#include "service/model/interfaces.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace hqosd {

namespace {

bool IsUp(const std::string& name) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  name.copy(request.ifr_name, sizeof request.ifr_name - 1);
  const bool known = fd >= 0 && ioctl(fd, SIOCGIFFLAGS, &request) == 0;
  if (fd >= 0) close(fd);
  return known && (request.ifr_flags & IFF_UP) != 0;
}

class Machine final : public InterfaceSource {
 public:
  std::optional<Interface> Find(const std::string& name) const override {
    const uint32_t index = if_nametoindex(name.c_str());
    if (index == 0) return std::nullopt;
    return Interface{index, name, IsUp(name)};
  }

  std::optional<Interface> Find(uint32_t index) const override {
    char name[IF_NAMESIZE];
    if (if_indextoname(index, name) == nullptr) return std::nullopt;
    return Interface{index, name, IsUp(name)};
  }
};

}  // namespace

const InterfaceSource& MachineInterfaces() {
  static const Machine machine;
  return machine;
}

}  // namespace hqosd
