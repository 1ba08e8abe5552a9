#include "service/reserve.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace hqosd {

namespace {

// More than the commands that come together in one turn take, the rows of the largest hierarchy
// included. It is never touched, so that it costs addresses, no memory.
constexpr size_t kReserve = size_t{64} << 20;
void* s_reserve = nullptr;

void UseReserve() {
  if (s_reserve == nullptr) throw std::bad_alloc();
  std::free(s_reserve);
  s_reserve = nullptr;
}

}  // namespace

bool KeepReserve() {
  if (s_reserve == nullptr) {
    s_reserve = std::malloc(kReserve);
    std::set_new_handler(UseReserve);
  }
  return s_reserve != nullptr;
}

}  // namespace hqosd
