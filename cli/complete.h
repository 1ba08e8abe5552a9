// Completion of an unfinished command line, from the table of arguments itself.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace hqosctl {

// Prints what the last of `words` may become: a line for each candidate, with a tab and its
// description; a tab alone means file names. Names of objects come from the service, which has
// a fifth of a second to answer; otherwise they are left out.
void Complete(CLI::App& app, std::vector<std::string> words);

}  // namespace hqosctl
