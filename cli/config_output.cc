#include "cli/config_output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace hqosctl {

namespace {

using client::Change;

struct Style {
  const char* name;
  char sign;
  const char* colour;
};
constexpr Style kStyles[] = {
    {"remove", '-', "\033[31m"}, {"add", '+', "\033[32m"}, {"change", '~', "\033[33m"}};

bool IsColoured() {
  const char* const term = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr && term != nullptr &&
         std::string(term) != "dumb";
}

std::string Line(const Change& change) {
  std::string text = std::string(change.kind) + ' ' + change.name;
  if (!change.key.empty()) text += ": " + change.key;
  if (!change.before.is_null()) text += ' ' + client::Inline(change.before);
  if (change.op == Change::kChange) text += " ->";
  if (!change.after.is_null()) text += ' ' + client::Inline(change.after);
  return text;
}

client::Record ToJson(const Change& change) {
  client::Record record = {
      {"op", kStyles[change.op].name}, {"kind", change.kind}, {"name", change.name}};
  if (!change.key.empty()) record["key"] = change.key;
  if (!change.before.is_null()) record["old"] = change.before;
  if (!change.after.is_null()) record["new"] = change.after;
  return record;
}

}  // namespace

void PrintChanges(const std::vector<Change>& changes, Output& output) {
  output.Begin({});
  if (output.json) {
    for (const Change& change : changes) output.Element() << ToJson(change).dump();
    return;
  }
  const bool isColoured = IsColoured();
  for (const Change& change : changes) {
    const Style& style = kStyles[change.op];
    if (isColoured) std::cout << style.colour;
    std::cout << style.sign << ' ' << Line(change) << (isColoured ? "\033[0m\n" : "\n");
  }
}

std::string Summary(const std::vector<Change>& changes) {
  std::string text;
  for (const Change::Op op : {Change::kRemove, Change::kAdd, Change::kChange}) {
    const auto count = std::count_if(changes.begin(), changes.end(),
                                     [op](const Change& change) { return change.op == op; });
    if (count == 0) continue;
    if (!text.empty()) text += ", ";
    text += std::to_string(count) + " to " + kStyles[op].name;
  }
  return text;
}

}  // namespace hqosctl
