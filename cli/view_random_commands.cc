// Names of views taken apart, and random numbers; no service is needed.
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/rule_argument.h"

namespace hqosctl {

namespace {

void ShowView(const std::string& view, Output& output) {
  char kind[HQOS_VIEW_OBJ_SIZE], name[HQOS_NAME_SIZE], subName[HQOS_SUBVIEW_NAME_SIZE];
  HQOS_MatchRule rule{HQOS_MATCH_NONE, {}};
  // A sub view ends with a rule in its text form, which begins with four digits.
  const size_t ruleAt = view.size() - std::min<size_t>(view.size(), HQOS_MATCHRULE_STR_LEN);
  const bool isSub = ruleAt > 0 && view[ruleAt - 1] == '-' &&
                     view.substr(ruleAt, 4).find_first_not_of("0123456789") == std::string::npos &&
                     HQOS_util_GetInfoBySubCmdView(view.c_str(), kind, subName, &rule) == 0;
  if (!isSub && HQOS_util_GetObjByCmdView(view.c_str(), kind, name) != 0) {
    throw Failure(
        kUsage,
        "a view is called <first>-<object kind>-<name>, or <first>-<object kind>-<name>-<rule>");
  }
  const std::string shown = isSub ? subName : name;
  output.Begin({"KIND", "NAME", "RULE"});
  Output::Record record = {{"kind", kind}, {"name", shown}};
  if (isSub) record["match"] = RuleText(rule);
  output.Add({kind, shown, RuleText(rule)}, std::move(record));
  output.End();
}

void ShowRandom(Output& output) {
  const uint32_t number = HQOS_util_GetRandom();
  output.Begin({});
  output.Line(std::to_string(number), {{"random", number}});
  output.End();
}

}  // namespace

void AddViewCommand(CLI::App& app, Output& output) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const view = app.add_subcommand("view", "Take the name of a view or sub view apart");
  view->add_option("NAME", *name, "the view's name")->required();
  view->callback([name, &output] { ShowView(*name, output); });
}

void AddRandomCommand(CLI::App& app, Output& output) {
  app.add_subcommand("random", "Draw a random number from 1 to 65535")->callback([&output] {
    ShowRandom(output);
  });
}

}  // namespace hqosctl
