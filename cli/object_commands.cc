// add and del, for every kind of object.
#include <algorithm>
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "hqos.h"

namespace hqosctl {

namespace {

struct Kind {
  const char* command;
  const char* title;
  uint32_t (*add)(const char* name, uint16_t id, HQOS_Result* result);
  uint32_t (*del)(const char* name, HQOS_Result* result);
};

constexpr Kind kKinds[] = {
    {"sp", "SP", HQOS_lib_AddSP, HQOS_lib_DelSP},
    {"fg", "FG", HQOS_lib_AddFG, HQOS_lib_DelFG},
    {"fp", "FP", HQOS_lib_AddFP, HQOS_lib_DelFP},
    {"dp", "DP", HQOS_lib_AddDP, HQOS_lib_DelDP},
};

struct Arguments {
  std::string name;
  uint16_t id = HQOS_ID_NONE;
};

CLI::App* AddKind(CLI::App& app, const Kind& kind) {
  const std::string title = kind.title;
  CLI::App* const group = AddGroup(app, kind.command, title + " objects");
  const auto arguments = std::make_shared<Arguments>();

  CLI::App* const add = group->add_subcommand("add", "Create the " + title);
  Named(add->add_option("NAME", arguments->name, "its name"));
  Numeric(
      add->add_option("--id", arguments->id, "its identifier; without it, the lowest that is free"),
      HQOS_ID_NONE - 1);
  add->callback([arguments, &kind] {
    HQOS_Result result{};
    CheckCommand(kind.add(arguments->name.c_str(), arguments->id, &result), result);
  });

  CLI::App* const del = group->add_subcommand("del", "Delete the " + title);
  Named(del->add_option("NAME", arguments->name, "its name"));
  del->callback([arguments, &kind] {
    HQOS_Result result{};
    CheckCommand(kind.del(arguments->name.c_str(), &result), result);
  });
  return group;
}

}  // namespace

CLI::App* AddGroup(CLI::App& app, const std::string& name, const std::string& help) {
  CLI::App* const group = app.add_subcommand(name, help);
  group->callback([group] {
    if (group->get_subcommands().empty()) {
      throw CLI::RequiredError("A command of " + group->get_name());
    }
  });
  return group;
}

CLI::Option* Named(CLI::Option* option) {
  return option->required()->check(CLI::Validator(
      [](const std::string& name) {
        const bool fits = !name.empty() && name.size() < HQOS_NAME_SIZE;
        return fits ? "" : "a name has 1 to " + std::to_string(HQOS_NAME_SIZE - 1) + " characters";
      },
      ""));
}

CLI::Option* Numeric(CLI::Option* option, uint32_t most) {
  return option->check(CLI::Validator(
      [most](const std::string& text) {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        const bool isNumber = std::all_of(text.begin(), text.end(), isDigit) && !text.empty() &&
                              text.size() <= 10 && (text[0] != '0' || text.size() == 1);
        if (isNumber && std::stoull(text) <= most) return std::string();
        return "\"" + text + "\" is not a decimal number from 0 to " + std::to_string(most);
      },
      ""));
}

CLI::Option* Seconds(CLI::Option* option) {
  return option->type_name("SECONDS")->check(CLI::Validator(
      [](const std::string& text) {
        const bool isDecimal = text.find_first_not_of("0123456789.") == std::string::npos;
        char* end = nullptr;
        const double seconds = isDecimal ? std::strtod(text.c_str(), &end) : 0;
        const bool fits = isDecimal && *end == '\0' && seconds >= 0.01 && seconds <= 86400;
        return fits ? "" : "SECONDS are a decimal number from 0.01 to 86400";
      },
      ""));
}

void AddObjectCommands(CLI::App& app, Output& output) {
  for (const Kind& kind : kKinds) {
    CLI::App* const group = AddKind(app, kind);
    if (kind.add == HQOS_lib_AddSP) AddSPCommands(*group, output);
    if (kind.add == HQOS_lib_AddFG) AddFGCommands(*group, output);
    if (kind.add == HQOS_lib_AddFP) AddFPCommands(*group, output);
    if (kind.add == HQOS_lib_AddDP) AddDPCommands(*group, output);
  }
}

void AddCommands(CLI::App& app, Output& output) {
  AddObjectCommands(app, output);
  AddFCCommands(app, output);
  AddNestCommands(app);
  AddApplyCommands(app, output);
  AddStatsCommands(app, output);
  AddTreeCommands(app, output);
  AddRuleCommands(app, output);
  AddDbCommands(app, output);
  AddServiceCommands(app, output);
  AddDebugCommands(app);
}

}  // namespace hqosctl
