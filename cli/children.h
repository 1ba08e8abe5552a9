// Listing children, block by block, to the end.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/output.h"
#include "hqos.h"

namespace hqosctl {

// The children of the SP, at every depth, in the service's order; none when it is gone by now.
std::vector<HQOS_SPSon> ReadSPSons(const HQOS_SPInfo& sp);

// The children of the FG of that name.
std::vector<HQOS_FGSon> ReadFGSons(const std::string& name);

// All SPs, all FGs, or the one named.
std::vector<HQOS_SPInfo> ReadSPs(const std::string& name);
std::vector<HQOS_FGInfo> ReadFGs(const std::string& name);

// The fields of a rule, of a path.
Output::Record RuleRecord(const HQOS_MatchRule& rule);
Output::Record PathRecord(const HQOS_SPSonPath& path);

}  // namespace hqosctl
