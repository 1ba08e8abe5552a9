// Statistics and diagnosis of applied SPs and their children.
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <thread>

#include "cli/apply_target.h"
#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/deadline.h"
#include "cli/failure.h"
#include "cli/rates.h"
#include "cli/read.h"
#include "cli/tree.h"
#include "hqosd.h"

namespace hqosctl {

namespace {

using Clock = std::chrono::steady_clock;

// The counters that a table shows.
constexpr struct {
  const char* title;
  size_t index;  // in stat64
} kColumns[] = {{"PACKETS", HQOSD_STAT64_PASSED_PACKETS},
                {"BYTES", HQOSD_STAT64_PASSED_BYTES},
                {"DROPPED PACKETS", HQOSD_STAT64_DROPPED_PACKETS},
                {"DROPPED BYTES", HQOSD_STAT64_DROPPED_BYTES}};

// The counters of a watch's last round, by where they were read.
struct Round {
  Clock::time_point time;
  std::map<std::string, HQOS_SPSonCounters> counters;
};

template <class Record>
std::vector<HQOS_SPSon> SonsOf(const std::vector<Record>& records) {
  std::vector<HQOS_SPSon> sons;
  for (const Record& record : records) sons.push_back(record.son);
  return sons;
}

std::string TargetText(const HQOS_ApplyInfo& info) {
  return ObjectText(info.obj) + " " + DirectionText(info.obj) + ": SP " + info.sp.name;
}

std::string KeyOf(const HQOS_ApplyInfo& info, const HQOS_SPSon& son) {
  std::string key = TargetText(info);
  for (const uint16_t field : son.path.field) key += ' ' + std::to_string(field);
  return key;
}

// The cells of a child's counters, or with `before` of their rates; one that is new has none.
std::vector<std::string> Cells(std::string label, const HQOS_SPSonCounters& counters,
                               const HQOS_SPSonCounters* before, double seconds) {
  std::vector<std::string> cells{std::move(label)};
  for (const auto& column : kColumns) {
    const uint64_t now = counters.stat64[column.index];
    cells.push_back(std::to_string(now));
    if (before != nullptr) {
      cells.push_back(std::to_string(Rate(before->stat64[column.index], now, seconds)));
    } else if (seconds > 0) {
      cells.emplace_back("-");
    }
  }
  cells.push_back(std::to_string(counters.stat32[HQOSD_STAT32_QUEUED_PACKETS]));
  return cells;
}

// Shows the statistics; with `last`, the rates since then too, and leaves this round there.
void ShowStats(const ApplyTarget& target, Round* last, Output& output) {
  const bool hasRates = last != nullptr && last->time != Clock::time_point();
  const Clock::time_point now = Clock::now();
  const double seconds = hasRates ? std::chrono::duration<double>(now - last->time).count() : 0;
  std::vector<std::string> headers{"CHILD"};
  for (const auto& column : kColumns) {
    headers.emplace_back(column.title);
    if (hasRates) headers.emplace_back("/S");
  }
  headers.emplace_back("QUEUED");
  output.Begin(headers);
  Round round{now, {}};
  for (const HQOS_ApplyInfo& info : target.ReadApplied(false)) {
    const std::vector<HQOS_SPSonStat> stats = ReadSPSonStats(info.obj, info.sp);
    const std::vector<HQOS_SPSon> sons = SonsOf(stats);
    const auto addCounters = [&](size_t i, Output::Record& record) {
      record["counters"] = {{"stat32", stats[i].counters.stat32},
                            {"stat64", stats[i].counters.stat64}};
    };
    output.Line(TargetText(info), {{"obj", ObjectRecord(info.obj)},
                                   {"sp", SPRecord(info.sp)},
                                   {"children", Nested(sons, addCounters)}});
    const std::vector<std::string> lines = Draw(sons);
    for (size_t i = 0; i < stats.size(); ++i) {
      const std::string key = KeyOf(info, sons[i]);
      const HQOS_SPSonCounters* before = nullptr;
      if (hasRates && last->counters.contains(key)) before = &last->counters.at(key);
      output.Add(Cells(lines[i], stats[i].counters, before, seconds), nullptr);
      round.counters[key] = stats[i].counters;
    }
  }
  output.End();
  if (last != nullptr) *last = std::move(round);
}

void Watch(const ApplyTarget& target, double pause, uint32_t rounds, Output& output) {
  if (output.json) throw Failure(kUsage, "--watch shows tables, not JSON");
  Round last;
  for (uint32_t round = 0; rounds == 0 || round < rounds; ++round) {
    if (round != 0) std::this_thread::sleep_for(std::chrono::duration<double>(pause));
    if (isatty(STDOUT_FILENO) != 0) std::cout << "\033[H\033[2J";
    RestartTimeout();
    ShowStats(target, &last, output);
    if (!std::cout.flush()) return;
  }
}

std::string ReasonText(uint32_t reason) {
  switch (reason) {
    case HQOSD_DIAG_IN_EFFECT:
      return "";
    case HQOSD_DIAG_NOT_APPLIED:
      return "its SP is not applied there";
    case HQOSD_DIAG_NO_INTERFACE:
      return "the interface is gone";
    case HQOSD_DIAG_INTERFACE_DOWN:
      return "the interface is down";
    case HQOSD_DIAG_NO_VALUES:
      return "the rules above it leave no value of its own";
    default:
      return "reason " + std::to_string(reason);
  }
}

void AddDiagLine(std::string label, const uint32_t (&diag)[2], Output& output,
                 Output::Record record) {
  output.Add({std::move(label), diag[0] != 0 ? "yes" : "no", ReasonText(diag[1])},
             std::move(record));
}

void ShowDiag(const ApplyTarget& target, Output& output) {
  output.Begin({"CHILD", "IN EFFECT", "WHY NOT"});
  for (const HQOS_ApplyInfo& info : target.ReadApplied(true)) {
    const std::vector<HQOS_SPSonDiag> diags = ReadSPSonDiags(info.obj, info.sp);
    const std::vector<HQOS_SPSon> sons = SonsOf(diags);
    const auto addDiag = [&](size_t i, Output::Record& record) { record["diag"] = diags[i].diag; };
    AddDiagLine(TargetText(info), info.sp.words, output,
                {{"obj", ObjectRecord(info.obj)},
                 {"sp", SPRecord(info.sp)},
                 {"children", Nested(sons, addDiag)}});
    const std::vector<std::string> lines = Draw(sons);
    for (size_t i = 0; i < diags.size(); ++i) AddDiagLine(lines[i], diags[i].diag, output, nullptr);
  }
  output.End();
}

}  // namespace

void AddStatsCommands(CLI::App& app, Output& output) {
  struct Arguments {
    ApplyTarget target;
    double pause = 0;
    uint32_t rounds = 0;
  };
  const auto a = std::make_shared<Arguments>();
  CLI::App* const stats = app.add_subcommand(
      "stats", "Show the counters of what is applied to the object, or to all interfaces");
  a->target.AddOptions(*stats, false);
  CLI::Option* const watch =
      Seconds(stats->add_option("--watch", a->pause, "show them repeatedly, with rates"));
  Numeric(stats->add_option("--rounds", a->rounds, "end a watch after this many; 0: never"))
      ->type_name("NUMBER")
      ->needs(watch);
  stats->callback([a, watch, &output] {
    if (watch->count() == 0) return ShowStats(a->target, nullptr, output);
    Watch(a->target, a->pause, a->rounds, output);
  });

  const auto target = std::make_shared<ApplyTarget>();
  CLI::App* const diag = app.add_subcommand(
      "diag", "Report whether what is applied to the object, or to all interfaces, is in effect");
  target->AddOptions(*diag, false);
  diag->callback([target, &output] { ShowDiag(*target, output); });
}

}  // namespace hqosctl
