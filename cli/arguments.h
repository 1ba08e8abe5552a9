// Arguments that commands have in common, and what they accept.
#pragma once

#include <CLI/CLI.hpp>

#include "client/quantity.h"

namespace hqosctl {

// A command that only holds others; one of them must follow.
CLI::App* AddGroup(CLI::App& app, const std::string& name, const std::string& help);

// Makes completion offer what `source` names: "@sp" the SPs and so on, "@kind" the objects of the
// kind that the word before names, "@interface", "@revision", "@file", "" nothing, or the words in
// `source`.
CLI::Option* Offer(CLI::Option* option, const std::string& source);

// The required argument NAME, an object's name, with what completion offers.
CLI::Option* AddName(CLI::App* command, std::string& name, const std::string& source);

// Makes the option required, and lets it take object names only.
CLI::Option* Named(CLI::Option* option, const std::string& source);

// Lets the option take decimal numbers up to `max` only.
CLI::Option* Numeric(CLI::Option* option, uint64_t max = UINT32_MAX);

// Lets the number at this place of a numeric option have a unit.
void WithUnit(CLI::Option* option, int place, client::Quantity quantity);

// Lets the option take a time from 0.01 seconds to a day only.
CLI::Option* Seconds(CLI::Option* option);

// What is wrong with the arguments that the app has parsed, and what to do.
std::string UsageText(const CLI::Error& error, const CLI::App& app);

// The arguments with --help at the end for the word "help" in the place of a command.
std::vector<std::string> WithHelp(const CLI::App& app, std::vector<std::string> words);

}  // namespace hqosctl
