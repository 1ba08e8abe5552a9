// The event loop: many clients, one request and one reply each.
#pragma once

#include <event2/event.h>

#include <memory>
#include <unordered_map>

#include "service/server/access.h"
#include "service/server/transactor.h"

namespace hqosd {

struct FreeEvent {
  void operator()(event* e) const { event_free(e); }
  void operator()(event_base* base) const { event_base_free(base); }
};
using EventPtr = std::unique_ptr<event, FreeEvent>;

class Server {
 public:
  // Serves the clients of the listening socket, which is made non-blocking; it and the transactor
  // stay the caller's.
  Server(int listener, Transactor& transactor, Access access);
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
    uint64_t order;         // number of the connection
    bool answered = false;  // or about to be
    bool waits = false;     // for the end of a transaction
    EventPtr event;
  };

  void Accept();
  void Add(int fd);
  void Serve(Client& client, short what);
  bool Take(Client& client, short what);
  void Drop(Client& client);
  void AnswerLast();
  void Finish();
  void Continue();
  void WatchDeadline();
  void LookAround();
  void DropOne();
  void MakeRoom(int reason);
  EventPtr NewEvent(int fd, short what, event_callback_fn callback, void* argument);

  std::unique_ptr<event_base, FreeEvent> base_;
  int listener_;
  Transactor& transactor_;
  Access access_;
  EventPtr accept_, acceptAgain_, terminate_, interrupt_, deadline_, alive_, kernel_;
  std::unordered_map<int, Client> clients_;
  std::vector<Exchange> exchanges_;                 // carried out, not answered yet
  std::unordered_map<uint64_t, Exchange> waiting_;  // for a late reply, by its ticket
  bool stop_ = false;
  uint64_t nextOrder_ = 0;
};

}  // namespace hqosd
