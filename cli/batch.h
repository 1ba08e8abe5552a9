// Commands from a file.
#pragma once

#include <istream>
#include <string>

namespace hqosctl {

class Output;

// Carries out the commands of `in`, one a line; what stands behind a # is a comment. Stops at the
// first that fails, or with `force` goes on while there is a service; says on standard error which
// line (of `file`) failed and why. Returns the exit code of the first that failed.
int RunBatch(std::istream& in, const std::string& file, bool force, Output& output);

}  // namespace hqosctl
