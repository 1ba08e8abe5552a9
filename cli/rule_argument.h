// A match rule as an argument.
#pragma once

#include <string>

#include "cli/failure.h"
#include "client/rule_text.h"

namespace hqosctl {

using client::RuleText;

// Reads a rule. Throws a Failure that shows the place of the fault.
inline HQOS_MatchRule ParseRule(const std::string& text) try {
  return client::ParseRule(text);
} catch (const client::RuleFault& fault) {
  throw Failure(kUsage, std::string("rule: ") + fault.what() + "\n  " + text + "\n  " +
                            std::string(fault.place(), ' ') + "^");
}

}  // namespace hqosctl
