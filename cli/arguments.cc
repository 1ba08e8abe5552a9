#include "cli/arguments.h"

#include <algorithm>
#include <charconv>

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

CLI::Option* Numeric(CLI::Option* option, uint64_t max) {
  return option->check(CLI::Validator(
      [max](const std::string& text) {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        const bool hasDigits = std::all_of(text.begin(), text.end(), isDigit) && !text.empty();
        const bool hasZero = text.size() > 1 && text[0] == '0';
        uint64_t number = 0;
        const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
        if (hasDigits && !hasZero && read.ec == std::errc() && number <= max) return std::string();
        if (hasDigits && hasZero) {
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

namespace {

bool Is(const CLI::Error& error, CLI::ExitCodes code) {
  return error.get_exit_code() == static_cast<int>(code);
}

std::string CommandNames(const CLI::App& app) {
  std::string names;
  for (const CLI::App* one : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!one->get_name().empty()) names += (names.empty() ? "" : ", ") + one->get_name();
  }
  return names;
}

// "--queue takes 3 numbers: NUMBER,KIND,WEIGHT", of the option that the error's text begins with.
std::string FormText(const std::string& text, const CLI::App& command, const CLI::App& app) {
  const std::string name = text.substr(0, text.find(':'));
  const CLI::Option* option = command.get_option_no_throw(name);
  if (option == nullptr) option = app.get_option_no_throw(name);
  if (option == nullptr) return text;
  const int count = option->get_items_expected_min();
  const std::string form =
      option->get_option_text().empty() ? option->get_type_name() : option->get_option_text();
  return name + " takes " + (count == 1 ? "a value" : std::to_string(count) + " numbers") +
         (form.empty() ? "" : ": " + form);
}

// "Exactly 1 option from [--a,--b] is required" and how many were given, in other words.
std::string ChoiceText(const std::string& text) {
  const size_t begin = text.find('['), end = text.find(']');
  if (begin == std::string::npos || end == std::string::npos) return text;
  std::string names = text.substr(begin + 1, end - begin - 1);
  for (size_t at = 0; (at = names.find(',', at)) != std::string::npos; at += 2) {
    names.replace(at, 1, ", ");
  }
  return "exactly one of these is needed: " + names;
}

// Words that nothing takes. They may be in the place of a command, of which `names` are the known.
std::string ExtrasText(const std::vector<std::string>& extras, const std::string& names) {
  const std::string& first = extras.front();
  if (!names.empty() && !first.starts_with('-')) {
    return "unknown command " + first + names;
  }
  if (first.starts_with('-')) return "unknown option " + first;
  std::string words;
  for (const std::string& one : extras) words += ' ' + one;
  return "not expected here:" + words;
}

}  // namespace

std::string UsageText(const CLI::Error& error, const CLI::App& app) {
  const CLI::App* command = &app;
  std::string path;
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
    path += ' ' + command->get_name();
  }
  const std::string what = error.what();
  std::string names = CommandNames(*command);
  if (!names.empty()) names = (path.empty() ? ";" : "; after" + path) + " there are: " + names;
  const std::string help = "; see: hqosctl" + path + " --help";
  const std::vector<std::string> extras = app.remaining(true);
  if (Is(error, CLI::ExitCodes::ExtrasError) && !extras.empty()) {
    const std::string text = ExtrasText(extras, names);
    return text.starts_with("unknown command") ? text : text + help;
  }
  if (Is(error, CLI::ExitCodes::RequiredError) && !names.empty()) {
    return "a command is needed" + names;
  }
  if (Is(error, CLI::ExitCodes::ArgumentMismatch)) return FormText(what, *command, app);
  if (Is(error, CLI::ExitCodes::RequiredError)) return ChoiceText(what) + help;
  return what + help;
}

std::vector<std::string> WithHelp(const CLI::App& app, std::vector<std::string> words) {
  const CLI::App* command = &app;
  for (size_t i = 0; i < words.size() && !CommandNames(*command).empty(); ++i) {
    if (words[i] == "help") {
      words.erase(words.begin() + static_cast<std::ptrdiff_t>(i));
      words.emplace_back("--help");
      return words;
    }
    if (words[i].starts_with('-')) continue;
    const auto found = command->get_subcommands(
        [&word = words[i]](const CLI::App* one) { return one->check_name(word); });
    if (found.empty()) break;
    command = found.front();
  }
  return words;
}

}  // namespace hqosctl
