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

// Connects to the service at the address (EINVAL unless it is a sockaddr_lip of 16 bytes). Tries
// the candidates of LIP_GetEndpoint in their order. Skips one that is missing or not accessible,
// that nobody listens at, or that another user could have created (EPERM). The process that listens
// must belong to root, this user or the owner of the directory; otherwise the call fails with
// EPERM.
int LIP_Connect(int fd, const struct sockaddr_lip* address, socklen_t length);

// For a service: binds fd to the address and listens there, in the first endpoint directory that
// can be created or written to. Replaces the endpoint of a service that has ended. In the directory
// of candidate 0 any user can connect (a new directory has mode 0755, the socket 0666), in the
// others only the same user (0700, 0600). Changes the umask during the call. Returns 0, or -1 with
// errno:
//   EADDRINUSE   a service listens there, or the endpoint is not a socket
//   EPERM        the directory, or a link to it, belongs to a user other than this one and root;
//                its group or any user may replace files in it; or its file lip.lock belongs to
//                another user. The directories above it are not checked.
//   EWOULDBLOCK  another process holds the lock of lip.lock for 2 seconds
// *candidate is the number of the endpoint where it listens, or which failed.
int LIP_Listen(int fd, const struct sockaddr_lip* address, int backlog, uint32_t* candidate);

// Writes the path of a port's endpoint, a socket named lip-<node, 8 hex digits>-<port>. The
// candidates are numbered from 0 and count only the directories that are set:
//   $HQOS_RUNTIME_DIR; when it is set there is no other
//   /run/hqos
//   $XDG_RUNTIME_DIR/hqos
//   $HOME/.hqos; without HOME, the effective user's home directory in the user database
// Set-uid and set-gid programs ignore the environment. Writes the path, NUL-terminated, at `path`
// and returns its length; 0 when there is no such candidate or `room` is too small.
uint32_t LIP_GetEndpoint(uint32_t node, uint16_t port, uint32_t candidate, char* path,
                         uint32_t room);

#endif

#ifdef __cplusplus
}
#endif

#endif
