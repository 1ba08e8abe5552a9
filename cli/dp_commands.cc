// DPs, their weight and thresholds.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/records.h"

namespace hqosctl {

namespace {

struct Arguments {
  std::string name;
  uint32_t index = 0;
  std::vector<uint32_t> values;
  bool none = false;
};

void SetWeight(const Arguments& a) {
  if (a.none) return Do(HQOS_lib_DelDPWeight, a.name);
  Do(HQOS_lib_AddDPWeight, a.name, a.values[0]);
}

void SetThreshold(const Arguments& a) {
  if (a.none) return Do(HQOS_lib_DelDPThreshold, a.name, a.index);
  if (a.values[0] > UINT16_MAX || a.values[1] > UINT16_MAX) {
    throw Failure(kUsage, "the first two values of a threshold have 16 bits");
  }
  const HQOS_DPThreshold threshold{static_cast<uint16_t>(a.values[0]),
                                   static_cast<uint16_t>(a.values[1]), a.values[2], a.values[3]};
  Do(HQOS_lib_AddDPThreshold, a.name, a.index, threshold);
}

void Show(const std::string& name, Output& output) {
  output.Begin(
      {"NAME", Number("ID"), Number("WEIGHT"), "THRESHOLD 0", "THRESHOLD 1", "THRESHOLD 2"});
  for (const HQOS_DPInfo& dp : ReadDPs(name)) {
    std::vector<std::string> cells{dp.name, std::to_string(dp.id), std::to_string(dp.weight)};
    for (const HQOS_DPThreshold& t : dp.thresholds) {
      cells.push_back(std::to_string(t.value1) + "," + std::to_string(t.value2) + "," +
                      std::to_string(t.value3) + "," + std::to_string(t.value4));
    }
    output.Add(std::move(cells), DPRecord(dp));
  }
  output.End();
}

// The values, or --none instead; then calls `set`.
void AddValues(CLI::App* command, const std::shared_ptr<Arguments>& a, const std::string& option,
               int number, const char* form, const char* help, void (*set)(const Arguments&)) {
  CLI::Option* const none = command->add_flag("--none", a->none, "remove it: all values are zero");
  none->excludes(Numeric(command->add_option(option, a->values, help))
                     ->delimiter(',')
                     ->expected(number)
                     ->option_text(form));
  command->callback([a, option, set] {
    if (!a->none && a->values.empty()) throw Failure(kUsage, option + " or --none is needed");
    set(*a);
  });
}

}  // namespace

void AddDPCommands(CLI::App& app, Output& output) {
  const auto a = std::make_shared<Arguments>();
  CLI::App& dp = AddKind(
      app, {"dp", "DP", "DP objects", HQOS_lib_AddDP, HQOS_lib_DelDP, Show, ShowUsersOfDP}, output);

  CLI::App* const weight = dp.add_subcommand("weight", "Set the DP's weight");
  AddName(weight, a->name, "@dp");
  AddValues(weight, a, "WEIGHT", 1, "", "the weight, unless --none is given", SetWeight);

  CLI::App* const threshold = dp.add_subcommand("threshold", "Set one of the DP's thresholds");
  AddName(threshold, a->name, "@dp");
  Numeric(threshold->add_option("INDEX", a->index, "0, 1 or 2"))->required();
  AddValues(threshold, a, "VALUES", 4, "N,N,N,N", "its four values, unless --none is given",
            SetThreshold);
}

}  // namespace hqosctl
