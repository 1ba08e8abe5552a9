// Comparing and merging match rules; no service is needed.
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/rule_text.h"
#include "platform/bitmap.h"

namespace hqosctl {

namespace {

// A bitmap of the values of some rules.
class Values {
 public:
  void Add(const HQOS_MatchRule& rule) { HQOS_util_AppendMatchRule(&rule, bitmap_); }
  const Bitmap* bitmap() const { return bitmap_; }

 private:
  alignas(8) uint8_t buffer_[1024];
  Bitmap* const bitmap_ = Bitmap_CreateFromBuffer(buffer_, sizeof buffer_, HQOS_RULE_BITMAP_BITS);
};

// The rule with its ranges in ascending order, as comparing needs them.
HQOS_MatchRule Ordered(const HQOS_MatchRule& rule) {
  Values values;
  values.Add(rule);
  HQOS_MatchRule ordered;
  return HQOS_util_Bitmap2MatchRule(values.bitmap(), rule.type, &ordered) == 0 ? ordered : rule;
}

void Compare(const std::string& a, const std::string& b, Output& output) {
  static constexpr const char* kRelations[] = {"equal",   "contains", "contained",
                                               "overlap", "disjoint", "other-type"};
  const HQOS_MatchRule ruleA = Ordered(ParseRule(a));
  const HQOS_MatchRule ruleB = Ordered(ParseRule(b));
  const char* const relation = kRelations[HQOS_util_MatchRuleCompare(&ruleA, &ruleB)];
  output.Begin({"FIRST", "RELATION", "SECOND"});
  output.Add({RuleText(ruleA), relation, RuleText(ruleB)},
             {{"first", RuleText(ruleA)}, {"relation", relation}, {"second", RuleText(ruleB)}});
  output.End();
}

void Merge(const std::vector<std::string>& texts, Output& output) {
  Values values;
  HQOS_MatchRule merged = ParseRule(texts[0]);
  for (const std::string& text : texts) {
    const HQOS_MatchRule rule = ParseRule(text);
    if (rule.type != merged.type) {
      throw Failure(kUsage,
                    "rules of different match types do not merge: " + texts[0] + ", " + text);
    }
    values.Add(rule);
  }
  if (merged.type != HQOS_MATCH_GROUP &&
      HQOS_util_Bitmap2MatchRule(values.bitmap(), merged.type, &merged) != 0) {
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
  merge->callback([arguments, &output] { Merge(arguments->rules, output); });
}

}  // namespace hqosctl
