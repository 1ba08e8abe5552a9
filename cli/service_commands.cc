// Slots and their services.
#include <cstring>
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "hqos.h"
#include "platform/slot.h"

namespace hqosctl {

namespace {

// The numbers of all slots.
std::vector<uint16_t> Slots() {
  std::vector<uint16_t> slots;
  uint16_t lowest, highest;
  DEV_GetSlotRange(&lowest, &highest);
  for (uint32_t slot = lowest; slot <= highest; ++slot) {
    uint16_t first, second;
    const auto number = static_cast<uint16_t>(slot);
    if (DEV_GetPhysicalSlotByGlobalSlot(number, &first, &second) == 0) slots.push_back(number);
  }
  return slots;
}

void ShowSlots(Output& output) {
  output.Begin({"SLOT", "NODE", "UP", "SERVICE"});
  for (const uint16_t slot : Slots()) {
    const uint32_t node = HQOS_util_GetLipBySlotId(slot) & 0xFFFF;
    const bool isSelf = slot == DEV_GetSelfSlot();
    const bool isUp = IF_IsSlotUp(slot) == 1, runs = HQOS_util_IsServiceStarted(slot) == 1;
    output.Add({std::to_string(slot) + (isSelf ? " (self)" : ""), std::to_string(node),
                isUp ? "yes" : "no", runs ? "runs" : "-"},
               {{"slot", slot}, {"self", isSelf}, {"node", node}, {"up", isUp}, {"running", runs}});
  }
  output.End();
}

void Start(uint16_t slot) {
  if (HQOS_util_IsServiceStarted(slot) == 1) return;
  const uint32_t status = HQOS_util_StartService(slot);
  if (status == 0) return;
  throw Failure(kNoService, "the service of slot " + std::to_string(slot) +
                                " did not start: " + std::strerror(static_cast<int>(status)));
}

// The other slots in one batch, then the own.
void StartAll() {
  HQOS_util_StartServiceOnAllSlot();
  if (IF_IsSlotUp(DEV_GetSelfSlot()) == 1) Start(DEV_GetSelfSlot());
  std::string missing;
  for (const uint16_t slot : Slots()) {
    if (IF_IsSlotUp(slot) != 1 || HQOS_util_IsServiceStarted(slot) == 1) continue;
    missing += (missing.empty() ? "" : ", ") + std::to_string(slot);
  }
  if (!missing.empty()) throw Failure(kNoService, "the service did not start on slot " + missing);
}

}  // namespace

void AddServiceCommands(CLI::App& app, Output& output) {
  const auto slot = std::make_shared<uint16_t>();
  CLI::App* const service = AddGroup(app, "service", "The services of the slots");
  service->add_subcommand("status", "Show the slots and whether their services run")
      ->callback([&output] { ShowSlots(output); });
  CLI::App* const start = service->add_subcommand("start", "Start the service of a slot");
  Numeric(start->add_option("SLOT", *slot, "its number"), UINT16_MAX - 1)->required();
  start->callback([slot] { Start(*slot); });
  service->add_subcommand("start-all", "Start the services of all slots that are up")
      ->callback(StartAll);
}

}  // namespace hqosctl
