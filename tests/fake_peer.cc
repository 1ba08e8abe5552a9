#include "tests/fake_peer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/lip.h"

namespace {

wire::Script g_script;
wire::Seen g_seen;
int g_library = -1;  // the library's end of the connection
int g_peer = -1;     // the peer's

bool Fails(std::deque<int>& errors) {
  if (errors.empty()) return false;
  const int reason = errors.front();
  errors.pop_front();
  errno = reason;
  return reason != 0;
}

}  // namespace

extern "C" {

int LIP_Socket(int family, int type, int protocol) {
  ++g_seen.sockets;
  if (family != LIP_FAMILY || type != SOCK_DGRAM || protocol != 1) abort();
  if (Fails(g_script.socketErrors)) return -1;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) abort();
  g_library = ends[0];
  g_peer = ends[1];
  return ends[0];
}

int LIP_Connect(int, const sockaddr_lip* address, socklen_t length) {
  ++g_seen.connects;
  const auto* bytes = reinterpret_cast<const uint8_t*>(address);
  g_seen.address.assign(bytes, bytes + length);
  if (Fails(g_script.connectErrors)) return -1;
  if (g_script.peerGone) {
    close(g_peer);
    g_peer = -1;
  }
  return 0;
}

ssize_t send(int fd, const void* buf, size_t length, int flags) {
  if (++g_seen.sends > 100) abort();  // an endless loop
  g_seen.sendFlags = flags;
  const auto* bytes = static_cast<const uint8_t*>(buf);
  g_seen.requests.emplace_back(bytes, bytes + length);
  if (Fails(g_script.sendErrors)) return -1;
  const ssize_t sent = sendto(fd, buf, length, flags, nullptr, 0);
  if (sent > 0 && g_peer >= 0) {
    if (g_script.answer) g_script.reply = g_script.answer(g_seen.requests.back());
    if (g_script.reply.empty()) {
      close(g_peer);
      g_peer = -1;
    } else if (sendto(g_peer, g_script.reply.data(), g_script.reply.size(), 0, nullptr, 0) < 0) {
      abort();
    }
  }
  if (g_script.shortSend) return sent - 1;
  return sent;
}

ssize_t recv(int fd, void* buf, size_t length, int flags) {
  ++g_seen.recvs;
  g_seen.recvFlags = flags;
  if (Fails(g_script.recvErrors)) return -1;
  return recvfrom(fd, buf, length, flags, nullptr, nullptr);
}

}  // extern "C"

namespace wire {

void Begin(const Script& script) {
  g_script = script;
  g_seen = {};
}

Seen End() {
  g_seen.closed = fcntl(g_library, F_GETFD) == -1;
  if (g_peer >= 0) close(g_peer);
  g_library = g_peer = -1;
  return g_seen;
}

}  // namespace wire
