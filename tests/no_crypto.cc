// Stand-ins for the two functions of libcrypto, where tests run without it.
#include "platform/crypto.h"

extern "C" {
void RAND_seed(const void*, int) {}
int RAND_bytes(unsigned char* bytes, int length) {
  for (int i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
  return 1;
}
}
