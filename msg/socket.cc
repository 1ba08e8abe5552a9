// One message out, one message in, on a connected socket.
#include <errno.h>
#include <sys/socket.h>

#include "hqos.h"

uint32_t HQOS_msg_Send(int fd, const void* buf, uint16_t len) {
  for (;;) {
    errno = 0;
    if (send(fd, buf, len, 0) == len) return 0;
    // A message goes whole or not at all, so what was cut short is never continued.
    if (errno != EAGAIN && errno != EINTR) return HQOS_ERR_FAILED;
  }
}

uint32_t HQOS_msg_Recv(int fd, uint16_t cap, void* buf, uint16_t* len) {
  for (;;) {
    errno = 0;
    const ssize_t n = recv(fd, buf, cap, MSG_WAITALL);
    if (n > 0) {
      *len = static_cast<uint16_t>(n);
      return 0;
    }
    if (n == 0 || errno != EINTR) return HQOS_ERR_FAILED;
  }
}
