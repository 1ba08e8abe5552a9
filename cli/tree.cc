#include "cli/tree.h"

#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/read.h"
#include "cli/rule_argument.h"

namespace hqosctl {

namespace {

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

// The children from position `at` on that are below `level`.
Output::Record Below(const std::vector<HQOS_SPSon>& sons, size_t& at, int level,
                     const AddMore& addMore) {
  Output::Record list = Output::Record::array();
  while (at < sons.size() && LevelOf(sons[at]) > level) {
    const size_t number = at++;
    const HQOS_SPSon& son = sons[number];
    const HQOS_SonCfg& cfg = son.cfg;
    Output::Record record = {{"words", son.words},
                             {"path", PathRecord(son.path)},
                             {"cfg",
                              {{"value1", cfg.value1},
                               {"value2", cfg.value2},
                               {"name1", cfg.name1},
                               {"name2", cfg.name2},
                               {"rule", RuleRecord(cfg.rule)}}}};
    addMore(number, record);
    record["children"] = Below(sons, at, LevelOf(son), addMore);
    list.push_back(std::move(record));
  }
  return list;
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

// Each line has those of the siblings still to come at every level above it.
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

Output::Record Nested(const std::vector<HQOS_SPSon>& sons, const AddMore& addMore) {
  size_t at = 0;
  return Below(sons, at, 0, addMore);
}

void AddTreeCommand(CLI::App& app, Output& output) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const tree = app.add_subcommand("tree", "Draw what is nested below the SP, or all SPs");
  Named(tree->add_option("SP", *name, "its name"), "@sp")->required(false);
  tree->callback([name, &output] { ShowTree(*name, output); });
}

}  // namespace hqosctl
