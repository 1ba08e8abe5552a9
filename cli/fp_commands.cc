// FPs and their settings.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"

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

void Show(const std::string& name, Output& output) {
  output.Begin({"NAME", "ID", "QUEUE", "GTS", "BANDWIDTH", "DP"});
  for (const HQOS_FPInfo& fp : ReadFPs(name)) {
    const auto cell = [&fp](uint32_t flag, const std::string& text) {
      return (fp.flags & flag) != 0 ? text : "-";
    };
    output.Add(
        {fp.name, std::to_string(fp.id), cell(HQOS_FPI_QUEUE, Joined(fp.queue)),
         cell(HQOS_FPI_GTS, Joined(fp.gts)), cell(HQOS_FPI_BANDWIDTH, std::to_string(fp.bandwidth)),
         cell(HQOS_FPI_DPREF, fp.dpName)},
        {{"name", fp.name},
         {"id", fp.id},
         {"flags", fp.flags},
         {"dpName", fp.dpName},
         {"dpId", fp.dpId},
         {"gts", fp.gts},
         {"queue", fp.queue},
         {"bandwidth", fp.bandwidth}});
  }
  output.End();
}

}  // namespace

void AddFPCommands(CLI::App& app, Output& output) {
  const auto a = std::make_shared<Arguments>();
  CLI::App& fp =
      AddKind(app, {"fp", "FP", "FP objects", HQOS_lib_AddFP, HQOS_lib_DelFP, Show}, output);
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
  addValues(set, "--queue", a->queue, 3, "N,N,N", "the queue and its two values");
  CLI::Option* const gts =
      addValues(set, "--gts", a->gts, 4, "CIR,CBS,EBS,LENGTH",
                "shaping: kbit/s or a rate such as 5Mbit, two numbers of bytes or sizes such as "
                "20kB, packets");
  WithUnit(gts, 0, Quantity::kKbitPerSecond);
  WithUnit(gts, 1, Quantity::kBytes);
  WithUnit(gts, 2, Quantity::kBytes);
  WithUnit(addValues(set, "--bandwidth", a->bandwidth, 1, "RATE",
                     "the bandwidth: kbit/s, or a rate such as 5Mbit"),
           0, Quantity::kKbitPerSecond);
  Named(set->add_option("--dp", a->dp, "the DP that it refers to"), "@dp")->required(false);
  set->callback([a] { Set(*a); });

  CLI::App* const unset =
      fp.add_subcommand("unset", "Remove settings in turn, until one is refused");
  AddName(unset, a->name, "@fp");
  addValues(unset, "--queue", a->queue, 1, "N", "the queue");
  unset->add_flag("--gts", a->noGTS, "shaping");
  unset->add_flag("--bandwidth", a->noBandwidth, "the bandwidth");
  unset->add_flag("--dp", a->noDP, "the reference to a DP");
  unset->callback([a] { Unset(*a); });
}

}  // namespace hqosctl
