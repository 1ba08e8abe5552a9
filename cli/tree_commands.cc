// Showing the hierarchy: FGs, an FG's children, and the trees below SPs.
#include <iostream>
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/rule_text.h"

namespace hqosctl {

namespace {

void ShowFGSons(const std::string& name, Output& output) {
  output.Begin({"KIND", "NAME", "ID", "RULE", "FP"});
  for (const HQOS_FGSon& son : ReadFGSons(name)) {
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

int LevelOf(const HQOS_SPSon& son) {
  int level = 1;
  while (level < 5 && son.path.field[level + 1] != HQOS_PATH_UNSET) ++level;
  return level;
}

std::string Label(const HQOS_SPSon& son) {
  std::string label = (son.cfg.value2 == kFC ? "FC " : "FG ") + std::string(son.cfg.name1);
  const std::string rule = RuleText(son.cfg.rule);
  if (!rule.empty()) label += "  " + rule;
  if (son.cfg.name2[0] != '\0') label += "  FP " + std::string(son.cfg.name2);
  return label;
}

// Draws the children, which come depth first: each with the lines of the siblings still to come.
std::vector<std::string> Draw(const std::vector<HQOS_SPSon>& sons) {
  std::vector<std::string> lines(sons.size());
  bool more[7] = {};  // whether a sibling follows at that level; read from the last line up
  for (size_t i = sons.size(); i-- > 0;) {
    const int level = LevelOf(sons[i]);
    std::string line;
    for (int above = 1; above < level; ++above) line += more[above] ? "│  " : "   ";
    lines[i] = line + (more[level] ? "├─ " : "└─ ") + Label(sons[i]);
    more[level] = true;
    for (int below = level + 1; below < 7; ++below) more[below] = false;
  }
  return lines;
}

// The children from position `at` on that stand below `level`, nested.
Output::Record Nested(const std::vector<HQOS_SPSon>& sons, size_t& at, int level) {
  Output::Record list = Output::Record::array();
  while (at < sons.size() && LevelOf(sons[at]) > level) {
    const HQOS_SPSon& son = sons[at++];
    const HQOS_SonCfg& cfg = son.cfg;
    Output::Record record = {{"words", son.words},
                             {"path", PathRecord(son.path)},
                             {"cfg",
                              {{"value1", cfg.value1},
                               {"value2", cfg.value2},
                               {"name1", cfg.name1},
                               {"name2", cfg.name2},
                               {"rule", RuleRecord(cfg.rule)}}}};
    record["children"] = Nested(sons, at, LevelOf(son));
    list.push_back(std::move(record));
  }
  return list;
}

void ShowTree(const std::string& name, Output& output) {
  output.Begin({});
  for (const HQOS_SPInfo& sp : ReadSPs(name)) {
    const std::vector<HQOS_SPSon> sons = ReadSPSons(sp);
    size_t at = 0;
    output.Line("SP " + std::string(sp.name),
                {{"name", sp.name}, {"id", sp.id}, {"children", Nested(sons, at, 0)}});
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
