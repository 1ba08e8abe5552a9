// Nesting FGs and FCs, and removing match rules.
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/rule_text.h"

namespace hqosctl {

namespace {

struct Arguments {
  std::string parentKind, parent, childKind, child, rule, fp;

  // The rule that is given; null when none is.
  const HQOS_MatchRule* Rule() {
    if (rule.empty()) return nullptr;
    parsed = ParseRule(rule);
    return &parsed;
  }
  bool BelowSP() const { return parentKind == "sp"; }
  bool IsFC() const { return childKind == "fc"; }

  HQOS_MatchRule parsed{};
};

void CheckKinds(const Arguments& a) {
  if (a.IsFC() && a.BelowSP())
    throw Failure(kUsage, "an FC is nested below an FG, not below an SP");
  if (a.IsFC() && !a.rule.empty()) throw Failure(kUsage, "an FC has no match rule");
}

void Nest(Arguments& a) {
  CheckKinds(a);
  if (!a.IsFC() && a.rule.empty()) throw Failure(kUsage, "an FG needs its values: --match RULE");
  const char* const parent = a.parent.c_str();
  const char* const child = a.child.c_str();
  const char* const fp = a.fp.empty() ? nullptr : a.fp.c_str();
  HQOS_Result result{};
  const uint32_t status = a.IsFC() ? HQOS_lib_AddFGNestFC(parent, child, fp, &result)
                          : a.BelowSP()
                              ? HQOS_lib_AddSPNestFG(parent, a.Rule(), child, fp, &result)
                              : HQOS_lib_AddFGNestFG(parent, a.Rule(), child, fp, &result);
  CheckCommand(status, result);
}

void Unnest(Arguments& a) {
  CheckKinds(a);
  const char* const parent = a.parent.c_str();
  const char* const child = a.child.c_str();
  HQOS_Result result{};
  const uint32_t status = a.IsFC()      ? HQOS_lib_DelFGNestFC(parent, child, &result)
                          : a.BelowSP() ? HQOS_lib_DelSPNestFG(parent, a.Rule(), child, &result)
                                        : HQOS_lib_DelFGNestFG(parent, a.Rule(), child, &result);
  CheckCommand(status, result);
}

void DelMatch(const Arguments& a) {
  const HQOS_MatchRule rule = ParseRule(a.rule);
  HQOS_Result result{};
  const auto command = a.BelowSP() ? HQOS_lib_DelSPMatch : HQOS_lib_DelFGMatch;
  CheckCommand(command(a.parent.c_str(), &rule, &result), result);
}

void AddParent(CLI::App* command, Arguments& a) {
  command->add_option("KIND", a.parentKind, "the parent's")
      ->required()
      ->check(CLI::IsMember({"sp", "fg"}));
  Named(command->add_option("PARENT", a.parent, "its name"));
}

void AddChild(CLI::App* command, Arguments& a) {
  command->add_option("CHILD-KIND", a.childKind)->required()->check(CLI::IsMember({"fg", "fc"}));
  Named(command->add_option("CHILD", a.child, "its name"));
}

}  // namespace

void AddNestCommands(CLI::App& app) {
  const auto a = std::make_shared<Arguments>();

  CLI::App* const nest =
      app.add_subcommand("nest", "Nest an FG below an SP or FG, an FC below an FG");
  AddParent(nest, *a);
  AddChild(nest, *a);
  nest->add_option("--match", a->rule, "the FG's values, such as dot1p:0-3,6 or group");
  Named(nest->add_option("--fp", a->fp, "the FP that the child uses"))->required(false);
  nest->callback([a] { Nest(*a); });

  CLI::App* const unnest = app.add_subcommand("unnest", "Take a nesting back");
  AddParent(unnest, *a);
  AddChild(unnest, *a);
  unnest->add_option("--match", a->rule, "only if these are its values");
  unnest->callback([a] { Unnest(*a); });

  CLI::App* const match = AddGroup(app, "match", "Match rules of the children");
  CLI::App* const del =
      match->add_subcommand("del", "Remove a rule, and with it the child's nesting");
  AddParent(del, *a);
  del->add_option("RULE", a->rule, "such as dot1p:0-3,6")->required();
  del->callback([a] { DelMatch(*a); });
}

}  // namespace hqosctl
