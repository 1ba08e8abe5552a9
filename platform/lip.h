// Internal node addresses (LIP) and the sockets of the platform's address family 37.
#ifndef HQOS_PLATFORM_LIP_H
#define HQOS_PLATFORM_LIP_H

#include <stdint.h>
#include <sys/socket.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LIP_FAMILY 37   // address family
#define LIP_PROTOCOL 1  // protocol of its datagram sockets

// Address of a port on a node, as connect() takes it. 16 bytes.
struct sockaddr_lip {
  uint8_t slip_len;      // 16
  uint8_t slip_family;   // LIP_FAMILY
  uint16_t slip_port;    // network byte order
  uint32_t slip_node;    // network byte order
  uint8_t slip_zero[8];  // 0
};

// LIP_Socket and LIP_Connect are the two operations in which a host differs from the real platform:
// socket() and connect(), with their arguments, results and errno. All else is plain socket calls.

#ifdef HQOS_REAL_PLATFORM

static inline int LIP_Socket(int family, int type, int protocol) {
  return socket(family, type, protocol);
}

static inline int LIP_Connect(int fd, const struct sockaddr_lip* address, socklen_t length) {
  return connect(fd, (const struct sockaddr*)address, length);
}

#else

// Opens a socket of LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL (EAFNOSUPPORT for anything else). On a
// host this is a Unix-domain socket of sequenced packets: one datagram stays one message, and the
// end of the peer ends a wait. It is closed on exec.
int LIP_Socket(int family, int type, int protocol);

// Connects to whoever listens at the address (EINVAL unless it is a sockaddr_lip of 16 bytes). The
// endpoints of LIP_GetEndpoint are tried in their order; one that is missing or not accessible,
// where nobody listens any more, or that another user could have put there (EPERM) is passed over.
// Who listens must be root, this user or the owner of the directory; else it fails with EPERM.
int LIP_Connect(int fd, const struct sockaddr_lip* address, socklen_t length);

// For a service: binds fd to the address and listens there, in the first endpoint directory that
// can be made or written to. An endpoint that a dead service left behind is replaced. In the
// directory of rank 0 everybody can connect (a directory made there has mode 0755, the socket
// 0666), in the others only the user (0700, 0600). The umask is changed for a moment. Returns 0, or
// -1 with errno: EADDRINUSE when a live service listens there already, or something else than a
// socket stands there; EPERM when the directory, or a link that leads to it, belongs to another
// user than this one and root, or its group or everybody may replace what is in it (the directories
// above it are not looked at), or its file lip.lock is another user's; EWOULDBLOCK when another
// process holds the lock of that file for 2 seconds. *rank is then the rank of the endpoint where
// it listens, or which failed.
int LIP_Listen(int fd, const struct sockaddr_lip* address, int backlog, uint32_t* rank);

// The path of a port's endpoint, a socket named lip-<node, 8 hex digits>-<port>. The ranks count
// the directories that there are, in this order:
//   $HQOS_RUNTIME_DIR, and no other where that is set
//   /run/hqos
//   $XDG_RUNTIME_DIR/hqos
//   $HOME/.hqos; without HOME the directory that the user database gives the effective user
// Set-uid and set-gid programs do not look at the environment. Writes the path, NUL-terminated, at
// `path` and returns its length; 0 when there is no such rank or `room` does not hold the path.
uint32_t LIP_GetEndpoint(uint32_t node, uint16_t port, uint32_t rank, char* path, uint32_t room);

#endif

#ifdef __cplusplus
}
#endif

#endif
