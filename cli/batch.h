// Commands from a file.
#pragma once

#include <istream>
#include <string>

namespace hqosctl {

class Output;

// Runs the commands of `in`, one per line; a # begins a comment, and quotes keep blanks in a word.
// Stops at the first that fails, or with `force` continues while there is a service. Reports on
// standard error which line of `file` failed and why. Returns the exit code of the first that
// failed.
int RunBatch(std::istream& in, const std::string& file, bool force, Output& output);

}  // namespace hqosctl
