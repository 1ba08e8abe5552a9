// SPs and their unit.
#include <algorithm>
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/read.h"
#include "cli/records.h"

namespace hqosctl {

namespace {

// The keywords of the units, and "default" after them.
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
  if (unitName == names.back()) return Do(HQOS_lib_ResetSPUnit, name);
  Do(HQOS_lib_SetSPUnit, name, static_cast<uint32_t>(unit));
}

void Show(const std::string& name, Output& output) {
  output.Begin({"NAME", Number("ID"), "UNIT"});
  for (const HQOS_SPInfo& sp : ReadSPs(name)) {
    const char* const unit = HQOS_util_GetSPUnitStr(sp.value1);
    output.Add({sp.name, std::to_string(sp.id), unit != nullptr ? unit : std::to_string(sp.value1)},
               SPRecord(sp));
  }
  output.End();
}

}  // namespace

void AddSPCommands(CLI::App& app, Output& output) {
  struct Arguments {
    std::string name, unit;
  };
  const auto a = std::make_shared<Arguments>();
  CLI::App& sp =
      AddKind(app, {"sp", "SP", "SP objects", HQOS_lib_AddSP, HQOS_lib_DelSP, Show}, output);
  CLI::App* const unit = sp.add_subcommand("unit", "Set the SP's unit");
  AddName(unit, a->name, "@sp");
  unit->add_option("UNIT", a->unit)->required()->check(CLI::IsMember(UnitNames()));
  unit->callback([a] { SetUnit(a->name, a->unit); });
}

}  // namespace hqosctl
