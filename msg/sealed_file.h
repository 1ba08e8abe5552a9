// Memory files that pass with messages: sealed, so that nobody can change them any more.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace hqos {

constexpr int kSeals = F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW;

// A new file with the bytes; its descriptor is -1, with errno, when it could not be written.
class SealedFile {
 public:
  explicit SealedFile(const std::vector<uint8_t>& bytes)
      : fd_(memfd_create("hqos-state", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    if (fd_ < 0 || (Write(bytes) && fcntl(fd_, F_ADD_SEALS, kSeals | F_SEAL_SEAL) == 0)) return;
    close(fd_);
    fd_ = -1;
  }
  ~SealedFile() {
    if (fd_ >= 0) close(fd_);
  }
  SealedFile(const SealedFile&) = delete;
  SealedFile& operator=(const SealedFile&) = delete;
  int fd() const { return fd_; }

 private:
  bool Write(const std::vector<uint8_t>& bytes) const {
    for (size_t done = 0; done < bytes.size();) {
      const ssize_t size = write(fd_, bytes.data() + done, bytes.size() - done);
      if (size <= 0) return false;
      done += static_cast<size_t>(size);
    }
    return true;
  }

  int fd_;
};

// The size of a file; 0 when it is unknown.
inline uint64_t SizeOf(int fd) {
  struct stat file {};
  return fstat(fd, &file) == 0 ? static_cast<uint64_t>(file.st_size) : 0;
}

// Reads the first `size` bytes of a file, or all if it has fewer. False, with errno, when that
// fails.
inline bool ReadFile(int fd, uint64_t size, std::vector<uint8_t>& bytes) {
  bytes.resize(static_cast<size_t>(std::min(size, SizeOf(fd))));
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t read =
        pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (read <= 0) return false;
    done += static_cast<size_t>(read);
  }
  return true;
}

// A message for sendmsg() or recvmsg(), of bytes and, after one of the calls, a descriptor.
class MessageWithFile {
 public:
  MessageWithFile(const uint8_t* data, size_t size) : part_{const_cast<uint8_t*>(data), size} {
    head.msg_iov = &part_;
    head.msg_iovlen = 1;
  }
  MessageWithFile(const MessageWithFile&) = delete;
  MessageWithFile& operator=(const MessageWithFile&) = delete;

  // Makes room for a descriptor that is received.
  void Expect() {
    head.msg_control = &control_;
    head.msg_controllen = sizeof control_;
  }

  // Sends the descriptor along.
  void Attach(int fd) {
    Expect();
    control_.head.cmsg_level = SOL_SOCKET;
    control_.head.cmsg_type = SCM_RIGHTS;
    control_.head.cmsg_len = CMSG_LEN(sizeof fd);
    std::memcpy(CMSG_DATA(&control_.head), &fd, sizeof fd);
  }

  msghdr head{};

 private:
  iovec part_;
  union {
    cmsghdr head;
    char room[CMSG_SPACE(sizeof(int))];
  } control_{};
};

}  // namespace hqos
