#include "cli/arguments.h"

#include <algorithm>

#include "hqos.h"

namespace hqosctl {

CLI::App* AddGroup(CLI::App& app, const std::string& name, const std::string& help) {
  CLI::App* const group = app.add_subcommand(name, help);
  group->callback([group] {
    if (group->get_subcommands().empty()) {
      throw CLI::RequiredError("A command of " + group->get_name());
    }
  });
  return group;
}

CLI::Option* Offer(CLI::Option* option, const std::string& source) {
  return option->check(
      CLI::Validator([](const std::string&) { return std::string(); }, "", source));
}

CLI::Option* AddName(CLI::App* command, std::string& name, const std::string& source) {
  return Named(command->add_option("NAME", name, "its name"), source);
}

CLI::Option* Named(CLI::Option* option, const std::string& source) {
  return Offer(option, source)
      ->required()
      ->check(CLI::Validator(
          [](const std::string& name) {
            const bool fits = !name.empty() && name.size() < HQOS_NAME_SIZE;
            return fits ? "" : "a name has 1 to " + std::to_string(HQOS_NAME_SIZE - 1) + " bytes";
          },
          ""));
}

CLI::Option* Numeric(CLI::Option* option, uint32_t max) {
  return option->check(CLI::Validator(
      [max](const std::string& text) {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        const bool isNumber = std::all_of(text.begin(), text.end(), isDigit) && !text.empty() &&
                              text.size() <= 10 && (text[0] != '0' || text.size() == 1);
        if (isNumber && std::stoull(text) <= max) return std::string();
        if (text.size() > 1 && text[0] == '0' && std::all_of(text.begin(), text.end(), isDigit)) {
          return "\"" + text + "\": a decimal number has no leading zeros";
        }
        return "\"" + text + "\" is not a decimal number from 0 to " + std::to_string(max);
      },
      ""));
}

void WithUnit(CLI::Option* option, int place, client::Quantity quantity) {
  option->transform(CLI::Validator(
                        [quantity](std::string& text) {
                          const bool hasUnit =
                              text.find_first_not_of("0123456789") != std::string::npos;
                          if (!hasUnit) return std::string();
                          const std::optional<uint32_t> number =
                              client::ParseQuantity(text, quantity);
                          if (!number)
                            return "\"" + text + "\" is not " + client::Describe(quantity);
                          text = std::to_string(*number);
                          return std::string();
                        },
                        "")
                        .application_index(place));
}

CLI::Option* Seconds(CLI::Option* option) {
  return option->type_name("SECONDS")->check(CLI::Validator(
      [](const std::string& text) {
        const bool isDecimal = text.find_first_not_of("0123456789.") == std::string::npos;
        char* end = nullptr;
        const double seconds = isDecimal ? std::strtod(text.c_str(), &end) : 0;
        const bool fits = isDecimal && *end == '\0' && seconds >= 0.01 && seconds <= 86400;
        return fits ? "" : "SECONDS is a decimal number from 0.01 to 86400";
      },
      ""));
}

std::string UsageText(const CLI::Error& error, const CLI::App& app) {
  const bool isExtra = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
  std::string unexpected;
  for (const std::string& one : isExtra ? app.remaining(true) : std::vector<std::string>()) {
    unexpected += (unexpected.empty() ? "" : " ") + one;
  }
  return unexpected.empty() ? error.what() : "not expected here: " + unexpected;
}

}  // namespace hqosctl
