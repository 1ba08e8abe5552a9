// Statistics and diagnosis of applied SPs and their children.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <thread>

#include "cli/apply_target.h"
#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/counters.h"
#include "cli/deadline.h"
#include "cli/rates.h"
#include "cli/read.h"
#include "cli/records.h"
#include "cli/tree.h"
#include "client/write_model.h"
#include "hqosd.h"

namespace hqosctl {

namespace {

using Clock = std::chrono::steady_clock;

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
  for (const Counter& counter : kCounters) {
    const uint64_t now = counter.Of(counters);
    cells.push_back(std::to_string(now));
    if (!counter.isTotal) continue;
    if (before != nullptr) {
      cells.push_back(std::to_string(Rate(counter.Of(*before), now, seconds)));
    } else if (seconds > 0) {
      cells.emplace_back("-");
    }
  }
  return cells;
}

// Writes a place with its children, one after the other: together their records would take much
// memory. `addMore` adds to a child's record what is known of it.
template <class Child, class AddMore>
void WritePlace(const Output::Record& place, const std::vector<Child>& children,
                const AddMore& addMore, std::ostream& out) {
  std::string head = place.dump();
  head.pop_back();
  out << head << ",\"children\":[";
  std::vector<std::string> names;
  const char* separator = "";
  for (const Child& child : children) {
    Descend(names, child.son);
    Output::Record record = {{"path", Output::Record::array()},
                             {"kind", child.son.cfg.value2 == kFC ? "fc" : "fg"}};
    for (const std::string& name : names) record["path"].push_back(client::Utf8(name));
    addMore(child, record);
    out << separator << record.dump();
    separator = ",";
  }
  out << "]}";
}

void WriteStats(const ApplyTarget& target, Output& output) {
  output.Begin({});
  for (const HQOS_ApplyInfo& info : target.ReadApplied(false)) {
    const std::vector<HQOS_SPSonStat> stats = ReadSPSonStats(info.obj, info.sp);
    const auto addCounters = [](const HQOS_SPSonStat& one, Output::Record& record) {
      for (const Counter& counter : kCounters) record[counter.key] = counter.Of(one.counters);
    };
    WritePlace(ApplyRecord(info), stats, addCounters, output.Element());
  }
}

// Shows the statistics as a table; with `last`, the rates since then too, and leaves this round
// there.
void ShowStats(const ApplyTarget& target, Round* last, Output& output) {
  const bool hasRates = last != nullptr && last->time != Clock::time_point();
  const Clock::time_point now = Clock::now();
  const double seconds = hasRates ? std::chrono::duration<double>(now - last->time).count() : 0;
  std::vector<Column> columns{"CHILD"};
  for (const Counter& counter : kCounters) {
    columns.push_back(Number(counter.title));
    if (hasRates && counter.isTotal) columns.push_back(Number("/S"));
  }
  output.Begin(columns);
  Round round{now, {}};
  for (const HQOS_ApplyInfo& info : target.ReadApplied(false)) {
    const std::vector<HQOS_SPSonStat> stats = ReadSPSonStats(info.obj, info.sp);
    output.Line(TargetText(info));
    const std::vector<std::string> lines = Draw(SonsOf(stats));
    for (size_t i = 0; i < stats.size(); ++i) {
      const std::string key = KeyOf(info, stats[i].son);
      const HQOS_SPSonCounters* before = nullptr;
      if (hasRates && last->counters.contains(key)) before = &last->counters.at(key);
      output.Add(Cells(lines[i], stats[i].counters, before, seconds), nullptr);
      round.counters[key] = stats[i].counters;
    }
  }
  output.End();
  if (last != nullptr) *last = std::move(round);
}

// Tables with rates, or one JSON document a line.
void Watch(const ApplyTarget& target, double pause, uint32_t rounds, Output& output) {
  output.isLine = true;
  Round last;
  for (uint32_t round = 0; rounds == 0 || round < rounds; ++round) {
    if (round != 0) std::this_thread::sleep_for(std::chrono::duration<double>(pause));
    if (!output.json && isatty(STDOUT_FILENO) != 0) std::cout << "\033[H\033[2J";
    RestartTimeout();
    output.json ? WriteStats(target, output) : ShowStats(target, &last, output);
    output.EndDocument();
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
    case HQOSD_DIAG_NO_ENFORCE:
      return "hqosd runs without --enforce";
    case HQOSD_DIAG_NOT_INTERFACE:
      return "not enforced: not an interface";
    case HQOSD_DIAG_OTHERS_QDISC:
      return "somebody else configured its root qdisc; to remove that: tc qdisc del dev INTERFACE "
             "root";
    case HQOSD_DIAG_OTHERS_CHANGE:
      return "somebody else changes the interface's classes; they are repaired within a minute";
    case HQOSD_DIAG_NOT_ENFORCEABLE:
      return "the kernel cannot enforce it on this interface; hqosd's log says why";
    case HQOSD_DIAG_KERNEL_FAILS:
      return "the kernel refused it; hqosd's log says why";
    case HQOSD_DIAG_DP_UNUSED:
      return "its DP has no effect: frames are dropped at the end of the queue";
    default:
      return "reason " + std::to_string(reason);
  }
}

// The kernel's name of a class of hqosd's, "1174:10"; "" for none.
std::string ClassText(uint32_t minor) {
  char text[16] = "";
  if (minor != 0) std::snprintf(text, sizeof text, "%x:%x", HQOSD_KERNEL_MAJOR, minor);
  return text;
}
std::string ClassOf(const HQOS_SPSon& son) { return ClassText(son.words[1] >> 16); }
std::string LeafOf(const HQOS_SPSon& son) { return ClassText(son.words[1] & 0xFFFF); }

void AddVerdict(const uint32_t (&diag)[2], Output::Record& record) {
  record["in_effect"] = diag[0] != 0;
  record["code"] = diag[1];
  record["reason"] = ReasonText(diag[1]);
}

void WriteDiag(const ApplyTarget& target, Output& output) {
  output.Begin({});
  for (const HQOS_ApplyInfo& info : target.ReadApplied(true)) {
    const std::vector<HQOS_SPSonDiag> diags = ReadSPSonDiags(info.obj, info.sp);
    Output::Record place = ApplyRecord(info);
    AddVerdict(info.sp.words, place);
    const auto addMore = [](const HQOS_SPSonDiag& one, Output::Record& record) {
      AddVerdict(one.diag, record);
      if (const std::string name = ClassOf(one.son); !name.empty()) record["class"] = name;
      if (const std::string name = LeafOf(one.son); !name.empty()) record["leaf"] = name;
    };
    WritePlace(place, diags, addMore, output.Element());
  }
}

// The columns of the kernel's classes are shown when any child has one.
void ShowDiag(const ApplyTarget& target, Output& output) {
  using Place = std::pair<HQOS_ApplyInfo, std::vector<HQOS_SPSonDiag>>;
  std::vector<Place> places;
  bool hasClasses = false;
  for (const HQOS_ApplyInfo& info : target.ReadApplied(true)) {
    const auto& diags = places.emplace_back(info, ReadSPSonDiags(info.obj, info.sp)).second;
    hasClasses = hasClasses || std::any_of(diags.begin(), diags.end(),
                                           [](const auto& one) { return one.son.words[1] != 0; });
  }
  std::vector<Column> columns{"CHILD", "IN EFFECT"};
  if (hasClasses) columns.insert(columns.end(), {"CLASS", "LEAF"});
  columns.emplace_back("REASON");
  output.Begin(columns);
  const auto add = [&](const std::string& label, const uint32_t(&diag)[2], const HQOS_SPSon* son) {
    std::vector<std::string> cells{label, diag[0] != 0 ? "yes" : "no"};
    if (hasClasses) cells.push_back(son != nullptr ? ClassOf(*son) : "");
    if (hasClasses) cells.push_back(son != nullptr ? LeafOf(*son) : "");
    cells.push_back(ReasonText(diag[1]));
    output.Add(std::move(cells), nullptr);
  };
  for (const auto& [info, diags] : places) {
    add(TargetText(info), info.sp.words, nullptr);
    const std::vector<std::string> lines = Draw(SonsOf(diags));
    for (size_t i = 0; i < diags.size(); ++i) add(lines[i], diags[i].diag, &diags[i].son);
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
    if (watch->count() != 0) return Watch(a->target, a->pause, a->rounds, output);
    output.json ? WriteStats(a->target, output) : ShowStats(a->target, nullptr, output);
  });

  const auto target = std::make_shared<ApplyTarget>();
  CLI::App* const diag = app.add_subcommand(
      "diag", "Report whether what is applied to the object, or to all interfaces, is in effect");
  target->AddOptions(*diag, false);
  diag->callback(
      [target, &output] { output.json ? WriteDiag(*target, output) : ShowDiag(*target, output); });
}

}  // namespace hqosctl
