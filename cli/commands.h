// The commands that a line of arguments can hold.
#pragma once

#include <CLI/CLI.hpp>

namespace hqosctl {

class Output;

// Adds all commands to `app`. When its arguments are parsed, the command named there is carried
// out; it throws a Failure when it does not succeed.
void AddCommands(CLI::App& app, Output& output);

// The groups of commands.
void AddObjectCommands(CLI::App& app, Output& output);
void AddDebugCommands(CLI::App& app);
void AddSPCommands(CLI::App& sp, Output& output);
void AddFGCommands(CLI::App& fg, Output& output);
void AddFPCommands(CLI::App& fp, Output& output);
void AddDPCommands(CLI::App& dp, Output& output);
void AddFCCommands(CLI::App& app, Output& output);
void AddNestCommands(CLI::App& app);
void AddApplyCommands(CLI::App& app, Output& output);
void AddStatsCommands(CLI::App& app, Output& output);
void AddServiceCommands(CLI::App& app, Output& output);
void AddDbCommands(CLI::App& app, Output& output);
void AddRuleCommands(CLI::App& app, Output& output);
void AddTreeCommands(CLI::App& app, Output& output);

// A command that only holds others; one of them must follow.
CLI::App* AddGroup(CLI::App& app, const std::string& name, const std::string& help);

// Lets the option take object names only.
CLI::Option* Named(CLI::Option* option);

// Lets the option take decimal numbers up to `most` only.
CLI::Option* Numeric(CLI::Option* option, uint32_t most = UINT32_MAX);

// Lets the option take a time from 0.01 seconds to a day only.
CLI::Option* Seconds(CLI::Option* option);

}  // namespace hqosctl
