// hqosctl: command line of the hqos service.
#include <fstream>
#include <iostream>
#include <optional>

#include "cli/batch.h"
#include "cli/commands.h"
#include "cli/deadline.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace {

using hqosctl::Failure;

int RunBatchFile(const std::string& file, bool force, hqosctl::Output& output) {
  if (file == "-") return hqosctl::RunBatch(std::cin, "standard input", force, output);
  std::ifstream in(file);
  if (!in) throw Failure(hqosctl::kUsage, "cannot read " + file);
  return hqosctl::RunBatch(in, file, force, output);
}

int Run(int argc, char** argv, hqosctl::Output& output) {
  CLI::App app("Configures the hqos service and shows what it keeps.");
  app.set_version_flag("--version", "hqosctl " HQOS_VERSION);
  app.footer(
      "Exit status: 0 done, 1 refused by the service, 2 wrong usage, 3 no service, no answer in "
      "time, or no memory.");
  app.fallthrough();
  app.add_flag("--json", output.json, "listings as one JSON array");
  std::string batch;
  bool force = false;
  CLI::Option* const batchOption =
      app.add_option("--batch", batch,
                     "carry out the commands of FILE (-: standard input), one a line, "
                     "without options of hqosctl's own")
          ->type_name("FILE");
  app.add_flag("--force", force, "in a batch, go on behind a refusal")->needs(batchOption);
  std::optional<hqosctl::Deadline> deadline;
  const auto limit = [&](double seconds) {
    hqosctl::SetTimeout(seconds);
    deadline.emplace();
  };
  hqosctl::Seconds(app.add_option_function<double>(
      "--timeout", limit,
      "give up, with status 3, when a command (of a batch each, of a watch each round) takes "
      "longer; without it a service that does not answer is waited for"));
  app.require_subcommand(0, 1);
  hqosctl::AddCommands(app, output);
  for (CLI::App* const command : app.get_subcommands({})) command->excludes(batchOption);
  try {
    app.parse(argc, argv);
    if (batchOption->count() == 0 && app.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? hqosctl::kDone : hqosctl::kUsage;
  }
  deadline.reset();  // reading a batch is not counted
  return batchOption->count() == 0 ? hqosctl::kDone : RunBatchFile(batch, force, output);
}

}  // namespace

int main(int argc, char** argv) {
  hqosctl::Output output;
  int result = hqosctl::kDone;
  try {
    result = Run(argc, argv, output);
  } catch (const Failure& failure) {
    std::cerr << "hqosctl: " << failure.what() << '\n';
    result = failure.code();
  } catch (const std::bad_alloc&) {
    std::cerr << "hqosctl: out of memory\n";
    result = hqosctl::kNoService;
  }
  output.Finish();
  if (!std::cout.flush()) {
    std::cerr << "hqosctl: cannot write to standard output\n";
    if (result == hqosctl::kDone) result = hqosctl::kUsage;
  }
  return result;
}
