#include "service/server/message.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <iterator>
#include <new>

#include "msg/state_file.h"

namespace hqosd {

namespace {

constexpr int kSeals = F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW;

union Control {
  cmsghdr head;
  char room[CMSG_SPACE(sizeof(int))];
};

// The contents of a file that nobody can change any more; nothing when memory is short.
Bytes ReadSealed(int fd) try {
  struct stat file {};
  const int seals = fcntl(fd, F_GET_SEALS);
  if (seals < 0 || (seals & kSeals) != kSeals || fstat(fd, &file) != 0) return {};
  if (static_cast<uint64_t>(file.st_size) > hqos::kMaxStateFile) return {};
  Bytes bytes(static_cast<size_t>(file.st_size));
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t size =
        pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (size <= 0) return {};
    done += static_cast<size_t>(size);
  }
  return bytes;
} catch (const std::bad_alloc&) {
  return {};
}

int NewSealed(const Bytes& bytes) {
  const int fd = memfd_create("hqos-state", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd < 0) return -1;
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t size = write(fd, bytes.data() + done, bytes.size() - done);
    if (size <= 0) break;
    done += static_cast<size_t>(size);
  }
  if (done == bytes.size() && fcntl(fd, F_ADD_SEALS, kSeals | F_SEAL_SEAL) == 0) return fd;
  close(fd);
  return -1;
}

}  // namespace

ssize_t ReceiveRequest(int fd, Bytes& request, Bytes& file) {
  request.resize(HQOS_MSG_MAX + 1);
  iovec part{request.data(), request.size()};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = &control;
  message.msg_controllen = sizeof control;
  const ssize_t length = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  request.resize(length > 0 ? static_cast<size_t>(length) : 0);
  if (length < 0) return length;
  const cmsghdr* const head = CMSG_FIRSTHDR(&message);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS) return length;
  // More than one fits where the room is aligned.
  int passed[2] = {-1, -1};
  const size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
  std::memcpy(passed, CMSG_DATA(head), std::min(count, std::size(passed)) * sizeof(int));
  const bool isState = request.size() > 3 && request[3] == HQOSD_OP_STATE;
  if (isState && count == 1) file = ReadSealed(passed[0]);
  for (const int one : passed) {
    if (one >= 0) close(one);
  }
  return length;
}

bool SendReply(int fd, const Bytes& reply, const Bytes& file) {
  iovec part{const_cast<uint8_t*>(reply.data()), reply.size()};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  int passed = -1;
  if (!file.empty()) {
    passed = NewSealed(file);
    if (passed < 0) return false;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    control.head.cmsg_level = SOL_SOCKET;
    control.head.cmsg_type = SCM_RIGHTS;
    control.head.cmsg_len = CMSG_LEN(sizeof passed);
    std::memcpy(CMSG_DATA(&control.head), &passed, sizeof passed);
  }
  const bool isSent = sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
  if (passed >= 0) close(passed);
  return isSent;
}

}  // namespace hqosd
