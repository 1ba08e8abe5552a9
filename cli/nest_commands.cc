// Nesting FGs and FCs, and removing match rules.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/rule_argument.h"

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
  const char* const fp = a.fp.empty() ? nullptr : a.fp.c_str();
  if (a.IsFC()) return Do(HQOS_lib_AddFGNestFC, a.parent, a.child, fp);
  Do(a.BelowSP() ? HQOS_lib_AddSPNestFG : HQOS_lib_AddFGNestFG, a.parent, a.Rule(), a.child, fp);
}

void Unnest(Arguments& a) {
  CheckKinds(a);
  if (a.IsFC()) return Do(HQOS_lib_DelFGNestFC, a.parent, a.child);
  Do(a.BelowSP() ? HQOS_lib_DelSPNestFG : HQOS_lib_DelFGNestFG, a.parent, a.Rule(), a.child);
}

void DelMatch(Arguments& a) {
  Do(a.BelowSP() ? HQOS_lib_DelSPMatch : HQOS_lib_DelFGMatch, a.parent, a.Rule());
}

void AddParent(CLI::App* command, Arguments& a) {
  command->add_option("KIND", a.parentKind, "the parent's")
      ->required()
      ->check(CLI::IsMember({"sp", "fg"}));
  Named(command->add_option("PARENT", a.parent, "its name"), "@kind");
}

void AddChild(CLI::App* command, Arguments& a) {
  command->add_option("CHILD-KIND", a.childKind)->required()->check(CLI::IsMember({"fg", "fc"}));
  Named(command->add_option("CHILD", a.child, "its name"), "@kind");
}

}  // namespace

void AddNestCommands(CLI::App& app) {
  const auto a = std::make_shared<Arguments>();

  CLI::App* const nest =
      app.add_subcommand("nest", "Nest an FG below an SP or FG, an FC below an FG");
  AddParent(nest, *a);
  AddChild(nest, *a);
  nest->add_option("--match", a->rule, "the FG's values, such as dot1p:0-3,6 or group");
  Named(nest->add_option("--fp", a->fp, "the FP that the child uses"), "@fp")->required(false);
  nest->callback([a] { Nest(*a); });

  CLI::App* const unnest = app.add_subcommand("unnest", "Remove a nesting");
  AddParent(unnest, *a);
  AddChild(unnest, *a);
  unnest->add_option("--match", a->rule, "only if these are its values");
  unnest->callback([a] { Unnest(*a); });

  CLI::App* const match = AddGroup(app, "match", "Match rules of the children");
  CLI::App* const del =
      match->add_subcommand("del", "Remove a rule, and with it the child's nesting");
  del->alias("delete");
  AddParent(del, *a);
  del->add_option("RULE", a->rule, "such as dot1p:0-3,6")->required();
  del->callback([a] { DelMatch(*a); });
}

}  // namespace hqosctl
