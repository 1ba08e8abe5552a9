// What must hold whatever the input is: the program ends with a text when it does not.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

inline void Require(bool holds, const char* rule, const std::string& whom = {}) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s %s\n", rule, whom.c_str());
  std::abort();
}

}  // namespace fuzz
