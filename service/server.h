// The event loop: many clients, one request and one reply each.
#pragma once

#include <event2/event.h>

#include <memory>
#include <unordered_map>

#include "service/access.h"
#include "service/answer.h"

namespace hqosd {

struct FreeEvent {
  void operator()(event* e) const { event_free(e); }
  void operator()(event_base* base) const { event_base_free(base); }
};
using EventPtr = std::unique_ptr<event, FreeEvent>;

struct Exchange {
  Bytes request, reply;
};

// What makes the replies.
class Responder {
 public:
  virtual ~Responder() = default;
  virtual Bytes Respond(const Bytes& request, bool mayConfigure) = 0;
  // Called with the requests that came together, before their replies, which it may change, are
  // sent.
  virtual void Commit(std::vector<Exchange>& exchanges) = 0;
};

class Server {
 public:
  // Serves the clients of the listening socket, which is made non-blocking; it and the responder
  // stay the caller's.
  Server(int listener, Responder& responder, Access access);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Runs until SIGTERM or SIGINT. False when the loop cannot run.
  bool Run();

 private:
  struct Client {
    Server* server;
    int fd;
    uid_t user;
    uint64_t order;         // of its coming
    bool answered = false;  // or about to be
    EventPtr event;
  };

  void Accept();
  void Add(int fd);
  void Serve(Client& client, short what);
  bool Take(Client& client, short what);
  void Drop(Client& client);
  void Finish();
  void DropOne();
  void MakeRoom(int reason);
  EventPtr NewEvent(int fd, short what, event_callback_fn callback, void* argument);

  std::unique_ptr<event_base, FreeEvent> base_;
  int listener_;
  Responder& responder_;
  Access access_;
  EventPtr accept_, acceptAgain_, terminate_, interrupt_;
  std::unordered_map<int, Client> clients_;
  std::vector<std::pair<int, uint64_t>> waiting_;  // descriptor and order of those to be answered
  std::vector<Exchange> exchanges_;                // and what is to be answered
  bool stop_ = false;
  uint64_t nextOrder_ = 0;
};

}  // namespace hqosd
