// A scripted peer for the library: this program takes the place of the platform's socket seam and
// of send() and recv(), so that a case can put a reply on the wire, read the request that went out
// and let any call fail.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace wire {

using Bytes = std::vector<uint8_t>;

// Bytes from hex digits; blanks are skipped.
Bytes Hex(const std::string& digits);
// `text` in a field of `width` bytes, the rest zero.
Bytes Field(const std::string& text, size_t width);
Bytes operator+(Bytes a, const Bytes& b);
// A TLV as the host's codec lays it out.
Bytes Tlv(uint16_t type, const Bytes& value);
// A message: the 8-byte head with the given class, then `tlvs`.
Bytes Message(uint8_t kind, uint8_t opClass, const Bytes& tlvs);
// A reply whose only TLV is a status.
Bytes Status(uint32_t code, const std::string& text);

// What the next calls meet: an errno each, 0 for "works". An empty queue works always.
struct Script {
  Bytes reply = Status(0, "");  // an empty one: the peer closes without a reply
  bool peerGone = false;        // the peer is gone before anything is sent
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

// Runs `call` against the script and returns its result; `seen` gets what happened.
template <class Call>
auto Play(const Script& script, Seen& seen, Call call);

void Begin(const Script& script);
Seen End();

template <class Call>
auto Play(const Script& script, Seen& seen, Call call) {
  Begin(script);
  const auto result = call();
  seen = End();
  return result;
}

}  // namespace wire
