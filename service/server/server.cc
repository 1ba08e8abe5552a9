#include "service/server/server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <tuple>

#include "hqos.h"
#include "service/model/log.h"
#include "service/server/guard.h"
#include "service/server/message.h"
#include "service/server/supervisor.h"

namespace hqosd {

namespace {

constexpr timeval kRequestTime{5, 0};         // how long a client may take to send its request
constexpr timeval kClosingTime{5, 0};         // how long it may take to close after the reply
constexpr timeval kLastRequests{0, 500'000};  // how long to wait for them at the end
constexpr timeval kShortage{0, 100'000};      // pause when descriptors have run out
constexpr int kAcceptsAtOnce = 64;            // so that new clients do not starve the waiting ones
constexpr size_t kMaxClients = 1024;          // at once

}  // namespace

Server::Server(int listener, Transactor& transactor, Access access)
    : base_(event_base_new()), listener_(listener), transactor_(transactor), access_(access) {
  if (base_ == nullptr) return;
  exchanges_.reserve(kMaxClients);  // what has been carried out is not lost for lack of memory
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
  deadline_ = NewEvent(
      -1, 0, [](evutil_socket_t, short, void*) {}, this);  // ends a turn
  if (transactor_.KernelFd() >= 0) {
    const auto look = [](evutil_socket_t, short, void* self) {
      static_cast<Server*>(self)->LookAround();
    };
    kernel_ = NewEvent(transactor_.KernelFd(), EV_READ | EV_PERSIST, look, this);
  }
  alive_ = NewEvent(
      -1, EV_PERSIST, [](evutil_socket_t, short, void*) { ReportAlive(); }, this);
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
  const auto interval = ReportInterval();
  if (interval && (alive_ == nullptr || event_add(alive_.get(), &*interval) != 0)) return false;
  if (kernel_ != nullptr && event_add(kernel_.get(), nullptr) != 0) return false;
  ReportReady();
  while (!stop_) {
    WatchDeadline();
    const int how = transactor_.IsBusy() ? EVLOOP_ONCE | EVLOOP_NONBLOCK : EVLOOP_ONCE;
    if (event_base_loop(base_.get(), how) != 0) return false;
    Finish();
    if (transactor_.IsBusy()) Continue();
  }
  while (transactor_.IsBusy()) Continue();  // the kernel is not left with half of a change
  ReportEnd();
  AnswerLast();
  return true;
}

// Answers those who have connected already, as their requests are under way. Who connects now waits
// for the next service, if the socket is a service manager's.
void Server::AnswerLast() {
  event_del(accept_.get());
  event_base_loopexit(base_.get(), &kLastRequests);
  const auto isAsking = [](const auto& one) { return !one.second.answered; };
  while (std::any_of(clients_.begin(), clients_.end(), isAsking)) {
    if (event_base_loop(base_.get(), EVLOOP_ONCE) != 0) return;
    Finish();
    if (event_base_got_exit(base_.get())) return;
  }
}

// Does what is due: reverts a transaction that was not confirmed, looks at the kernel. Before that,
// wakes the loop then.
void Server::WatchDeadline() {
  transactor_.RevertIfDue();
  if (transactor_.IsLookDue()) LookAround();
  constexpr timeval kPause{1, 0};
  if (!transactor_.Deadline() && !transactor_.WaitsForKernel()) {
    event_del(deadline_.get());
  } else if (event_pending(deadline_.get(), EV_TIMEOUT, nullptr) == 0) {
    event_add(deadline_.get(), &kPause);
  }
}

void Server::LookAround() try { transactor_.LookAround(); } catch (const std::bad_alloc&) {
  LogBounded("cannot look at the kernel: out of memory");
}

// Carries out a slice of a transaction, and answers what it completes.
void Server::Continue() try {
  for (LateReply& late : transactor_.Continue()) {
    const auto waiting = waiting_.find(late.ticket);
    if (waiting == waiting_.end()) continue;
    exchanges_.push_back(std::move(waiting->second));
    exchanges_.back().response.reply = std::move(late.reply);
    waiting_.erase(waiting);
  }
  Finish();
} catch (const std::bad_alloc&) {
  // Clients whose reply is lost wait until their own time runs out.
}

// Commits what came together in one turn of the loop, then replies.
void Server::Finish() {
  if (exchanges_.empty()) return;
  try {
    transactor_.Commit(exchanges_);
  } catch (const std::bad_alloc&) {
    for (Exchange& exchange : exchanges_)
      exchange.response.reply.clear();  // the outcome is unknown
  }
  for (const Exchange& exchange : exchanges_) {
    const auto client = clients_.find(exchange.client);
    if (client == clients_.end() || client->second.order != exchange.order) continue;
    const Bytes& reply = exchange.response.reply;
    const bool isSent = !reply.empty() && SendReply(client->second.fd, reply, exchange.file);
    const bool waited = std::exchange(client->second.waits, false);
    const bool isTimed = !waited || event_add(client->second.event.get(), &kClosingTime) == 0;
    if (!isSent || !isTimed) Drop(client->second);
  }
  exchanges_.clear();
}

void Server::Accept() {
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return;
      return MakeRoom(errno);
    }
    if (clients_.size() == kMaxClients) DropOne();
    try {
      Add(fd);
    } catch (const std::bad_alloc&) {
      close(fd);
    }
  }
}

void Server::Add(int fd) {
  const auto serve = [](evutil_socket_t, short what, void* argument) {
    auto* const client = static_cast<Client*>(argument);
    client->server->Serve(*client, what);
  };
  Client& client = clients_[fd];
  client.server = this;
  client.fd = fd;
  client.user = UserOf(fd);
  client.order = nextOrder_++;
  client.event = NewEvent(fd, EV_READ, serve, &client);
  if (client.event == nullptr || event_add(client.event.get(), &kRequestTime) != 0) Drop(client);
}

// Out of descriptors: one of the clients goes. When there is none, somebody else has them, and
// accepting pauses.
void Server::MakeRoom(int reason) {
  LogBounded("cannot accept a client: %s", std::strerror(reason));
  if (!clients_.empty()) return DropOne();
  event_del(accept_.get());
  event_add(acceptAgain_.get(), &kShortage);
}

// Whoever has most connections loses one, so that nobody can push others out: one that has been
// answered, else that which has been here longest.
void Server::DropOne() {
  std::unordered_map<uid_t, size_t> connections;
  for (const auto& [fd, client] : clients_) ++connections[client.user];
  const auto rank = [&](const Client& client) {
    return std::tuple(connections[client.user], client.answered && !client.waits, ~client.order);
  };
  const auto first = std::max_element(
      clients_.begin(), clients_.end(),
      [&](const auto& a, const auto& b) { return rank(a.second) < rank(b.second); });
  Drop(first->second);
}

void Server::Serve(Client& client, short what) {
  try {
    // The closing is left to the client: closing right after the reply, the service could have the
    // end of the stream reach the client before the reply does.
    const timeval* const time = client.answered ? &kClosingTime : &kRequestTime;
    const bool stays =
        Take(client, what) && event_add(client.event.get(), client.waits ? nullptr : time) == 0;
    if (!stays) Drop(client);
  } catch (const std::bad_alloc&) {
    Drop(client);
  }
}

// Takes the client's request and has it answered. False when it has closed, let its time run out,
// or sent a second one.
bool Server::Take(Client& client, short what) {
  Bytes bytes;
  RequestFile file;
  const ssize_t length = (what & EV_READ) != 0 ? ReceiveRequest(client.fd, bytes, file) : 0;
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (length <= 0 || client.answered) return false;
  Exchange exchange{std::move(bytes), {}, client.fd, client.order};
  const Sender sender{client.user, access_.MayConfigure(client.fd)};
  exchange.response = RespondGuarded(transactor_, exchange.request, file, sender, exchange.file);
  client.answered = true;
  client.waits = exchange.response.ticket != 0;
  if (client.waits) {
    waiting_[exchange.response.ticket] = std::move(exchange);
  } else {
    exchanges_.push_back(std::move(exchange));
  }
  return true;
}

void Server::Drop(Client& client) {
  const int fd = client.fd;
  clients_.erase(fd);
  close(fd);
}

}  // namespace hqosd
