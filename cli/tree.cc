#include "cli/tree.h"

#include <langinfo.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/read.h"
#include "cli/records.h"
#include "client/rule_text.h"
#include "client/write_model.h"

namespace hqosctl {

namespace {

int LevelOf(const HQOS_SPSon& son) {
  int level = 1;
  while (level < 5 && son.path.field[level + 1] != HQOS_PATH_UNSET) ++level;
  return level;
}

std::string Label(const HQOS_SPSon& son) {
  std::string label = (son.cfg.value2 == kFC ? "FC " : "FG ") + std::string(son.cfg.name1);
  const std::string rule = client::RuleText(son.cfg.rule);
  if (!rule.empty()) label += "  " + rule;
  if (son.cfg.name2[0] != '\0') label += "  FP " + std::string(son.cfg.name2);
  return label;
}

// What lines are drawn with.
struct Strokes {
  const char *child, *last, *past, *blank;
};

const Strokes& StrokesOfLocale() {
  static constexpr Strokes kUtf8{"├─ ", "└─ ", "│  ", "   "}, kAscii{"|- ", "`- ", "|  ", "   "};
  return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? kUtf8 : kAscii;
}

// A tree below the object that `head` describes and `title` names.
void Show(const std::string& title, const Output::Record& head, const std::vector<HQOS_SPSon>& sons,
          Output& output) {
  if (output.json) {
    std::string text = head.dump();
    text.pop_back();
    std::ostream& out = output.Element() << text << ",\"children\":";
    WriteNested(sons, out);
    out << '}';
    return;
  }
  output.Line(title);
  for (const std::string& line : Draw(sons)) output.Line(line);
}

void ShowTree(const std::string& name, Output& output) {
  output.Begin({});
  for (const HQOS_SPInfo& sp : ReadSPs(name)) {
    Output::Record head = {{"sp", client::Utf8(sp.name)}, {"id", sp.id}};
    Show("SP " + std::string(sp.name), head, ReadSPSons(sp), output);
  }
  output.End();
}

void ShowFGTree(const std::string& name, Output& output) {
  output.Begin({});
  const HQOS_FGInfo fg = ReadFGs(name)[0];
  Output::Record head = {{"fg", client::Utf8(fg.name)}, {"id", fg.id}};
  Show("FG " + name, head, ReadFGTree(fg), output);
  output.End();
}

}  // namespace

// Each line has those of the siblings still to come at every level above it.
std::vector<std::string> Draw(const std::vector<HQOS_SPSon>& sons) {
  const Strokes& strokes = StrokesOfLocale();
  std::vector<std::string> lines(sons.size());
  bool more[7] = {};  // whether a sibling follows at that level; read from the last line up
  for (size_t i = sons.size(); i-- > 0;) {
    const int level = LevelOf(sons[i]);
    std::string line;
    for (int above = 1; above < level; ++above) line += more[above] ? strokes.past : strokes.blank;
    lines[i] = line + (more[level] ? strokes.child : strokes.last) + Label(sons[i]);
    more[level] = true;
    for (int below = level + 1; below < 7; ++below) more[below] = false;
  }
  return lines;
}

// A level deeper than the one after the last is taken for that one.
void WriteNested(const std::vector<HQOS_SPSon>& sons, std::ostream& out) {
  out << '[';
  int level = 1;
  for (size_t i = 0; i < sons.size(); ++i) {
    const bool isLast = i + 1 == sons.size();
    const int next = isLast ? 1 : std::min(LevelOf(sons[i + 1]), level + 1);
    std::string text = ChildRecord(sons[i]).dump();
    if (next > level) {
      text.pop_back();
      out << text << ",\"children\":[";
    } else {
      out << text;
      for (; level > next; --level) out << "]}";
      if (!isLast) out << ',';
    }
    level = next;
  }
  out << ']';
}

void AddTreeCommand(CLI::App& app, Output& output) {
  struct Arguments {
    std::string sp, fg;
  };
  const auto a = std::make_shared<Arguments>();
  CLI::App* const tree = app.add_subcommand("tree", "Draw what is nested below the SP, or all SPs");
  CLI::Option* const sp = Named(tree->add_option("SP", a->sp, "its name"), "@sp")->required(false);
  Named(tree->add_option("--fg", a->fg, "below this FG instead"), "@fg")
      ->required(false)
      ->type_name("NAME")
      ->excludes(sp);
  tree->callback(
      [a, &output] { a->fg.empty() ? ShowTree(a->sp, output) : ShowFGTree(a->fg, output); });
}

}  // namespace hqosctl
