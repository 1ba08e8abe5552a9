// Printing a store for people, decoded.
#pragma once

#include <string>

namespace hqosd {

// What --dump prints: columns of keys and records, or one JSON array, with the bytes of all records
// or only of those that do not decode.
struct DumpForm {
  bool json = false;
  bool bytes = false;
};

// Prints the store in the file, also while a service has it, to standard output. Returns "", or why
// it cannot be read.
std::string DumpStore(const std::string& file, DumpForm form);

}  // namespace hqosd
