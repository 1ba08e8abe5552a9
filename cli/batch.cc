#include "cli/batch.h"

#include <iostream>

#include "cli/commands.h"
#include "cli/deadline.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace hqosctl {

namespace {

// The line without its comment: from a # at its beginning or after a blank, outside quotes.
std::string WithoutComment(const std::string& line) {
  char quote = '\0';
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '#' && (i == 0 || std::isspace(static_cast<unsigned char>(line[i - 1])))) {
      return line.substr(0, i);
    }
  }
  return line;
}

// Runs one line. Returns its exit code; `error` says why it failed.
ExitCode RunLine(const std::string& line, Output& output, std::string& error) {
  CLI::App app("a command of hqosctl");
  app.set_help_flag();
  AddCommands(app, output);
  RestartTimeout();
  try {
    app.parse(line);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
    return kDone;
  } catch (const CLI::ParseError& e) {
    error = e.what();
    return kUsage;
  } catch (const Failure& failure) {
    error = failure.what();
    return failure.code();
  }
}

}  // namespace

int RunBatch(std::istream& in, const std::string& file, bool force, Output& output) {
  output.Begin({});  // without any listing, an empty array
  int result = kDone;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const std::string command = WithoutComment(line);
    if (command.find_first_not_of(" \t\r") == std::string::npos) continue;
    std::string error;
    const ExitCode code = RunLine(command, output, error);
    if (code == kDone) continue;
    std::cout.flush();
    std::cerr << "hqosctl: " << file << ':' << number << ": " << error << '\n';
    if (result == kDone) result = code;
    if (!force || code == kNoService) break;
  }
  if (in.bad()) throw Failure(kUsage, "cannot read " + file);
  return result;
}

}  // namespace hqosctl
