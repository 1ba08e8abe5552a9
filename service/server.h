// The event loop: many clients, one request and one reply each.
#pragma once

#include <event2/event.h>

#include <functional>
#include <memory>
#include <unordered_map>

#include "service/answer.h"

namespace hqosd {

struct FreeEvent {
  void operator()(event* e) const { event_free(e); }
  void operator()(event_base* base) const { event_base_free(base); }
};
using EventPtr = std::unique_ptr<event, FreeEvent>;

class Server {
 public:
  // Answers one request; the result is sent as it is.
  using Responder = std::function<Bytes(const uint8_t* request, size_t length)>;

  // Serves the clients of the listening socket, which is made non-blocking; it stays the caller's.
  Server(int listener, Responder respond);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Runs until SIGTERM or SIGINT. False when the loop cannot run.
  bool Run();

 private:
  struct Client {
    Server* server;
    int fd;
    uint64_t order;  // of its coming
    bool answered = false;
    EventPtr event;
  };

  void Accept();
  void Serve(Client& client, short what);
  void Drop(Client& client);
  void MakeRoom(int reason);
  EventPtr NewEvent(int fd, short what, event_callback_fn callback, void* argument);

  std::unique_ptr<event_base, FreeEvent> base_;
  int listener_;
  Responder respond_;
  EventPtr accept_, acceptAgain_, terminate_, interrupt_;
  std::unordered_map<int, Client> clients_;
  uint64_t nextOrder_ = 0;
  bool saidShort_ = false;  // a shortage of descriptors is logged once
};

}  // namespace hqosd
