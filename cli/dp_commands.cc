// The weight and thresholds of DPs, and showing them.
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"

namespace hqosctl {

namespace {

struct Arguments {
  std::string name;
  uint32_t index = 0;
  std::vector<uint32_t> values;
  bool none = false;
};

void SetWeight(const Arguments& a) {
  HQOS_Result result{};
  const char* const name = a.name.c_str();
  CheckCommand(a.none ? HQOS_lib_DelDPWeight(name, &result)
                      : HQOS_lib_AddDPWeight(name, a.values[0], &result),
               result);
}

void SetThreshold(const Arguments& a) {
  HQOS_Result result{};
  const char* const name = a.name.c_str();
  if (a.none) return CheckCommand(HQOS_lib_DelDPThreshold(name, a.index, &result), result);
  if (a.values[0] > UINT16_MAX || a.values[1] > UINT16_MAX) {
    throw Failure(kUsage, "the first two values of a threshold have 16 bits");
  }
  const HQOS_DPThreshold threshold{static_cast<uint16_t>(a.values[0]),
                                   static_cast<uint16_t>(a.values[1]), a.values[2], a.values[3]};
  CheckCommand(HQOS_lib_AddDPThreshold(name, a.index, threshold, &result), result);
}

void Show(const std::string& name, Output& output) {
  output.Begin({"NAME", "ID", "WEIGHT", "THRESHOLD 0", "THRESHOLD 1", "THRESHOLD 2"});
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

// The values, or --none instead.
void AddValues(CLI::App* command, Arguments& a, const char* option, int number, const char* help) {
  CLI::Option* const none = command->add_flag("--none", a.none, "take it back: all zero");
  none->excludes(
      Numeric(command->add_option(option, a.values, help))->delimiter(',')->expected(number));
}

}  // namespace

void AddDPCommands(CLI::App& dp, Output& output) {
  const auto a = std::make_shared<Arguments>();
  const auto needValues = [](const Arguments& given, const char* what) {
    if (given.none || !given.values.empty()) return;
    throw Failure(kUsage, std::string(what) + " or --none is needed");
  };

  CLI::App* const weight = dp.add_subcommand("weight", "Set the DP's weight");
  Named(weight->add_option("NAME", a->name, "its name"));
  AddValues(weight, *a, "WEIGHT", 1, "the weight, unless --none is given");
  weight->callback([a, needValues] { needValues(*a, "WEIGHT"), SetWeight(*a); });

  CLI::App* const threshold = dp.add_subcommand("threshold", "Set one of the DP's thresholds");
  Named(threshold->add_option("NAME", a->name, "its name"));
  Numeric(threshold->add_option("INDEX", a->index, "0, 1 or 2"))->required();
  AddValues(threshold, *a, "VALUES", 4, "its four values, N,N,N,N, unless --none is given");
  threshold->callback([a, needValues] { needValues(*a, "VALUES"), SetThreshold(*a); });

  CLI::App* const show = dp.add_subcommand("show", "Show the DP, or all DPs");
  Named(show->add_option("NAME", a->name, "its name"))->required(false);
  show->callback([a, &output] { Show(a->name, output); });
}

}  // namespace hqosctl
