// Applying SPs and showing where they are applied.
#include <memory>

#include "cli/apply_target.h"
#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/records.h"

namespace hqosctl {

namespace {

void ShowApplied(const ApplyTarget& target, Output& output) {
  output.Begin({"OBJECT", "DIRECTION", "SP"});
  for (const HQOS_ApplyInfo& info : target.ReadApplied(false)) {
    output.Add({ObjectText(info.obj), DirectionText(info.obj), info.sp.name}, ApplyRecord(info));
  }
  output.End();
}

}  // namespace

void AddApplyCommands(CLI::App& app, Output& output) {
  struct Arguments {
    std::string sp;
    ApplyTarget target;
  };
  const auto add = [&app](const char* name, const char* help) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const sp = AddGroup(app, name, help)->add_subcommand("sp", help);
    Named(sp->add_option("NAME", arguments->sp, "the SP's name"), "@sp");
    arguments->target.AddOptions(*sp, true);
    return std::pair(sp, arguments);
  };

  const auto [apply, applied] = add("apply", "Apply an SP");
  apply->callback([a = applied] {
    const HQOS_AppObj obj = a->target.Existing();
    Do(HQOS_lib_ApplySP, &obj, a->sp);
  });

  const auto [unapply, unapplied] = add("unapply", "Remove an SP from where it is applied");
  unapply->callback([a = unapplied] {
    const HQOS_AppObj obj = a->target.Any();
    Do(HQOS_lib_UndoApplySP, &obj, a->sp);
  });

  const auto target = std::make_shared<ApplyTarget>();
  CLI::App* const show =
      app.add_subcommand("applied", "Show what is applied to the object, or to all interfaces");
  target->AddOptions(*show, false);
  show->callback([target, &output] { ShowApplied(*target, output); });
}

}  // namespace hqosctl
