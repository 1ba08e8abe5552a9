// Comparing and merging match rules; no service is needed.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/rule_argument.h"
#include "platform/bitmap.h"

namespace hqosctl {

namespace {

// Writes the rule with the values of all, its ranges in ascending order; false when it would need
// too many ranges, or its type has no values.
bool Merge(const std::vector<HQOS_MatchRule>& rules, HQOS_MatchRule& merged) {
  alignas(8) uint8_t buffer[1024];
  Bitmap* const bitmap = Bitmap_CreateFromBuffer(buffer, sizeof buffer, HQOS_RULE_BITMAP_BITS);
  for (const HQOS_MatchRule& rule : rules) HQOS_util_AppendMatchRule(&rule, bitmap);
  return HQOS_util_Bitmap2MatchRule(bitmap, rules[0].type, &merged) == 0;
}

// Reads a rule for a comparison, which needs ascending ranges.
HQOS_MatchRule ParseOrdered(const std::string& text) {
  HQOS_MatchRule rule = ParseRule(text);
  Merge({rule}, rule);
  return rule;
}

void Compare(const std::string& a, const std::string& b, Output& output) {
  static constexpr const char* kRelations[] = {"equal",   "contains", "contained",
                                               "overlap", "disjoint", "other-type"};
  const HQOS_MatchRule ruleA = ParseOrdered(a);
  const HQOS_MatchRule ruleB = ParseOrdered(b);
  const char* const relation = kRelations[HQOS_util_MatchRuleCompare(&ruleA, &ruleB)];
  output.Begin({"FIRST", "RELATION", "SECOND"});
  output.Add({RuleText(ruleA), relation, RuleText(ruleB)},
             {{"first", RuleText(ruleA)}, {"relation", relation}, {"second", RuleText(ruleB)}});
  output.End();
}

void ShowMerged(const std::vector<std::string>& texts, Output& output) {
  std::vector<HQOS_MatchRule> rules;
  for (const std::string& text : texts) {
    rules.push_back(ParseRule(text));
    if (rules.back().type != rules[0].type) {
      throw Failure(kUsage,
                    "rules of different match types do not merge: " + texts[0] + ", " + text);
    }
  }
  HQOS_MatchRule merged = rules[0];
  if (!Merge(rules, merged) && merged.type != HQOS_MATCH_GROUP) {
    throw Failure(kUsage, "the merged rule would need more than 8 ranges");
  }
  char form[HQOS_MATCHRULE_STR_SIZE];
  HQOS_util_MatchRuleToStr(&merged, form);
  output.Begin({"RULE", "TEXT FORM"});
  output.Add({RuleText(merged), form}, {{"rule", RuleText(merged)}, {"text", form}});
  output.End();
}

}  // namespace

void AddRuleCommands(CLI::App& app, Output& output) {
  struct Arguments {
    std::string first, second;
    std::vector<std::string> rules;
  };
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* const group = AddGroup(app, "rule", "Match rules, such as dot1p:0-3,6 or group");

  CLI::App* const compare = group->add_subcommand("compare", "How the first relates to the second");
  compare->add_option("FIRST", arguments->first)->required();
  compare->add_option("SECOND", arguments->second)->required();
  compare->callback([arguments, &output] { Compare(arguments->first, arguments->second, output); });

  CLI::App* const merge = group->add_subcommand("merge", "One rule with the values of all");
  merge->add_option("RULE", arguments->rules)->required();
  merge->callback([arguments, &output] { ShowMerged(arguments->rules, output); });
}

}  // namespace hqosctl
