// Inputs that end at a page that cannot be accessed, so that one byte too far is seen.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "fuzz/require.h"

namespace fuzz {

// Room for one input at a time.
class Guard {
 public:
  Guard() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* const room =
        mmap(nullptr, kRoom + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    Require(room != MAP_FAILED, "there is memory for the input");
    end_ = static_cast<uint8_t*>(room) + kRoom;
    Require(mprotect(end_, page, PROT_NONE) == 0, "a page can be closed");
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  // A copy of the bytes that ends there.
  uint8_t* Bytes(const void* data, size_t size) {
    Require(size <= kRoom, "the input fits");
    if (size != 0) std::memcpy(end_ - size, data, size);
    return end_ - size;
  }

  // The bytes up to their first NUL as a text whose NUL is the last byte there.
  char* Text(const void* data, size_t size) {
    size_t length = 0;
    while (length < size && static_cast<const uint8_t*>(data)[length] != 0) ++length;
    Require(length < kRoom, "the input fits");
    end_[-1] = 0;
    if (length != 0) std::memcpy(end_ - 1 - length, data, length);
    return reinterpret_cast<char*>(end_ - 1 - length);
  }

 private:
  static constexpr size_t kRoom = 1u << 17;
  uint8_t* end_;
};

}  // namespace fuzz
