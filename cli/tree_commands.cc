// Showing the hierarchy: FGs, an FG's children, and the trees below SPs.
#include <iostream>
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/rule_text.h"
#include "cli/tree.h"

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

// FGs or FCs.
template <class Info>
void ShowNamed(const std::vector<Info>& infos, Output& output) {
  output.Begin({"NAME", "ID"});
  for (const Info& info : infos) {
    output.Add({info.name, std::to_string(info.id)}, {{"name", info.name}, {"id", info.id}});
  }
  output.End();
}

void ShowTree(const std::string& name, Output& output) {
  output.Begin({});
  for (const HQOS_SPInfo& sp : ReadSPs(name)) {
    const std::vector<HQOS_SPSon> sons = ReadSPSons(sp);
    const auto nothing = [](size_t, Output::Record&) {};
    output.Line("SP " + std::string(sp.name),
                {{"name", sp.name}, {"id", sp.id}, {"children", Nested(sons, nothing)}});
    for (const std::string& line : Draw(sons)) output.Line(line);
  }
  output.End();
}

}  // namespace

void AddFGCommands(CLI::App& fg, Output& output) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const show = fg.add_subcommand("show", "Show the FG, or all FGs");
  Named(show->add_option("NAME", *name, "its name"))->required(false);
  show->callback([name, &output] { ShowNamed(ReadFGs(*name), output); });

  CLI::App* const children = fg.add_subcommand("children", "List the FG's children");
  Named(children->add_option("NAME", *name, "its name"));
  children->callback([name, &output] { ShowFGSons(*name, output); });
}

void AddFCCommands(CLI::App& app, Output& output) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const fc = AddGroup(app, "fc", "FC objects (nest and unnest make and remove them)");
  CLI::App* const show = fc->add_subcommand("show", "Show the FC, or all FCs");
  Named(show->add_option("NAME", *name, "its name"))->required(false);
  show->callback([name, &output] { ShowNamed(ReadFCs(*name), output); });
}

void AddTreeCommands(CLI::App& app, Output& output) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const tree = app.add_subcommand("tree", "Draw what is nested below the SP, or all SPs");
  Named(tree->add_option("SP", *name, "its name"))->required(false);
  tree->callback([name, &output] { ShowTree(*name, output); });
}

}  // namespace hqosctl
