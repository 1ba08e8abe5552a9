// A raw client of the service.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "hqos.h"
#include "platform/lip.h"
#include "tests/bytes.h"

namespace process {

class Client {
 public:
  Client() : fd_(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL)) {
    const sockaddr_lip address{
        sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
    EXPECT_EQ(LIP_Connect(fd_, &address, sizeof address), 0);
  }
  ~Client() { close(fd_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  uint32_t TrySend(const wire::Bytes& request) const {
    return HQOS_msg_Send(fd_, request.data(), static_cast<uint16_t>(request.size()));
  }
  void Send(const wire::Bytes& request) const { EXPECT_EQ(TrySend(request), 0u); }
  // The reply; empty when there is none.
  wire::Bytes Receive() const {
    wire::Bytes reply(2000);
    uint16_t length = 0;
    HQOS_msg_Recv(fd_, static_cast<uint16_t>(reply.size()), reply.data(), &length);
    reply.resize(length);
    return reply;
  }

  // Whether the service has closed the connection.
  bool IsClosed() const {
    uint8_t byte;
    return recv(fd_, &byte, 1, MSG_DONTWAIT) == 0;
  }

 private:
  int fd_;
};

}  // namespace process
