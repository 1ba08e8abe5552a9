// The peer of the library: this program takes the place of the platform's socket seam and of send()
// and recv(). Nothing goes through the kernel but the opening and closing of a descriptor.
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
  uint8_t fill = 0;       // what is found behind a reply in the buffer that it is received into
  bool isClosed = false;  // nothing may be read there: see Watched
  // What is closed at present.
  void* closedAt = nullptr;
  size_t closedSize = 0;
};

extern Peer peer;

// The result of a call of the library, in which nothing behind the reply may be read. `call` is
// that call and no more: the buffer was on its stack, and is opened again behind it.
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
