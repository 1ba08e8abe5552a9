// Reading from the service: one object by its name, or all of them, walked to the end.
#pragma once

#include <string>
#include <vector>

#include "hqos.h"

namespace hqosctl {

constexpr uint32_t kFC = 2;  // the stand-in service's kind of an FC child; FGs have 1

// The children of the SP, at every depth, in the service's order; none when it is gone by now.
std::vector<HQOS_SPSon> ReadSPSons(const HQOS_SPInfo& sp);

// The same with their statistics or diagnosis where the SP is applied to `obj`.
std::vector<HQOS_SPSonStat> ReadSPSonStats(const HQOS_AppObj& obj, const HQOS_SPInfo& sp);
std::vector<HQOS_SPSonDiag> ReadSPSonDiags(const HQOS_AppObj& obj, const HQOS_SPInfo& sp);

// The children of the FG; none when it is gone by now.
std::vector<HQOS_FGSon> ReadFGSons(const HQOS_FGInfo& fg);

// What is nested below the FG at every depth, as below an SP.
std::vector<HQOS_SPSon> ReadFGTree(const HQOS_FGInfo& fg);

// All objects of a kind, in the order of their identifiers, or the one named.
std::vector<HQOS_SPInfo> ReadSPs(const std::string& name);
std::vector<HQOS_FGInfo> ReadFGs(const std::string& name);
std::vector<HQOS_FCInfo> ReadFCs(const std::string& name);
std::vector<HQOS_FPInfo> ReadFPs(const std::string& name);
std::vector<HQOS_DPInfo> ReadDPs(const std::string& name);

}  // namespace hqosctl
