// The peer of the library: this program replaces the platform's socket functions, send() and
// recv(). Only opening and closing a descriptor reach the kernel.
#pragma once

#include <sanitizer/asan_interface.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace fake_peer {

using Bytes = std::vector<uint8_t>;

struct Peer {
  std::function<Bytes(const Bytes& request)> answer;  // an empty reply: the peer has closed
  uint8_t fill = 0;       // the bytes after a reply in the buffer that it is received into
  bool isClosed = false;  // nobody may read them: see Watched
  // What is closed now.
  void* closedAt = nullptr;
  size_t closedSize = 0;
};

extern Peer peer;

// The result of a call of the library that may read nothing after the reply. `call` makes that
// call only: the buffer was on its stack, and is opened again after it.
template <class Call>
auto Watched(Call call) {
  peer.isClosed = true;
  const auto result = call();
  ASAN_UNPOISON_MEMORY_REGION(peer.closedAt, peer.closedSize);
  peer.isClosed = false;
  peer.closedSize = 0;
  return result;
}

}  // namespace fake_peer
