// The tree of an SP's children.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/output.h"
#include "hqos.h"

namespace hqosctl {

// A line for each child, which come depth first: its place in the tree, its name, rule and FP.
std::vector<std::string> Draw(const std::vector<HQOS_SPSon>& sons);

// The children as records, nested; `addMore` gives the record of the child with that number what
// it has beside the child itself.
using AddMore = std::function<void(size_t number, Output::Record& record)>;
Output::Record Nested(const std::vector<HQOS_SPSon>& sons, const AddMore& addMore);

}  // namespace hqosctl
