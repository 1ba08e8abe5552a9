// The whole hierarchy as a file: shown, compared, applied, confirmed, rolled back.
#include <ctime>
#include <iostream>
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/config_file.h"
#include "cli/config_output.h"
#include "cli/exchange.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "client/check.h"
#include "client/commands.h"
#include "client/write_model.h"
#include "hqosd.h"

namespace hqosctl {

namespace {

struct Arguments {
  std::string file, comment;
  std::optional<uint64_t> revision, expected;
  uint32_t confirmSeconds = 0;
  bool withoutIds = false, isDryRun = false, isMerge = false;
};

void Show(const Arguments& a, Output& output) {
  State state = ReadState(a.revision);
  if (a.withoutIds) state.model = client::WithoutIds(std::move(state.model));
  if (output.json) return client::WriteJson(state.model, state.revision, output.Document());
  client::WriteToml(state.model, state.revision, std::cout);
}

// The model that the file asks for where `running` is in force.
client::Model Wanted(const Arguments& a, const client::Model& file, const client::Model& running) {
  if (!a.isMerge) return file;
  client::Model merged = client::Merge(running, file);
  std::string text;
  for (const client::Fault& fault : client::Check(merged)) {
    text += (text.empty() ? "" : "\nhqosctl: ") + FileTitle(a.file) + ", merged: " + fault.text;
  }
  if (!text.empty()) throw Failure(kUsage, text);
  return merged;
}

// What the wanted model changes.
std::vector<client::Change> ChangesTo(client::Model wanted, const client::Model& running) {
  client::FillIn(wanted, running);
  return client::Differences(running, wanted);
}

void Diff(const Arguments& a, Output& output) {
  if (a.file.empty() == !a.revision) throw Failure(kUsage, "either FILE or --revision is needed");
  const client::Model wanted =
      a.revision ? ReadState(a.revision).model : ReadModelFile(a.file, true);
  const auto changes = ChangesTo(wanted, ReadState().model);
  PrintChanges(changes, output);
  if (!changes.empty()) throw Failure(kDiffers, "");
}

// What has been done, or "would be" done: a line, or one JSON object.
void Report(const std::vector<client::Change>& changes, const Verdict& verdict, const Arguments& a,
            Output& output) {
  if (output.json) {
    output.Document() << client::Record{{"changes", changes.size()},
                                        {"revision", verdict.revision},
                                        {"dry_run", a.isDryRun}}
                             .dump()
                      << '\n';
  } else if (changes.empty()) {
    std::cout << "nothing to do, revision " << verdict.revision << '\n';
  } else if (a.isDryRun) {
    std::cout << "the service would accept this\n";
  } else {
    std::cout << "revision " << verdict.revision << '\n';
  }
  if (a.confirmSeconds == 0 || changes.empty() || a.isDryRun || output.json) return;
  std::cout << "reverted in " << a.confirmSeconds
            << " seconds unless this comes first: hqosctl config confirm\n";
}

// One attempt; false when the service's revision has moved meanwhile and that may be ignored.
bool TryToApply(const Arguments& a, const client::Model& file, bool isLast, Output& output) {
  const State running = ReadState();
  if (a.expected && *a.expected != running.revision) {
    throw Failure(kRefused,
                  "revision " + std::to_string(*a.expected) + " expected, " +
                      std::to_string(running.revision) + " found",
                  HQOSD_STALE);
  }
  const client::Model wanted = Wanted(a, file, running.model);
  const auto changes = ChangesTo(wanted, running.model);
  Verdict verdict;
  verdict.revision = running.revision;
  if (!changes.empty()) {
    const client::Commands commands = client::Encode(wanted, running.model);
    verdict = Send({true, a.isDryRun, running.revision, a.confirmSeconds, a.comment, commands.bytes,
                    commands.count});
    if (verdict.isStale && !isLast) return false;
    if (!output.json) std::cout << Summary(changes) << '\n';
    if (!verdict.refusal.empty()) throw Failure(kRefused, verdict.refusal, verdict.code);
  }
  Report(changes, verdict, a, output);
  if (a.isDryRun && !changes.empty()) throw Failure(kDiffers, "");
  return true;
}

void Apply(const Arguments& a, Output& output) {
  const client::Model file = ReadModelFile(a.file, !a.isMerge);
  const bool isLast = a.expected.has_value();
  if (!TryToApply(a, file, isLast, output)) TryToApply(a, file, true, output);
}

// To the revision; without one to the last state that was replaced, or while a transaction waits
// for its confirmation to the state before that.
uint64_t RollBack(const std::optional<uint64_t>& revision) {
  if (!revision) {
    if (const std::optional<uint64_t> reverted = Revert()) return *reverted;
  }
  const std::vector<HistoryEntry> history = revision ? std::vector<HistoryEntry>() : ReadHistory();
  if (!revision && history.empty()) throw Failure(kRefused, "the history is empty");
  const uint64_t target = revision ? *revision : history.back().revision;
  const Verdict verdict = SendBack(ReadState(target), ReadState().revision,
                                   "rollback to revision " + std::to_string(target));
  if (!verdict.refusal.empty()) throw Failure(kRefused, verdict.refusal, verdict.code);
  return verdict.revision;
}

void PrintRevision(uint64_t revision, Output& output) {
  if (output.json) {
    output.Document() << client::Record{{"revision", revision}}.dump() << '\n';
  } else {
    std::cout << "revision " << revision << '\n';
  }
}

std::string TimeText(int64_t seconds, const char* form) {
  const time_t time = seconds;
  tm parts{};
  gmtime_r(&time, &parts);
  char text[64];
  return {text, std::strftime(text, sizeof text, form, &parts)};
}

void ShowHistory(Output& output) {
  output.Begin({Number("REVISION"), "TIME (UTC)", "USER", "COMMENT"});
  for (const HistoryEntry& entry : ReadHistory()) {
    output.Add(
        {std::to_string(entry.revision), TimeText(entry.time, "%F %T"), entry.user, entry.comment},
        {{"revision", entry.revision},
         {"time", TimeText(entry.time, "%FT%TZ")},
         {"user", entry.user},
         {"comment", entry.comment}});
  }
  output.End();
}

void AddRevision(CLI::App* command, const char* option, const char* help, Arguments& a) {
  Offer(Numeric(command->add_option(option, a.revision, help), UINT64_MAX), "@revision");
}

void AddShow(CLI::App& config, const std::shared_ptr<Arguments>& a, Output& output) {
  CLI::App* const show = config.add_subcommand("show", "Print the running state as a file");
  AddRevision(show, "--revision", "a state of the history instead", *a);
  show->add_flag("--no-ids", a->withoutIds, "leave identifiers out");
  show->callback([a, &output] { Show(*a, output); });
}

void AddApply(CLI::App& config, const std::shared_ptr<Arguments>& a, Output& output) {
  CLI::App* const apply =
      config.add_subcommand("apply", "Make the file the running state, in one transaction");
  Offer(apply->add_option("FILE", a->file, "the file; -: standard input"), "@file")->required();
  apply->add_flag("--dry-run", a->isDryRun, "ask the service, and change nothing");
  apply->add_flag("--merge", a->isMerge, "remove nothing that the file does not name");
  Numeric(apply->add_option("--confirm", a->confirmSeconds,
                            "revert after that time unless it is confirmed"),
          86400)
      ->type_name("SECONDS");
  Numeric(apply->add_option("--expect", a->expected, "only if the running state has this revision"),
          UINT64_MAX)
      ->type_name("REVISION");
  constexpr size_t kMaxComment = sizeof(hqos::StateHead::comment) - 1;
  apply->add_option("--comment", a->comment, "for the history")
      ->type_name("TEXT")
      ->check(CLI::Validator(
          [](const std::string& text) {
            return text.size() <= kMaxComment
                       ? ""
                       : "a comment has at most " + std::to_string(kMaxComment) + " bytes";
          },
          ""));
  apply->callback([a, &output] { Apply(*a, output); });
}

}  // namespace

void AddConfigCommands(CLI::App& app, Output& output) {
  const auto a = std::make_shared<Arguments>();
  CLI::App& config = *AddGroup(app, "config", "The whole hierarchy as a file");
  AddShow(config, a, output);

  CLI::App* const validate =
      config.add_subcommand("validate", "List what is wrong with the file; no service is needed");
  Offer(validate->add_option("FILE", a->file, "the file; -: standard input"), "@file")->required();
  validate->callback([a] { ReadModelFile(a->file, true); });

  CLI::App* const diff =
      config.add_subcommand("diff", "Show what the file would change; status 4 if anything");
  Offer(diff->add_option("FILE", a->file, "the file; -: standard input"), "@file");
  AddRevision(diff, "--revision", "a state of the history instead", *a);
  diff->callback([a, &output] { Diff(*a, output); });

  AddApply(config, a, output);

  config.add_subcommand("confirm", "Keep what was applied with --confirm")->callback([&output] {
    PrintRevision(Confirm(), output);
  });
  CLI::App* const rollback = config.add_subcommand("rollback", "Go back to a state of the history");
  AddRevision(rollback, "REVISION", "its revision; by default the last one replaced", *a);
  rollback->callback([a, &output] { PrintRevision(RollBack(a->revision), output); });
  config.add_subcommand("history", "List the states that can be restored")->callback([&output] {
    ShowHistory(output);
  });
}

}  // namespace hqosctl
