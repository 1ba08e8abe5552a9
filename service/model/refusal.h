// Why a request is refused.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <utility>

#include "hqosd.h"

namespace hqosd {

// Thrown by what checks a request, before it changes the model.
struct Refusal {
  uint32_t code;     // HQOSD_Status
  std::string text;  // for people
};

template <class... Arguments>
[[noreturn]] void Refuse(uint32_t code, fmt::format_string<Arguments...> text,
                         Arguments&&... arguments) {
  throw Refusal{code, fmt::format(text, std::forward<Arguments>(arguments)...)};
}

}  // namespace hqosd
