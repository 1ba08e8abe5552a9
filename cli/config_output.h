// How differences between hierarchies are printed.
#pragma once

#include <string>
#include <vector>

#include "cli/output.h"
#include "client/difference.h"

namespace hqosctl {

// A line for each, "~ fp fp-voice: bandwidth 5000 -> 6000", coloured on a terminal; or JSON.
void PrintChanges(const std::vector<client::Change>& changes, Output& output);

// "1 to remove, 2 to add, 3 to change"
std::string Summary(const std::vector<client::Change>& changes);

}  // namespace hqosctl
