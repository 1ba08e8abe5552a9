// The tree of an SP's children.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "hqos.h"

namespace hqosctl {

// A line for each child, which come depth first: its place in the tree, its name, rule and FP. The
// tree is drawn in ASCII unless the locale has UTF-8.
std::vector<std::string> Draw(const std::vector<HQOS_SPSon>& sons);

// Writes the children as JSON, nested.
void WriteNested(const std::vector<HQOS_SPSon>& sons, std::ostream& out);

}  // namespace hqosctl
