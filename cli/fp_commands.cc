// FPs and their settings.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/exchange.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/records.h"
#include "client/rule_text.h"
#include "client/write_model.h"
#include "hqosd.h"

namespace hqosctl {

namespace {

using client::Quantity;
using Values = std::vector<uint32_t>;

struct Arguments {
  std::string name, dp;
  Values queue, gts, bandwidth;
  bool noGTS = false, noBandwidth = false, noDP = false;
};

// The DP first: that setting may be refused.
void Set(const Arguments& a) {
  if (a.dp.empty() && a.queue.empty() && a.gts.empty() && a.bandwidth.empty()) {
    throw Failure(kUsage, "no setting is given");
  }
  if (!a.dp.empty()) Do(HQOS_lib_FPReferDP, a.name, a.dp);
  if (!a.queue.empty()) Do(HQOS_lib_AddQueue, a.name, a.queue.data());
  if (!a.gts.empty()) Do(HQOS_lib_AddGTS, a.name, a.gts.data());
  if (!a.bandwidth.empty()) Do(HQOS_lib_AddBandwidth, a.name, a.bandwidth.data());
}

void Unset(const Arguments& a) {
  if (!a.noDP && a.queue.empty() && !a.noGTS && !a.noBandwidth) {
    throw Failure(kUsage, "no setting is given");
  }
  if (!a.queue.empty()) Do(HQOS_lib_DelQueue, a.name, a.queue[0]);
  if (a.noGTS) Do(HQOS_lib_DelGTS, a.name);
  if (a.noBandwidth) Do(HQOS_lib_DelBandwidth, a.name);
  if (a.noDP) Do(HQOS_lib_DelFPReferDP, a.name);
}

template <size_t N>
std::string Joined(const uint32_t (&values)[N]) {
  std::string text;
  for (const uint32_t value : values) text += (text.empty() ? "" : ",") + std::to_string(value);
  return text;
}

void ShowFPs(const std::vector<HQOS_FPInfo>& fps, Output& output) {
  output.Begin({"NAME", Number("ID"), "QUEUE", "GTS", Number("BANDWIDTH"), "DP"});
  for (const HQOS_FPInfo& fp : fps) {
    const auto cell = [&fp](uint32_t flag, const std::string& text) {
      return (fp.flags & flag) != 0 ? text : "-";
    };
    output.Add(
        {fp.name, std::to_string(fp.id), cell(HQOS_FPI_QUEUE, Joined(fp.queue)),
         cell(HQOS_FPI_GTS, Joined(fp.gts)), cell(HQOS_FPI_BANDWIDTH, std::to_string(fp.bandwidth)),
         cell(HQOS_FPI_DPREF, fp.dpName)},
        FPRecord(fp));
  }
  output.End();
}

void Show(const std::string& name, Output& output) { ShowFPs(ReadFPs(name), output); }

// Adds the children among the parent's that use the FP.
template <class Parents>
void AddUsers(const Parents& parents, const char* kind, const char* title, const std::string& fp,
              Output& output) {
  for (const auto& [parent, object] : parents) {
    for (const auto& child : object.children) {
      const auto& [key, nesting] = child;
      if (nesting.fp != fp) continue;
      Output::Record record = {{"below", {{kind, parent}}}};
      record.update(client::RecordOf(child));
      const std::string childTitle = key.first == client::ChildKind::kFC ? "FC " : "FG ";
      output.Add({title + parent, childTitle + key.second, client::RuleText(nesting.rule)},
                 std::move(record));
    }
  }
}

void ShowUsers(const std::string& name, Output& output) {
  const client::Model model = ReadState().model;
  if (!model.fp.contains(name)) CheckQuery(HQOSD_NOT_FOUND, "FP " + name);
  output.Begin({"BELOW", "CHILD", "RULE"});
  AddUsers(model.sp, "sp", "SP ", name, output);
  AddUsers(model.fg, "fg", "FG ", name, output);
  output.End();
}

}  // namespace

void ShowUsersOfDP(const std::string& name, Output& output) {
  ReadDPs(name);
  std::vector<HQOS_FPInfo> fps = ReadFPs("");
  std::erase_if(fps, [&name](const HQOS_FPInfo& fp) {
    return (fp.flags & HQOS_FPI_DPREF) == 0 || name != fp.dpName;
  });
  ShowFPs(fps, output);
}

void AddFPCommands(CLI::App& app, Output& output) {
  const auto a = std::make_shared<Arguments>();
  CLI::App& fp = AddKind(
      app, {"fp", "FP", "FP objects", HQOS_lib_AddFP, HQOS_lib_DelFP, Show, ShowUsers}, output);
  const auto addValues = [](CLI::App* command, const char* option, Values& values, int number,
                            const char* form, const char* help) {
    return Numeric(command->add_option(option, values, help))
        ->delimiter(',')
        ->expected(number)
        ->option_text(form);
  };

  CLI::App* const set =
      fp.add_subcommand("set", "Set the FP's settings in turn, until one is refused");
  AddName(set, a->name, "@fp");
  addValues(
      set, "--queue", a->queue, 3, "NUMBER,KIND,WEIGHT",
      "the queue: number 0 to 7, higher first; 0 strict or 1 weighted; weight in the SP's unit");
  CLI::Option* const gts =
      addValues(set, "--gts", a->gts, 4, "CIR,CBS,EBS,LENGTH",
                "shaping: ceiling in kbit/s, or a rate such as 5Mbit; its bucket CBS + EBS in "
                "bytes, or sizes such as 20kB; packets that wait, 0: what the ceiling sends in "
                "100 ms");
  WithUnit(gts, 0, Quantity::kKbitPerSecond);
  WithUnit(gts, 1, Quantity::kBytes);
  WithUnit(gts, 2, Quantity::kBytes);
  WithUnit(addValues(set, "--bandwidth", a->bandwidth, 1, "RATE",
                     "the guaranteed rate in kbit/s, or a rate such as 5Mbit"),
           0, Quantity::kKbitPerSecond);
  Named(set->add_option("--dp", a->dp, "the DP that it refers to"), "@dp")->required(false);
  set->callback([a] { Set(*a); });

  CLI::App* const unset =
      fp.add_subcommand("unset", "Remove settings in turn, until one is refused");
  AddName(unset, a->name, "@fp");
  addValues(unset, "--queue", a->queue, 1, "NUMBER", "the queue");
  unset->add_flag("--gts", a->noGTS, "shaping");
  unset->add_flag("--bandwidth", a->noBandwidth, "the bandwidth");
  unset->add_flag("--dp", a->noDP, "the reference to a DP");
  unset->callback([a] { Unset(*a); });
}

}  // namespace hqosctl
