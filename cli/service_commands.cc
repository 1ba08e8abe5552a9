// Slots and their services.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "hqos.h"
#include "platform/service_manager.h"
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

uint16_t NodeOf(uint16_t slot) { return static_cast<uint16_t>(HQOS_util_GetLipBySlotId(slot)); }

std::string SlotsText(const std::vector<uint16_t>& slots) {
  std::string text;
  for (const uint16_t slot : slots) text += (text.empty() ? "" : ", ") + std::to_string(slot);
  return text;
}

// A chassis file that cannot be read must not look like a chassis of one slot.
void CheckChassis() {
  char why[4096];
  if (DEV_GetChassisFault(why, sizeof why) == 0) return;
  throw Failure(kUsage, "cannot use the chassis that HQOS_CHASSIS names: " + std::string(why));
}

void ShowSlots(Output& output) {
  CheckChassis();
  constexpr struct {
    const char *text, *json;
  } kStates[] = {{"-", "stopped"}, {"runs", "runs"}, {"no answer", "no answer"}};
  std::vector<uint16_t> hung;
  output.Begin({"SLOT", Number("NODE"), "UP", "SERVICE"});
  for (const uint16_t slot : Slots()) {
    const uint16_t node = NodeOf(slot);
    const bool isSelf = slot == DEV_GetSelfSlot(), isUp = IF_IsSlotUp(slot) == 1;
    const uint32_t state = SERVICE_GetState(node);
    if (state == SERVICE_NO_ANSWER) hung.push_back(slot);
    output.Add({std::to_string(slot) + (isSelf ? " (self)" : ""), std::to_string(node),
                isUp ? "yes" : "no", kStates[state].text},
               {{"slot", slot},
                {"self", isSelf},
                {"node", node},
                {"up", isUp},
                {"running", state == SERVICE_ANSWERS},
                {"state", kStates[state].json}});
  }
  output.End();
  if (!hung.empty())
    throw Failure(kNoService, "no answer from the service of slot " + SlotsText(hung));
}

// Why the service did not start, by the code of the service manager.
std::string StartText(uint16_t slot, uint32_t code) {
  const std::string service = "the service of slot " + std::to_string(slot);
  const std::string command = "hqosd --node " + std::to_string(NodeOf(slot));
  const char* const program = std::getenv("HQOSD");
  const std::string name = program != nullptr && *program != '\0' ? program : "hqosd";
  switch (code) {
    case ECHILD:
      return service + " ended before it answered; run " + command + " to see why";
    case ETIMEDOUT:
      return service + " has not answered within 10 seconds of its start; end it, and run " +
             command + " to see why";
    default:
      return service + " cannot be started: " + name + ": " +
             std::strerror(static_cast<int>(code)) + "; set HQOSD to the program's path";
  }
}

void Start(uint16_t slot) {
  CheckChassis();
  const std::vector<uint16_t> slots = Slots();
  const std::string number = std::to_string(slot);
  if (std::find(slots.begin(), slots.end(), slot) == slots.end()) {
    throw Failure(kUsage, "there is no slot " + number + "; the chassis has " + SlotsText(slots));
  }
  if (IF_IsSlotUp(slot) != 1) {
    throw Failure(kUsage, "slot " + number + " is down; set up = true in the file of HQOS_CHASSIS");
  }
  const uint32_t state = SERVICE_GetState(NodeOf(slot));
  if (state == SERVICE_ANSWERS) return;
  if (state == SERVICE_NO_ANSWER) {
    throw Failure(kNoService, "the service of slot " + number +
                                  " is there but does not answer; end it before you start another");
  }
  const uint32_t code = SERVICE_Start(NodeOf(slot), "hqos", 0, 0);
  if (code != 0) throw Failure(kNoService, StartText(slot, code));
}

// The other slots in one batch, then all that does not run yet, for the reasons.
void StartAll() {
  CheckChassis();
  HQOS_util_StartServiceOnAllSlot();
  std::string faults;
  for (const uint16_t slot : Slots()) {
    if (IF_IsSlotUp(slot) != 1) continue;
    try {
      Start(slot);
    } catch (const Failure& failure) {
      faults += (faults.empty() ? "" : "; ") + std::string(failure.what());
    }
  }
  if (!faults.empty()) throw Failure(kNoService, faults);
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
