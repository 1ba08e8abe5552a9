#include "cli/commands.h"

#include <memory>

#include "cli/arguments.h"
#include "cli/failure.h"

namespace hqosctl {

void AddCommands(CLI::App& app, Output& output) {
  AddSPCommands(app, output);
  AddFGCommands(app, output);
  AddFCCommands(app, output);
  AddFPCommands(app, output);
  AddDPCommands(app, output);
  AddNestCommands(app);
  AddApplyCommands(app, output);
  AddStatsCommands(app, output);
  AddTreeCommand(app, output);
  AddRuleCommands(app, output);
  AddDbCommands(app, output);
  AddServiceCommands(app, output);
  AddViewCommand(app, output);
  AddRandomCommand(app, output);
  AddDebugCommands(app);
  AddConfigCommands(app, output);
  AddMetricsCommand(app);
}

CLI::App& AddKind(CLI::App& app, const Kind& kind, Output& output) {
  struct Arguments {
    std::string name;
    uint16_t id = HQOS_ID_NONE;
    bool users = false;
  };
  const auto a = std::make_shared<Arguments>();
  const std::string title = kind.title, source = std::string("@") + kind.command;
  CLI::App* const group = AddGroup(app, kind.command, kind.help);
  if (kind.add != nullptr) {
    CLI::App* const add = group->add_subcommand("add", "Create the " + title);
    AddName(add, a->name, "");
    Numeric(add->add_option("--id", a->id, "its identifier; the lowest free one by default"),
            HQOS_ID_NONE - 1);
    add->callback([a, command = kind.add] { Do(command, a->name, a->id); });

    CLI::App* const del = group->add_subcommand("del", "Delete the " + title);
    del->alias("delete");
    AddName(del, a->name, source);
    del->callback([a, command = kind.del] { Do(command, a->name); });
  }
  CLI::App* const show =
      group->add_subcommand("show", "Show the " + title + ", or all " + title + "s");
  show->alias("list");
  CLI::Option* const name = AddName(show, a->name, source)->required(false);
  if (kind.showUsers != nullptr) {
    show->add_flag("--users", a->users, "what uses it")->needs(name);
  }
  show->callback([a, kind, &output] { (a->users ? kind.showUsers : kind.show)(a->name, output); });
  return *group;
}

}  // namespace hqosctl
