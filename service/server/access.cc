#include "service/server/access.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace hqosd {

namespace {

ucred PeerOf(int client) {
  ucred peer{};
  socklen_t size = sizeof peer;
  constexpr ucred kUnknown{0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
  return getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer : kUnknown;
}

// The supplementary groups of the peer; none when they cannot be had.
std::vector<gid_t> GroupsOf(int client) {
  std::vector<gid_t> groups(64);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    const bool got = getsockopt(client, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0;
    const bool isLarger = !got && errno == ERANGE && size > groups.size() * sizeof(gid_t);
    groups.resize(got || isLarger ? size / sizeof(gid_t) : 0);
    if (!isLarger) return groups;
  }
}

}  // namespace

std::optional<gid_t> ConfiguringGroup() {
  const group* const found = getgrnam("hqos");
  return found == nullptr ? std::nullopt : std::optional(found->gr_gid);
}

Access Access::Open() {
  Access access(std::nullopt);
  access.open_ = true;
  return access;
}

uid_t UserOf(int client) { return PeerOf(client).uid; }

bool Access::MayConfigure(int client) const {
  if (open_) return true;
  const ucred peer = PeerOf(client);
  if (peer.uid == 0 || peer.uid == geteuid()) return true;
  if (!group_) return false;
  const std::vector<gid_t> groups = GroupsOf(client);
  return peer.gid == *group_ || std::find(groups.begin(), groups.end(), *group_) != groups.end();
}

}  // namespace hqosd
