#include "service/server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "hqos.h"
#include "service/log.h"

namespace hqosd {

namespace {

constexpr timeval kRequestTime{5, 0};     // how long a client may take to send its request
constexpr timeval kClosingTime{5, 0};     // how long it may take to close behind the reply
constexpr timeval kShortage{0, 100'000};  // pause when descriptors have run out
constexpr int kAcceptsAtOnce = 64;        // so that new clients do not starve the waiting ones
constexpr size_t kMostClients = 1024;     // at once

}  // namespace

Server::Server(int listener, Responder& responder, Access access)
    : base_(event_base_new()), listener_(listener), responder_(responder), access_(access) {
  if (base_ == nullptr) return;
  evutil_make_socket_nonblocking(listener_);
  const auto accept = [](evutil_socket_t, short, void* self) {
    static_cast<Server*>(self)->Accept();
  };
  const auto listenAgain = [](evutil_socket_t, short, void* self) {
    event_add(static_cast<Server*>(self)->accept_.get(), nullptr);
  };
  const auto stop = [](evutil_socket_t, short, void* self) {
    static_cast<Server*>(self)->stop_ = true;
  };
  accept_ = NewEvent(listener_, EV_READ | EV_PERSIST, accept, this);
  acceptAgain_ = NewEvent(-1, 0, listenAgain, this);
  terminate_ = NewEvent(SIGTERM, EV_SIGNAL | EV_PERSIST, stop, this);
  interrupt_ = NewEvent(SIGINT, EV_SIGNAL | EV_PERSIST, stop, this);
}

Server::~Server() {
  for (const auto& [fd, client] : clients_) close(fd);
}

EventPtr Server::NewEvent(int fd, short what, event_callback_fn callback, void* argument) {
  return EventPtr(event_new(base_.get(), fd, what, callback, argument));
}

bool Server::Run() {
  for (const EventPtr* e : {&accept_, &terminate_, &interrupt_}) {
    if (*e == nullptr || event_add(e->get(), nullptr) != 0) return false;
  }
  while (!stop_) {
    if (event_base_loop(base_.get(), EVLOOP_ONCE) != 0) return false;
    Finish();
  }
  return true;
}

// Commits what came together in one turn of the loop, then replies.
void Server::Finish() {
  if (exchanges_.empty()) return;
  responder_.Commit(exchanges_);
  for (size_t i = 0; i < exchanges_.size(); ++i) {
    const auto client = clients_.find(waiting_[i].first);
    if (client == clients_.end() || client->second.order != waiting_[i].second) continue;
    const Bytes& reply = exchanges_[i].reply;
    if (send(client->second.fd, reply.data(), reply.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
      Drop(client->second);
    }
  }
  waiting_.clear();
  exchanges_.clear();
}

void Server::Accept() {
  const auto serve = [](evutil_socket_t, short what, void* argument) {
    auto* const client = static_cast<Client*>(argument);
    client->server->Serve(*client, what);
  };
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return;
      return MakeRoom(errno);
    }
    if (clients_.size() == kMostClients) DropOldest();
    Client& client = clients_[fd];
    client.server = this;
    client.fd = fd;
    client.order = nextOrder_++;
    client.event = NewEvent(fd, EV_READ, serve, &client);
    if (client.event == nullptr || event_add(client.event.get(), &kRequestTime) != 0) {
      Drop(client);
    }
  }
}

// Out of descriptors: the client that has been here longest goes. When there is none, somebody else
// has them, and accepting pauses.
void Server::MakeRoom(int reason) {
  if (!saidShort_) Log("cannot accept a client, dropping the oldest: %s", std::strerror(reason));
  saidShort_ = true;
  if (!clients_.empty()) return DropOldest();
  event_del(accept_.get());
  event_add(acceptAgain_.get(), &kShortage);
}

void Server::DropOldest() {
  const auto oldest = std::min_element(
      clients_.begin(), clients_.end(),
      [](const auto& a, const auto& b) { return a.second.order < b.second.order; });
  Drop(oldest->second);
}

void Server::Serve(Client& client, short what) {
  uint8_t request[HQOS_MSG_MAX + 1];
  const ssize_t length =
      (what & EV_READ) != 0 ? recv(client.fd, request, sizeof request, MSG_DONTWAIT) : 0;
  const bool again = length < 0 && (errno == EAGAIN || errno == EINTR);
  // Whoever closes, lets its time run out, or sends a second request has been served.
  if (!again && (length <= 0 || client.answered)) return Drop(client);
  if (!again) {
    Bytes bytes(request, request + length);
    Bytes reply = responder_.Respond(bytes, access_.MayConfigure(client.fd));
    exchanges_.push_back({std::move(bytes), std::move(reply)});
    waiting_.emplace_back(client.fd, client.order);
    client.answered = true;
  }
  // The closing is left to the client: closing right behind the reply, the service could have the
  // end of the stream reach the client before the reply does.
  if (event_add(client.event.get(), client.answered ? &kClosingTime : &kRequestTime) != 0) {
    Drop(client);
  }
}

void Server::Drop(Client& client) {
  const int fd = client.fd;
  clients_.erase(fd);
  if (clients_.empty()) saidShort_ = false;
  close(fd);
}

}  // namespace hqosd
