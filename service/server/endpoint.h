// Where the service listens: a socket of its own in the file system, or one that it inherits from a
// service manager (socket activation, sd_listen_fds(3)).
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace hqosd {

class Endpoint {
 public:
  // Listens for the slot with this node address, unless there is an inherited socket.
  explicit Endpoint(uint32_t node);
  // Closes the socket. Removes an own one's file, unless another has taken its place.
  ~Endpoint();
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  int fd() const { return fd_; }
  const std::string& fault() const { return fault_; }  // why it does not listen; empty: it does
  const char* path() const { return path_; }

 private:
  void Inherit(int count);
  void Listen(uint32_t node);

  int fd_ = -1;
  bool isOwn_ = false;
  std::string fault_;
  char path_[4096] = "";
  struct stat file_ {};
};

}  // namespace hqosd
