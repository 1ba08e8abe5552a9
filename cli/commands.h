// The commands that a line of arguments can hold.
#pragma once

#include <CLI/CLI.hpp>

#include "hqos.h"

namespace hqosctl {

class Output;

// Adds all commands to `app`. When its arguments are parsed, the command named there is carried
// out; it throws a Failure when it does not succeed.
void AddCommands(CLI::App& app, Output& output);

// The groups of commands.
void AddSPCommands(CLI::App& app, Output& output);
void AddFGCommands(CLI::App& app, Output& output);
void AddFCCommands(CLI::App& app, Output& output);
void AddFPCommands(CLI::App& app, Output& output);
void AddDPCommands(CLI::App& app, Output& output);
void AddNestCommands(CLI::App& app);
void AddApplyCommands(CLI::App& app, Output& output);
void AddStatsCommands(CLI::App& app, Output& output);
void AddTreeCommand(CLI::App& app, Output& output);
void AddRuleCommands(CLI::App& app, Output& output);
void AddDbCommands(CLI::App& app, Output& output);
void AddServiceCommands(CLI::App& app, Output& output);
void AddViewCommand(CLI::App& app, Output& output);
void AddRandomCommand(CLI::App& app, Output& output);
void AddDebugCommands(CLI::App& app);
void AddConfigCommands(CLI::App& app, Output& output);
void AddMetricsCommand(CLI::App& app);

// A kind of object. Those that are made by nesting have no `add` and `del`.
struct Kind {
  const char* command;
  const char* title;
  const char* help;
  uint32_t (*add)(const char* name, uint16_t id, HQOS_Result* result);
  uint32_t (*del)(const char* name, HQOS_Result* result);
  void (*show)(const std::string& name, Output& output);  // all objects when `name` is empty
  void (*showUsers)(const std::string& name, Output& output) = nullptr;  // what uses the object
};

// Shows the FPs that refer to the DP.
void ShowUsersOfDP(const std::string& name, Output& output);

// The group of the kind's commands, with those that all kinds have.
CLI::App& AddKind(CLI::App& app, const Kind& kind, Output& output);

}  // namespace hqosctl
