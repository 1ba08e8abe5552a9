// Who may do what: the kernel identifies the client.
#pragma once

#include <sys/types.h>

#include <optional>

namespace hqosd {

// The group whose members may configure; none when the system does not have it.
std::optional<gid_t> ConfiguringGroup();

// The user of the peer of a connected socket; (uid_t)-1 when it is unknown.
uid_t UserOf(int client);

class Access {
 public:
  // Root, the service's own user and members of `group` may configure.
  explicit Access(std::optional<gid_t> group) : group_(group) {}
  // Any user may.
  static Access Open();

  // Whether the peer of a connected socket, as it was when it connected, may configure.
  bool MayConfigure(int client) const;

 private:
  std::optional<gid_t> group_;
  bool open_ = false;
};

}  // namespace hqosd
