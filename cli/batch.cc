#include "cli/batch.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>
#include <set>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/deadline.h"
#include "cli/exchange.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace hqosctl {

namespace {

// The words of a line. Quotes, of either kind, keep blanks in a word and are removed; a # at the
// beginning of a word begins a comment.
std::vector<std::string> Words(const std::string& line) {
  if (line.find('\0') != std::string::npos) throw Failure(kUsage, "the line has a NUL byte");
  constexpr char kBlanks[] = " \t\r\v\f";
  std::vector<std::string> words;
  for (size_t at = 0; (at = line.find_first_not_of(kBlanks, at)) != std::string::npos;) {
    if (line[at] == '#') break;
    std::string& word = words.emplace_back();
    while (at < line.size() && std::strchr(kBlanks, line[at]) == nullptr) {
      const char c = line[at++];
      if (c != '"' && c != '\'') {
        word += c;
        continue;
      }
      const size_t end = line.find(c, at);
      if (end == std::string::npos) throw Failure(kUsage, "a quote is not closed");
      word.append(line, at, end - at);
      at = end + 1;
    }
  }
  return words;
}

// Refuses commands that change nothing in the service, or something else, before they begin. What
// these groups have of queries fails because it needs a socket.
void AllowOnlyChanges(CLI::App& app) {
  static const std::set<std::string> kGroups{"sp",     "fg",    "fp",    "dp",     "nest",
                                             "unnest", "match", "apply", "unapply"};
  for (CLI::App* const one : app.get_subcommands({})) {
    if (kGroups.contains(one->get_name())) continue;
    one->preparse_callback([](size_t) { RefuseInCollection(); });
  }
}

// Runs one line. Throws a Failure unless it succeeds.
void RunLine(const std::string& line, Output& output) {
  CLI::App app("a command of hqosctl");
  app.set_help_flag();
  AddCommands(app, output);
  if (Collection::Active() != nullptr) AllowOnlyChanges(app);
  RestartTimeout();
  try {
    std::vector<std::string> words = Words(line);
    if (words.empty()) return;
    std::reverse(words.begin(), words.end());  // as parse() takes them
    app.parse(std::move(words));
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
  } catch (const CLI::ParseError& e) {
    throw Failure(kUsage, UsageText(e, app));
  }
}

void Report(const Failure& failure, const std::string& file, int line, Output& output) {
  if (output.json) {
    Output::Record record = ErrorRecord(failure);
    record["error"]["line"] = line;
    output.Fail(record);
  }
  std::cout.flush();
  std::cerr << "hqosctl: " << file << ':' << line << ": " << ShownLines(failure.what()) << '\n';
}

// Sends the commands, which came from these lines, as one transaction.
int Commit(const client::Commands& commands, const std::vector<int>& lines, const std::string& file,
           Output& output) {
  RestartTimeout();
  Transaction transaction;
  transaction.isReplace = false;
  transaction.commands = commands.bytes;
  transaction.count = commands.count;
  const Verdict verdict = Send(transaction);
  for (const RefusedCommand& one : verdict.commands) {
    Report(Failure(kRefused, one.text, one.code), file,
           one.position < lines.size() ? lines[one.position] : 0, output);
  }
  if (!verdict.commands.empty()) return kRefused;
  if (verdict.code != 0) throw Failure(kRefused, verdict.refusal, verdict.code);
  if (output.json) {
    output.Document()
        << Output::Record{{"commands", commands.count}, {"revision", verdict.revision}}.dump();
  } else {
    std::cout << "revision " << verdict.revision << '\n';
  }
  return kDone;
}

}  // namespace

int RunBatch(std::istream& in, const std::string& file, Batch kind, Output& output) {
  output.BeginBatch();
  std::optional<Collection> collection;
  if (kind == Batch::kAtomic) collection.emplace();
  std::vector<int> lines;  // of the commands that are collected
  int result = kDone;
  std::string line;
  int number = 1;
  for (; std::getline(in, line); ++number) {
    try {
      RunLine(line, output);
    } catch (const Failure& failure) {
      Report(failure, file, number, output);
      if (result == kDone) result = failure.code();
      if (kind == Batch::kPlain || failure.code() == kNoService) break;
    }
    if (collection) lines.resize(collection->commands().count, number);
  }
  // Standard input reports its errors to the C library only.
  if (in.bad() || (&in == &std::cin && std::ferror(stdin) != 0)) {
    throw Failure(kUsage, file + ':' + std::to_string(number) + ": cannot be read");
  }
  if (!collection || result != kDone) return result;
  const client::Commands commands = collection->commands();
  collection.reset();
  return Commit(commands, lines, file, output);
}

}  // namespace hqosctl
