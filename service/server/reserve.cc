#include "service/server/reserve.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace hqosd {

namespace {

// Far more than a request takes, but for changes to a very large hierarchy that is applied in many
// places. It is never touched, so that it costs addresses, no memory.
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
