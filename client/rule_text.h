// Match rules as people write them: a match type and its values, "dot1p:0-3,6"; a group is "group".
#pragma once

#include <stdexcept>
#include <string>

#include "hqos.h"

namespace client {

// What is wrong with the text of a rule, and after how many characters.
class RuleFault : public std::runtime_error {
 public:
  RuleFault(const std::string& text, size_t place) : runtime_error(text), place_(place) {}
  size_t place() const { return place_; }

 private:
  size_t place_;
};

// Reads a rule, with its ranges as they are written. Throws a RuleFault.
HQOS_MatchRule ParseRule(const std::string& text);

// Brings a rule with values into its shortest form: ascending ranges that neither overlap nor
// touch. The rule is one that ParseRule has read.
void Normalise(HQOS_MatchRule& rule);

// Writes a rule; "" for one without a type.
std::string RuleText(const HQOS_MatchRule& rule);

}  // namespace client
