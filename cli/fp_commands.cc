// The settings of FPs, and showing them.
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"

namespace hqosctl {

namespace {

using Values = std::vector<uint32_t>;

struct Arguments {
  std::string name, dp;
  Values queue, gts, bandwidth;
  bool noGTS = false, noBandwidth = false, noDP = false;
};

void Check(uint32_t (*command)(const char*, HQOS_Result*), const Arguments& a) {
  HQOS_Result result{};
  CheckCommand(command(a.name.c_str(), &result), result);
}

template <class Value>
void Check(uint32_t (*command)(const char*, Value, HQOS_Result*), const Arguments& a,
           std::type_identity_t<Value> value) {
  HQOS_Result result{};
  CheckCommand(command(a.name.c_str(), value, &result), result);
}

// The DP first: it is the setting that may be refused.
void Set(const Arguments& a) {
  if (a.dp.empty() && a.queue.empty() && a.gts.empty() && a.bandwidth.empty()) {
    throw Failure(kUsage, "no setting is given");
  }
  if (!a.dp.empty()) Check(HQOS_lib_FPReferDP, a, a.dp.c_str());
  if (!a.queue.empty()) Check(HQOS_lib_AddQueue, a, a.queue.data());
  if (!a.gts.empty()) Check(HQOS_lib_AddGTS, a, a.gts.data());
  if (!a.bandwidth.empty()) Check(HQOS_lib_AddBandwidth, a, a.bandwidth.data());
}

void Unset(const Arguments& a) {
  if (!a.noDP && a.queue.empty() && !a.noGTS && !a.noBandwidth) {
    throw Failure(kUsage, "no setting is given");
  }
  if (!a.queue.empty()) Check(HQOS_lib_DelQueue, a, a.queue[0]);
  if (a.noGTS) Check(HQOS_lib_DelGTS, a);
  if (a.noBandwidth) Check(HQOS_lib_DelBandwidth, a);
  if (a.noDP) Check(HQOS_lib_DelFPReferDP, a);
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

void AddFPCommands(CLI::App& fp, Output& output) {
  const auto a = std::make_shared<Arguments>();
  const auto addValues = [](CLI::App* command, const char* option, Values& values, int number,
                            const char* form, const char* help) {
    Numeric(command->add_option(option, values, help))
        ->delimiter(',')
        ->expected(number)
        ->option_text(form);
  };

  CLI::App* const set =
      fp.add_subcommand("set", "Give the FP settings, one after the other; a refusal ends it");
  Named(set->add_option("NAME", a->name, "its name"));
  addValues(set, "--queue", a->queue, 3, "N,N,N", "the queue and its two values");
  addValues(set, "--gts", a->gts, 4, "N,N,N,N", "the four values of shaping");
  addValues(set, "--bandwidth", a->bandwidth, 1, "N", "the bandwidth");
  Named(set->add_option("--dp", a->dp, "the DP that it refers to"))->required(false);
  set->callback([a] { Set(*a); });

  CLI::App* const unset = fp.add_subcommand("unset", "Take settings back, likewise");
  Named(unset->add_option("NAME", a->name, "its name"));
  addValues(unset, "--queue", a->queue, 1, "N", "the queue");
  unset->add_flag("--gts", a->noGTS, "shaping");
  unset->add_flag("--bandwidth", a->noBandwidth, "the bandwidth");
  unset->add_flag("--dp", a->noDP, "the reference to a DP");
  unset->callback([a] { Unset(*a); });

  CLI::App* const show = fp.add_subcommand("show", "Show the FP, or all FPs");
  Named(show->add_option("NAME", a->name, "its name"))->required(false);
  show->callback([a, &output] { Show(a->name, output); });
}

}  // namespace hqosctl
