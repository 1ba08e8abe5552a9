// Match rules as people write them: a match type and its values, "dot1p:0-3,6"; a group is "group".
#pragma once

#include <string>

#include "hqos.h"

namespace hqosctl {

// Reads a rule. Throws a Failure that shows the place of the fault.
HQOS_MatchRule ParseRule(const std::string& text);

// Writes a rule; "" for one without a type.
std::string RuleText(const HQOS_MatchRule& rule);

}  // namespace hqosctl
