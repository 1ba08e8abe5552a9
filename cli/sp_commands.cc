// What there is for SPs alone: their unit, and showing them.
#include <algorithm>
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "hqos.h"

namespace hqosctl {

namespace {

// The keywords of the units, and "default" behind them.
std::vector<std::string> UnitNames() {
  std::vector<std::string> names;
  for (uint32_t unit = 0; const char* name = HQOS_util_GetSPUnitStr(unit); ++unit) {
    names.emplace_back(name);
  }
  names.emplace_back("default");
  return names;
}

void SetUnit(const std::string& name, const std::string& unitName) {
  const std::vector<std::string> names = UnitNames();
  const auto unit = std::find(names.begin(), names.end(), unitName) - names.begin();
  HQOS_Result result{};
  const uint32_t status =
      unitName == names.back()
          ? HQOS_lib_ResetSPUnit(name.c_str(), &result)
          : HQOS_lib_SetSPUnit(name.c_str(), static_cast<uint32_t>(unit), &result);
  CheckCommand(status, result);
}

void AddLine(const HQOS_SPInfo& sp, Output& output) {
  const char* const unit = HQOS_util_GetSPUnitStr(sp.value1);
  output.Add({sp.name, std::to_string(sp.id), unit != nullptr ? unit : std::to_string(sp.value1)},
             SPRecord(sp));
}

void Show(const std::string& name, Output& output) {
  output.Begin({"NAME", "ID", "UNIT"});
  for (const HQOS_SPInfo& sp : ReadSPs(name)) AddLine(sp, output);
  output.End();
}

}  // namespace

void AddSPCommands(CLI::App& sp, Output& output) {
  struct Arguments {
    std::string name, unit;
  };
  const auto arguments = std::make_shared<Arguments>();

  CLI::App* const unit = sp.add_subcommand("unit", "Set the SP's unit");
  Named(unit->add_option("NAME", arguments->name, "its name"));
  unit->add_option("UNIT", arguments->unit)->required()->check(CLI::IsMember(UnitNames()));
  unit->callback([arguments] { SetUnit(arguments->name, arguments->unit); });

  CLI::App* const show = sp.add_subcommand("show", "Show the SP, or all SPs");
  Named(show->add_option("NAME", arguments->name, "its name"))->required(false);
  show->callback([arguments, &output] { Show(arguments->name, output); });
}

}  // namespace hqosctl
