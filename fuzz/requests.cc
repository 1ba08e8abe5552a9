// The service's request handler on a model in memory. The input is a sequence of datagrams: a
// length of two bytes, the low one first, and its bytes.
#include "fuzz/guard.h"
#include "fuzz/service_harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  fuzz::ServiceHarness service;
  while (size >= 2) {
    const size_t length = std::min<size_t>(data[0] + 256u * data[1], size - 2);
    service.Ask(guard.Bytes(data + 2, length), length);
    data += 2 + length;
    size -= 2 + length;
  }
  service.Finish();
  return 0;
}
