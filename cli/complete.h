// Completion of an unfinished command line, from the table of arguments itself.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace hqosctl {

// Prints what the last of `words` may become: a line for each candidate, with a tab and its
// description; a tab alone stands for the names of files. What the service knows is asked from it,
// for a fifth of a second; without it that is left out.
void Complete(CLI::App& app, std::vector<std::string> words);

}  // namespace hqosctl
