// Commands from a file.
#pragma once

#include <istream>
#include <string>

namespace hqosctl {

class Output;

enum class Batch {
  kPlain,   // stops at the first command that fails
  kForced,  // continues while there is a service
  kAtomic   // collects all commands, and sends them as one transaction unless a line is wrong
};

// Runs the commands of `in`, one per line; a # begins a comment, and quotes keep blanks in a word.
// Reports on standard error which lines of `file` failed and why. Returns the exit code of the
// first that failed.
int RunBatch(std::istream& in, const std::string& file, Batch kind, Output& output);

}  // namespace hqosctl
