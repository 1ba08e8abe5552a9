// Messages of the clients' sockets, with the memory files that come along.
#pragma once

#include <sys/types.h>

#include <utility>

#include "service/model/tlvs.h"

namespace hqosd {

// The sealed memory file that came with a request. It is empty when none came, when others can
// still change it, and when it is larger than allowed.
class RequestFile {
 public:
  RequestFile() = default;
  explicit RequestFile(int fd) : fd_(fd) {}  // which it closes
  RequestFile(RequestFile&& from) noexcept : fd_(std::exchange(from.fd_, -1)) {}
  RequestFile& operator=(RequestFile&& from) noexcept {
    std::swap(fd_, from.fd_);
    return *this;
  }
  ~RequestFile();

  // Its first bytes, at most so many.
  Bytes Read(uint64_t size) const;

 private:
  int fd_ = -1;
};

// Receives a request, of at most one byte more than is allowed, and the file that comes with it.
// Returns as recv() does.
ssize_t ReceiveRequest(int fd, Bytes& request, RequestFile& file);

// Sends a reply, and unless it is empty a sealed memory file.
bool SendReply(int fd, const Bytes& reply, const Bytes& file);

}  // namespace hqosd
