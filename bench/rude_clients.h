// Clients that are slow, or break the rules, for the tool that loads a running service.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "bench/service_tool.h"
#include "platform/lip.h"

// A connection that sends and receives what it likes.
class RawClient {
 public:
  RawClient() : fd_(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL)) {
    const sockaddr_lip address{
        sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
    Expect(LIP_Connect(fd_, &address, sizeof address) == 0, "a connection");
  }
  ~RawClient() {
    if (fd_ >= 0) close(fd_);
  }
  RawClient(RawClient&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  RawClient& operator=(RawClient&&) = delete;

  int fd() const { return fd_; }
  bool Send(const std::vector<uint8_t>& bytes) const {
    return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
  }
  // The bytes of the reply; 0: closed instead.
  size_t Receive(uint8_t (&reply)[2000], int flags = 0) const {
    return static_cast<size_t>(std::max<ssize_t>(0, recv(fd_, reply, sizeof reply, flags)));
  }

 private:
  int fd_;
};

// The walk's first step: a request that is always answered.
inline const std::vector<uint8_t> kQuery{8, 1, 1, 3, 1, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0xFF, 0xFF};

// A refusal, as which a reply without data begins.
inline bool IsStatus(const uint8_t* reply, size_t length) {
  return length > 16 && reply[8] == 0x70 && reply[9] == 0;
}

inline void BeSlow(const std::atomic<bool>& stop) {
  using namespace std::chrono_literals;
  uint8_t reply[2000];
  while (!stop) {
    const RawClient client;
    std::this_thread::sleep_for(50ms);
    Expect(client.Send(kQuery), "a request taken late");
    std::this_thread::sleep_for(50ms);
    Expect(client.Receive(reply) > 16, "a reply taken late");
  }
}

// Two hundred connections that send nothing until the service has had enough of them.
inline void BeIdle(const std::atomic<bool>& stop) {
  uint8_t reply[2000];
  std::vector<RawClient> clients;
  while (!stop) {
    while (clients.size() < 200) clients.emplace_back();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::vector<RawClient> open;
    for (RawClient& client : clients) {
      const ssize_t length = recv(client.fd(), reply, sizeof reply, MSG_DONTWAIT);
      Expect(length <= 0, "no reply without a request");
      if (length < 0) open.push_back(std::move(client));
    }
    clients.swap(open);
  }
}

inline void BeRude(const std::atomic<bool>& stop) {
  std::mt19937 random(1);
  uint8_t reply[2000];
  while (!stop) {
    std::vector<uint8_t> garbage(1 + random() % 1600);
    for (uint8_t& byte : garbage) byte = static_cast<uint8_t>(random());
    const RawClient wrong, cut, twice, hasty;
    Expect(wrong.Send(garbage) && IsStatus(reply, wrong.Receive(reply)), "garbage refused");
    const std::vector<uint8_t> part(kQuery.begin(),
                                    kQuery.begin() + 1 + static_cast<ptrdiff_t>(random() % 15));
    Expect(cut.Send(part) && IsStatus(reply, cut.Receive(reply)), "a cut request refused");
    Expect(twice.Send(kQuery), "a first request");
    twice.Send(kQuery);  // the service may have closed by then
    Expect(twice.Receive(reply) > 16 && twice.Receive(reply) == 0, "one reply a connection");
    Expect(hasty.Send(kQuery), "a request whose reply is not taken");
  }
}
