#include <time.h>

#include "hqos.h"
#include "platform/crypto.h"

uint32_t HQOS_util_GetRandom(void) {
  const auto now = static_cast<uint32_t>(time(nullptr));
  RAND_seed(&now, sizeof now);
  uint32_t drawn = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&drawn), sizeof drawn);
  return drawn % 0xFFFF + 1;
}
