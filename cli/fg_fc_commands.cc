// FGs and their children; FCs.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/read.h"
#include "cli/rule_argument.h"

namespace hqosctl {

namespace {

void ShowFGSons(const std::string& name, Output& output) {
  output.Begin({"KIND", "NAME", "ID", "RULE", "FP"});
  for (const HQOS_FGSon& son : ReadFGSons(ReadFGs(name)[0])) {
    output.Add({son.word == kFC ? "FC" : "FG", son.name1, std::to_string(son.key.field[1]),
                RuleText(son.rule), son.name2},
               {{"key", {{"field", son.key.field}}},
                {"word", son.word},
                {"name1", son.name1},
                {"rule", RuleRecord(son.rule)},
                {"name2", son.name2}});
  }
  output.End();
}

// Shows FGs or FCs.
template <class Info, std::vector<Info> (*read)(const std::string&)>
void ShowNamed(const std::string& name, Output& output) {
  output.Begin({"NAME", "ID"});
  for (const Info& info : read(name)) {
    output.Add({info.name, std::to_string(info.id)}, {{"name", info.name}, {"id", info.id}});
  }
  output.End();
}

}  // namespace

void AddFGCommands(CLI::App& app, Output& output) {
  CLI::App& fg = AddKind(
      app,
      {"fg", "FG", "FG objects", HQOS_lib_AddFG, HQOS_lib_DelFG, ShowNamed<HQOS_FGInfo, ReadFGs>},
      output);
  const auto name = std::make_shared<std::string>();
  CLI::App* const children = fg.add_subcommand("children", "List the FG's children");
  AddName(children, *name, "@fg");
  children->callback([name, &output] { ShowFGSons(*name, output); });
}

void AddFCCommands(CLI::App& app, Output& output) {
  AddKind(app,
          {"fc", "FC", "FC objects (nest and unnest create and delete them)", nullptr, nullptr,
           ShowNamed<HQOS_FCInfo, ReadFCs>},
          output);
}

}  // namespace hqosctl
