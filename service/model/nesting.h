// The rules of nesting FGs and FCs. All functions throw a Refusal before they change the model.
#pragma once

#include "service/model/hierarchy.h"

namespace hqosd {

// The SP or FG of that name, as a parent.
Parent GetSPParent(Model& model, const std::string& name);
Parent GetFGParent(Model& model, const std::string& name);

// Nests an FG with its rule. `fp` is the FP that it uses, or empty.
void NestFG(Model& model, const Parent& parent, const std::string& child, HQOS_MatchRule rule,
            const std::string& fp);

// Nests an FC, which comes into being with its first nesting.
void NestFC(Model& model, const Parent& parent, const std::string& child, const std::string& fp);

// Removes a nesting. A rule of type 0 or HQOS_MATCH_NONE fits any; another must be the nesting's.
void UnnestFG(Model& model, const Parent& parent, const std::string& child,
              const HQOS_MatchRule& rule);
void UnnestFC(Model& model, const Parent& parent, const std::string& child,
              const HQOS_MatchRule& rule);

// Removes the nesting that has the rule.
void UnnestByRule(Model& model, const Parent& parent, HQOS_MatchRule rule);

}  // namespace hqosd
