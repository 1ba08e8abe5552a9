// Switching the service's debugging.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "hqos.h"
#include "hqosd.h"

namespace hqosctl {

void AddDebugCommands(CLI::App& app) {
  CLI::App* const group =
      AddGroup(app, "debug", "Debugging facilities of the service (its verdict is not reported)");
  const auto selector = std::make_shared<uint32_t>();
  const auto add = [&](const char* name, const char* help, uint32_t (*call)(uint32_t)) {
    CLI::App* const command = group->add_subcommand(name, help);
    Offer(
        command->add_option("SELECTOR", *selector, "requests, bytes, all, or the number of others"),
        "requests bytes all")
        ->required()
        ->transform(CLI::Transformer(std::map<std::string, uint32_t>{
                                         {"requests", HQOSD_DEBUG_REQUESTS},
                                         {"bytes", HQOSD_DEBUG_BYTES},
                                         {"all", HQOSD_DEBUG_REQUESTS | HQOSD_DEBUG_BYTES}})
                        .description(""))
        ->check(CLI::Validator(
            [](const std::string& text) {
              uint32_t number = 0;
              return CLI::detail::lexical_cast(text, number)
                         ? ""
                         : "\"" + text + "\" is none of requests, bytes, all, and no number";
            },
            ""));
    command->callback([selector, call] { CheckCommand(call(*selector), {}); });
  };
  add("on", "Switch a facility on", HQOS_lib_SetDebug);
  add("off", "Switch a facility off", HQOS_lib_ResetDebug);
}

}  // namespace hqosctl
