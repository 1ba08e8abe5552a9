// FGs and their children; FCs.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/read.h"
#include "cli/records.h"
#include "cli/rule_argument.h"

namespace hqosctl {

namespace {

void ShowFGSons(const std::string& name, Output& output) {
  output.Begin({"KIND", "NAME", Number("ID"), "RULE", "FP"});
  for (const HQOS_FGSon& son : ReadFGSons(ReadFGs(name)[0])) {
    const uint16_t id = son.key.field[1];
    Output::Record record = ChildRecord(son.word, son.name1, son.rule, son.name2);
    record["id"] = id;
    output.Add({son.word == kFC ? "FC" : "FG", son.name1, std::to_string(id), RuleText(son.rule),
                son.name2},
               std::move(record));
  }
  output.End();
}

// Shows FGs or FCs.
template <class Info, std::vector<Info> (*read)(const std::string&)>
void ShowNamed(const std::string& name, Output& output) {
  output.Begin({"NAME", Number("ID")});
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
