// A scripted peer for the library: this program replaces the platform's socket functions,
// send() and recv(), so that a test can send a reply, read the request and make any call fail.
#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "tests/bytes.h"

namespace wire {

// What the next calls meet: an errno each, 0 for "works". An empty queue works always.
struct Script {
  Bytes reply = Status(0, "");                     // an empty one: the peer closes without a reply
  std::function<Bytes(const Bytes&)> answer = {};  // makes the reply instead, when there is one
  bool peerGone = false;                           // the peer is gone before anything is sent
  std::deque<int> socketErrors = {}, connectErrors = {}, sendErrors = {}, recvErrors = {};
  bool shortSend = false;  // send() says that one byte less than asked has gone
};

// One call's traffic, as the peer saw it.
struct Seen {
  std::vector<Bytes> requests;
  Bytes address;  // given to connect
  int sockets = 0, connects = 0, sends = 0, recvs = 0;
  int sendFlags = -1, recvFlags = -1;
  bool closed = false;  // the library closed its socket
};

void Begin(const Script& script);
Seen End();

// Runs `call` against the script and returns its result; `seen` gets what happened.
template <class Call>
auto Play(const Script& script, Seen& seen, Call call) {
  Begin(script);
  const auto result = call();
  seen = End();
  return result;
}

}  // namespace wire
