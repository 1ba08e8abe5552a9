// The whole hierarchy as a file.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/config_file.h"

namespace hqosctl {

void AddConfigCommands(CLI::App& app, Output& /*output*/) {
  CLI::App* const config = AddGroup(app, "config", "The whole hierarchy as a file");
  const auto file = std::make_shared<std::string>();
  CLI::App* const validate =
      config->add_subcommand("validate", "List what is wrong with the file; no service is needed");
  validate->add_option("FILE", *file, "the file; -: standard input")->required();
  validate->callback([file] { ReadModelFile(*file, true); });
}

}  // namespace hqosctl
