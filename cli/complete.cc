#include "cli/complete.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <sstream>

#include "cli/apply_target.h"
#include "cli/deadline.h"
#include "cli/exchange.h"
#include "cli/failure.h"
#include "cli/read.h"

namespace hqosctl {

namespace {

constexpr double kTimeout = 0.2;  // seconds for the service, however much is asked
constexpr auto kAll = [](CLI::App*) { return true; };
constexpr char kFiles[] = "";  // the candidate that means file names

struct Candidate {
  std::string word, about;
};
using Candidates = std::vector<Candidate>;

template <auto read>
Candidates Objects() {
  Candidates candidates;
  for (const auto& object : read("")) candidates.push_back({object.name, ""});
  return candidates;
}

Candidates Interfaces() {
  Candidates candidates;
  for (const std::string& name : InterfaceNames()) candidates.push_back({name, ""});
  for (const HQOS_ApplyInfo& info : ApplyTarget().ReadApplied(false)) {
    candidates.push_back({info.obj.name, ""});
  }
  return candidates;
}

Candidates Revisions() {
  Candidates candidates;
  for (const HistoryEntry& entry : ReadHistory()) {
    candidates.push_back({std::to_string(entry.revision), entry.comment});
  }
  return candidates;
}

Candidates Files() { return {{kFiles, ""}}; }

constexpr struct {
  const char* name;
  Candidates (*read)();
} kSources[] = {{"@sp", Objects<ReadSPs>}, {"@fg", Objects<ReadFGs>}, {"@fc", Objects<ReadFCs>},
                {"@fp", Objects<ReadFPs>}, {"@dp", Objects<ReadDPs>}, {"@interface", Interfaces},
                {"@revision", Revisions},  {"@file", Files}};

// The candidates of a source; `before` is the word before.
Candidates Read(std::string source, const std::string& before) {
  if (source == "@kind") source = '@' + before;
  for (const auto& known : kSources) {
    if (source == known.name) return known.read();
  }
  Candidates candidates;
  std::replace(source.begin(), source.end(), ',', ' ');
  std::istringstream words(source);
  for (std::string word; words >> word;) candidates.push_back({word, ""});
  return candidates;
}

// What an option offers: what Offer was given, or the set {a,b} of the words that it takes.
std::string SourceOf(CLI::Option& option) {
  try {
    for (int i = 0;; ++i) {
      const CLI::Validator& validator = *option.get_validator(i);
      const std::string name = validator.get_name(), set = validator.get_description();
      if (!name.empty()) return name;
      if (set.starts_with('{') && set.ends_with('}')) return set.substr(1, set.size() - 2);
    }
  } catch (const CLI::OptionNotFound&) {
    return "";
  }
}

// The command with the groups of its options.
std::vector<CLI::App*> Parts(CLI::App& command) {
  std::vector<CLI::App*> parts =
      command.get_subcommands([](CLI::App* one) { return one->get_name().empty(); });
  parts.insert(parts.begin(), &command);
  return parts;
}

std::vector<CLI::Option*> OptionsOf(CLI::App& command) {
  std::vector<CLI::Option*> options;
  for (CLI::App* part : Parts(command)) {
    for (CLI::Option* option : part->get_options()) options.push_back(option);
  }
  return options;
}

// The commands and options that the words before the last name.
class CommandLine {
 public:
  CommandLine(CLI::App& app, const std::vector<std::string>& words) : line_{&app} {
    for (const std::string& word : words) Go(word);
  }

  // Whether the next word is the value of an option.
  bool IsValue() const { return waiting_ != nullptr; }

  Candidates Next(const std::string& last, const std::string& before) const {
    if (waiting_ != nullptr) return Read(SourceOf(*waiting_), before);
    if (last.starts_with('-')) return Options();
    Candidates candidates = positionals_ == 0 ? Commands() : Candidates();
    size_t number = 0;
    for (CLI::Option* option : OptionsOf(*line_.back())) {
      if (!option->get_positional()) continue;
      const bool isNext = number++ == positionals_;
      if (!isNext) continue;
      for (Candidate& one : Read(SourceOf(*option), before)) candidates.push_back(std::move(one));
    }
    return candidates;
  }

 private:
  void Go(const std::string& word) {
    if (waiting_ != nullptr) {
      waiting_ = nullptr;
    } else if (word.starts_with("--")) {
      TakeOption(word.substr(2));
    } else if (word.starts_with('-') && word != "-") {
      return;  // a flag
    } else if (CLI::App* command = Command(word)) {
      line_.push_back(command);
      positionals_ = 0;
    } else {
      ++positionals_;
    }
  }

  void TakeOption(const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    for (CLI::App* command : line_) {
      for (CLI::Option* option : OptionsOf(*command)) {
        const auto& names = option->get_lnames();
        if (std::find(names.begin(), names.end(), name) == names.end()) continue;
        used_.insert(option);
        const bool takesValue = option->get_items_expected_max() > 0;
        if (takesValue && name == word) waiting_ = option;
      }
    }
  }

  CLI::App* Command(const std::string& word) const {
    const auto found =
        line_.back()->get_subcommands([&word](CLI::App* one) { return one->check_name(word); });
    return found.empty() || word.empty() ? nullptr : found.front();
  }

  Candidates Commands() const {
    Candidates candidates;
    for (CLI::App* one : line_.back()->get_subcommands(kAll)) {
      if (!one->get_name().empty()) candidates.push_back({one->get_name(), one->get_description()});
    }
    return candidates;
  }

  // Whether the option can no longer be given.
  bool IsOver(CLI::Option* option, CLI::App& part) const {
    const auto isUsed = [this](CLI::Option* one) { return used_.contains(one); };
    const auto group = part.get_options();
    const std::set<CLI::Option*> excluded = option->get_excludes();
    return isUsed(option) || std::any_of(excluded.begin(), excluded.end(), isUsed) ||
           (part.get_require_option_max() == 1 && std::any_of(group.begin(), group.end(), isUsed));
  }

  // Those of the command; of the commands before it, those that may follow it.
  Candidates Options() const {
    Candidates candidates;
    for (CLI::App* command : line_) {
      const bool isLast = command == line_.back();
      for (CLI::App* part : Parts(*command)) {
        for (CLI::Option* option : part->get_options()) {
          const bool isOwn = option->get_group() != "Options" ||
                             option == command->get_help_ptr() ||
                             option == command->get_version_ptr();
          if ((isOwn && !isLast) || option->get_lnames().empty() || IsOver(option, *part)) continue;
          candidates.push_back({"--" + option->get_lnames()[0], option->get_description()});
        }
      }
    }
    return candidates;
  }

  std::vector<CLI::App*> line_;     // the commands, from the program down
  CLI::Option* waiting_ = nullptr;  // for its value
  size_t positionals_ = 0;          // given to the last command
  std::set<CLI::Option*> used_;
};

}  // namespace

void Complete(CLI::App& app, std::vector<std::string> words) {
  if (words.empty()) words.emplace_back();
  SetTimeout(kTimeout);
  std::string last = words.back(), option;  // --option=value: both in one word
  words.pop_back();
  if (const size_t end = last.find('='); last.starts_with("--") && end != std::string::npos) {
    words.push_back(last.substr(0, end));
    option = last.substr(0, end + 1);
    last.erase(0, end + 1);
  }
  const CommandLine line(app, words);
  if (!option.empty() && !line.IsValue()) return;
  try {
    std::set<std::string> printed;
    for (const Candidate& one : line.Next(last, words.empty() ? "" : words.back())) {
      const bool fits = one.word.starts_with(last) || one.word == kFiles;
      if (!fits || Shown(one.word) != one.word || !printed.insert(one.word).second) continue;
      std::cout << (one.word == kFiles ? "" : option) << one.word << '\t' << Shown(one.about)
                << '\n';
    }
  } catch (const Failure&) {
    // The service does not answer: there is nothing to offer.
  }
}

}  // namespace hqosctl
