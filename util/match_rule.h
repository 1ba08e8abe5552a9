// What the match rule functions share.
#pragma once

#include <stddef.h>

#include "hqos.h"
#include "platform/text.h"

namespace hqos {

// The empty rule, except for its type.
constexpr HQOS_MatchRule EmptyRule(uint32_t type) {
  HQOS_MatchRule rule{type, {}};
  for (HQOS_ValueRange& range : rule.ranges) range = {0xFFFF, 0xFFFF};
  return rule;
}

// The length of a text.
inline size_t Length(const char* text) {
  char none;
  return strlcpy(&none, text, 0);
}

}  // namespace hqos
