// The order of SP child paths.
#include "hqos.h"

uint32_t HQOS_util_SPSonPathCompare(const HQOS_SPSonPath* a, const HQOS_SPSonPath* b) {
  // One more, in 16 bits, puts HQOS_PATH_UNSET below every other value.
  const auto rank = [](uint16_t field) { return static_cast<uint16_t>(field + 1); };
  for (int level = 1; level <= 5; ++level) {
    const uint16_t rankA = rank(a->field[level]);
    const uint16_t rankB = rank(b->field[level]);
    if (rankA != rankB) return rankA < rankB ? 2 : 1;
  }
  if (a->field[0] == b->field[0]) return 0;
  return a->field[5] == HQOS_PATH_UNSET ? 2 : 1;
}
