// A file in memory, for readers that take the name of a file.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/require.h"

namespace fuzz {

class MemoryFile {
 public:
  MemoryFile() : fd_(memfd_create("input", MFD_CLOEXEC)) {
    Require(fd_ >= 0, "there is memory for a file");
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string Name() const { return "/proc/self/fd/" + std::to_string(fd_); }

  void Write(const uint8_t* data, size_t size) {
    const bool isWritten =
        ftruncate(fd_, 0) == 0 && pwrite(fd_, data, size, 0) == static_cast<ssize_t>(size);
    Require(isWritten, "a file in memory can be written");
  }

 private:
  int fd_;
};

}  // namespace fuzz
