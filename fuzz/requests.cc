// The service's request handler on a live model. The input is a sequence of datagrams: a length of
// two bytes, the low one first, and its bytes.
#include "fuzz/guard.h"
#include "fuzz/live.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  fuzz::Live live;
  while (size >= 2) {
    const size_t length = std::min<size_t>(data[0] + 256u * data[1], size - 2);
    live.Ask(guard.Bytes(data + 2, length), length);
    data += 2 + length;
    size -= 2 + length;
  }
  live.Finish();
  return 0;
}
