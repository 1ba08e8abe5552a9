#include "fuzz/fake_peer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "fuzz/require.h"
#include "platform/lip.h"

namespace fake_peer {

Peer peer;

}  // namespace fake_peer

namespace {

fake_peer::Bytes g_request;

}  // namespace

extern "C" {

// A descriptor that can be closed. When the library leaves one open they run out.
int LIP_Socket(int, int, int) {
  static const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  const int fd = dup(nothing);
  fuzz::Require(fd >= 0 && fd < 100, "the library closes its sockets");
  return fd;
}

int LIP_Connect(int, const sockaddr_lip*, socklen_t) { return 0; }

ssize_t send(int, const void* buf, size_t length, int) {
  const auto* const bytes = static_cast<const uint8_t*>(buf);
  g_request.assign(bytes, bytes + length);
  return static_cast<ssize_t>(length);
}

ssize_t recv(int, void* buf, size_t length, int) {
  const fake_peer::Bytes reply = fake_peer::peer.answer(g_request);
  const size_t taken = std::min(reply.size(), length);
  if (taken == 0) return 0;
  auto* const at = static_cast<uint8_t*>(buf);
  std::memcpy(at, reply.data(), taken);
  std::memset(at + taken, fake_peer::peer.fill, length - taken);
  if (fake_peer::peer.isClosed) {
    fake_peer::peer.closedAt = at + taken;
    fake_peer::peer.closedSize = length - taken;
    ASAN_POISON_MEMORY_REGION(at + taken, length - taken);
  }
  return static_cast<ssize_t>(taken);
}

}  // extern "C"
