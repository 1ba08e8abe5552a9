// What is wrong with a file, and where.
#pragma once

#include <string>
#include <vector>

namespace client {

// The keys that lead to a value, numbers for the elements of an array.
using Path = std::vector<std::string>;

struct Fault {
  Path path;
  std::string text;
};
using Faults = std::vector<Fault>;

}  // namespace client
