// Netlink: messages made and read, and the socket that carries them to the kernel and back.
#pragma once

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace hqosd::kernel {

// The kernel cannot be reached, or refused to be read.
struct NetlinkError : std::runtime_error {
  NetlinkError(int number, const std::string& text) : std::runtime_error(text), error(number) {}
  int error;  // errno
};

// The attributes in a message or in another attribute, to be walked in a range-based for.
class Attributes {
 public:
  class Iterator {
   public:
    Iterator(const nlattr* at, const char* end) : at_(at), end_(end) {}
    const nlattr& operator*() const { return *at_; }
    Iterator& operator++() {
      at_ = mnl_attr_next(at_);
      return *this;
    }
    bool operator==(std::default_sentinel_t) const {
      return !mnl_attr_ok(at_, static_cast<int>(end_ - reinterpret_cast<const char*>(at_)));
    }

   private:
    const nlattr* at_;
    const char* end_;
  };

  // Those of the message, after its fixed part of that size.
  Attributes(const nlmsghdr& message, size_t fixed);
  explicit Attributes(const nlattr& nest);

  Iterator begin() const { return {first_, end_}; }
  static std::default_sentinel_t end() { return {}; }

  const nlattr* Find(uint16_t type) const;  // null: there is none
  std::string Text(uint16_t type) const;
  // Those in the attribute of that type; none when there is none.
  Attributes Nest(uint16_t type) const;
  // A value that is absent, or shorter, is left as it is.
  template <class T>
  bool Read(uint16_t type, T& value) const {
    const nlattr* found = Find(type);
    if (found == nullptr || mnl_attr_get_payload_len(found) < sizeof value) return false;
    std::memcpy(&value, mnl_attr_get_payload(found), sizeof value);
    return true;
  }

 private:
  Attributes() = default;
  const nlattr* first_ = nullptr;
  const char* end_ = nullptr;
};

// A message under construction.
class Message {
 public:
  // `room` is for everything after the fixed part, in bytes.
  Message(uint16_t type, uint16_t flags, size_t room = 512);

  // The fixed part, cleared; before all attributes.
  template <class T>
  T& Fixed() {
    return *static_cast<T*>(mnl_nlmsg_put_extra_header(header(), sizeof(T)));
  }
  void Put(uint16_t type, const void* value, size_t length);
  void Put(uint16_t type, const std::string& text) { Put(type, text.c_str(), text.size() + 1); }
  template <class T>
  void Put(uint16_t type, const T& value) {
    Put(type, &value, sizeof value);
  }
  // What is put between the two is in the nest.
  nlattr* BeginNest(uint16_t type);
  void EndNest(nlattr* nest) { mnl_attr_nest_end(header(), nest); }

  nlmsghdr* header() { return reinterpret_cast<nlmsghdr*>(words_.data()); }

 private:
  std::vector<uint64_t> words_;  // aligned as messages are
};

// The messages of what was received, in order.
std::vector<const nlmsghdr*> MessagesIn(std::span<const char> bytes);

template <class T>
const T& FixedOf(const nlmsghdr& message) {
  return *static_cast<const T*>(mnl_nlmsg_get_payload(&message));
}

// Carries messages to the kernel; tests replace it. Send and Receive throw a NetlinkError.
class Transport {
 public:
  virtual ~Transport() = default;
  virtual void Send(const nlmsghdr& message) = 0;
  // Returns the length of the next datagram; 0 when datagrams were lost.
  virtual size_t Receive(std::span<char> room) = 0;
  virtual uint32_t port() const = 0;  // by which the kernel knows the socket
};

std::unique_ptr<Transport> OpenSocket(int bus = NETLINK_ROUTE);

// Requests to the kernel, one at a time.
class Netlink {
 public:
  explicit Netlink(std::unique_ptr<Transport> transport = OpenSocket());

  struct Failure {
    int error;         // errno
    std::string text;  // of the error and what the kernel says about it
  };
  // Carries out the request. Returns the kernel's refusal; nothing on success.
  std::optional<Failure> Do(Message& message);
  // All messages of the reply, one after the other. Restarts when the kernel's state changed
  // meanwhile or messages were lost.
  std::vector<char> Dump(Message& message);

  uint32_t port() const { return transport_->port(); }

 private:
  bool DumpOnce(Message& message, std::vector<char>& answer);
  void Send(Message& message, uint16_t flags);

  std::unique_ptr<Transport> transport_;
  std::vector<char> room_;
  uint32_t sequence_ = 0;
};

}  // namespace hqosd::kernel
