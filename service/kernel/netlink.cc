#include "service/kernel/netlink.h"

#include <fmt/format.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdlib>

namespace hqosd::kernel {

namespace {

// The kernel fills at most this much at a time in a dump, if the buffer has so much room.
constexpr size_t kRoom = 65536;
constexpr int kDumpTries = 10;
constexpr int kSecondsToAnswer = 10;

NetlinkError ErrorOf(const char* what) {
  const int error = errno;
  return {error, fmt::format("netlink: {}: {}", what, std::strerror(error))};
}

// Of an NLMSG_ERROR or an NLMSG_DONE, whose fixed parts begin with the error, negative.
Netlink::Failure FailureIn(const nlmsghdr& message, int error) {
  std::string text = std::strerror(error);
  if ((message.nlmsg_flags & NLM_F_ACK_TLVS) == 0) return {error, text};
  size_t fixed = sizeof(int);
  if (message.nlmsg_type == NLMSG_ERROR) {
    fixed = sizeof(nlmsgerr);
    // The refused message is there too, unless it was cut off.
    if ((message.nlmsg_flags & NLM_F_CAPPED) == 0) {
      fixed += FixedOf<nlmsgerr>(message).msg.nlmsg_len - sizeof(nlmsghdr);
    }
  }
  const std::string said = Attributes(message, fixed).Text(NLMSGERR_ATTR_MSG);
  if (!said.empty()) text += " (" + said + ")";
  return {error, text};
}

class Socket : public Transport {
 public:
  explicit Socket(int bus) : socket_(mnl_socket_open2(bus, SOCK_CLOEXEC)) {
    if (socket_ == nullptr) throw ErrorOf("cannot open a socket");
    if (mnl_socket_bind(socket_.get(), 0, MNL_SOCKET_AUTOPID) != 0) throw ErrorOf("cannot bind");
    for (const int option : {NETLINK_EXT_ACK, NETLINK_CAP_ACK}) {
      int on = 1;  // old kernels report less
      mnl_socket_setsockopt(socket_.get(), option, &on, sizeof on);
    }
    const timeval timeout{kSecondsToAnswer, 0};
    setsockopt(mnl_socket_get_fd(socket_.get()), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  }

  void Send(const nlmsghdr& message) override {
    if (mnl_socket_sendto(socket_.get(), &message, message.nlmsg_len) < 0) {
      throw ErrorOf("cannot send");
    }
  }

  size_t Receive(std::span<char> room) override {
    for (;;) {
      const ssize_t length = mnl_socket_recvfrom(socket_.get(), room.data(), room.size());
      if (length >= 0) return static_cast<size_t>(length);
      if (errno == ENOBUFS) return 0;
      if (errno != EINTR) throw ErrorOf("no answer");
    }
  }

  uint32_t port() const override { return mnl_socket_get_portid(socket_.get()); }

 private:
  struct Close {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };
  std::unique_ptr<mnl_socket, Close> socket_;
};

}  // namespace

// ---- Messages -----------------------------------------------------------------------------------

Attributes::Attributes(const nlmsghdr& message, size_t fixed)
    : first_(static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(&message, fixed))),
      end_(static_cast<const char*>(mnl_nlmsg_get_payload_tail(&message))) {}

Attributes::Attributes(const nlattr& nest)
    : first_(static_cast<const nlattr*>(mnl_attr_get_payload(&nest))),
      end_(static_cast<const char*>(mnl_attr_get_payload(&nest)) +
           mnl_attr_get_payload_len(&nest)) {}

const nlattr* Attributes::Find(uint16_t type) const {
  for (const nlattr& attribute : *this) {
    if (mnl_attr_get_type(&attribute) == type) return &attribute;
  }
  return nullptr;
}

std::string Attributes::Text(uint16_t type) const {
  const nlattr* found = Find(type);
  if (found == nullptr) return {};
  const auto* text = static_cast<const char*>(mnl_attr_get_payload(found));
  return {text, strnlen(text, mnl_attr_get_payload_len(found))};
}

Attributes Attributes::Nest(uint16_t type) const {
  const nlattr* found = Find(type);
  return found != nullptr ? Attributes(*found) : Attributes();
}

Message::Message(uint16_t type, uint16_t flags, size_t room)
    : words_((NLMSG_HDRLEN + room) / sizeof(uint64_t) + 16) {
  mnl_nlmsg_put_header(words_.data());
  header()->nlmsg_type = type;
  header()->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
}

void Message::Put(uint16_t type, const void* value, size_t length) {
  if (!mnl_attr_put_check(header(), words_.size() * sizeof words_[0], type, length, value)) {
    throw std::logic_error("a netlink message is longer than the room for it");
  }
}

nlattr* Message::BeginNest(uint16_t type) {
  nlattr* nest = mnl_attr_nest_start_check(header(), words_.size() * sizeof words_[0], type);
  if (nest == nullptr) throw std::logic_error("a netlink message has no room for a nest");
  return nest;
}

std::vector<const nlmsghdr*> MessagesIn(std::span<const char> bytes) {
  std::vector<const nlmsghdr*> messages;
  int left = static_cast<int>(bytes.size());
  const auto* message = reinterpret_cast<const nlmsghdr*>(bytes.data());
  for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
    messages.push_back(message);
  }
  return messages;
}

// ---- Requests -----------------------------------------------------------------------------------

std::unique_ptr<Transport> OpenSocket(int bus) { return std::make_unique<Socket>(bus); }

Netlink::Netlink(std::unique_ptr<Transport> transport)
    : transport_(std::move(transport)), room_(kRoom) {}

void Netlink::Send(Message& message, uint16_t flags) {
  message.header()->nlmsg_flags |= flags;
  message.header()->nlmsg_seq = ++sequence_;
  transport_->Send(*message.header());
}

std::optional<Netlink::Failure> Netlink::Do(Message& message) {
  Send(message, NLM_F_ACK);
  for (;;) {
    const size_t length = transport_->Receive(room_);
    if (length == 0) throw NetlinkError(ENOBUFS, "netlink: the kernel's answer was lost");
    for (const nlmsghdr* answer : MessagesIn({room_.data(), length})) {
      if (answer->nlmsg_seq != sequence_ || answer->nlmsg_type != NLMSG_ERROR) continue;
      const int error = -FixedOf<nlmsgerr>(*answer).error;
      if (error == 0) return std::nullopt;
      return FailureIn(*answer, error);
    }
  }
}

std::vector<char> Netlink::Dump(Message& message) {
  for (int i = 0; i < kDumpTries; ++i) {
    std::vector<char> answer;
    if (DumpOnce(message, answer)) return answer;
  }
  throw NetlinkError(EINTR, "netlink: the kernel's state changes too fast to be read");
}

// False when it has to be started again.
bool Netlink::DumpOnce(Message& message, std::vector<char>& answer) {
  Send(message, NLM_F_DUMP);
  for (bool isWhole = true;;) {
    const size_t length = transport_->Receive(room_);
    if (length == 0) isWhole = false;  // but the rest must still be received
    for (const nlmsghdr* one : MessagesIn({room_.data(), length})) {
      if (one->nlmsg_seq != sequence_) continue;
      if ((one->nlmsg_flags & NLM_F_DUMP_INTR) != 0) isWhole = false;
      if (one->nlmsg_type == NLMSG_DONE || one->nlmsg_type == NLMSG_ERROR) {
        const int error = -FixedOf<int>(*one);
        if (error == EINTR) return false;
        if (error > 0) throw NetlinkError(error, "netlink: " + FailureIn(*one, error).text);
        return isWhole;
      }
      const auto* bytes = reinterpret_cast<const char*>(one);
      answer.insert(answer.end(), bytes, bytes + NLMSG_ALIGN(one->nlmsg_len));
    }
  }
}

}  // namespace hqosd::kernel
