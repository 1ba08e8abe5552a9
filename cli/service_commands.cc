// Slots and their services, view names, random numbers.
#include <cstring>
#include <memory>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/read.h"
#include "cli/rule_text.h"
#include "hqos.h"
#include "platform/slot.h"

namespace hqosctl {

namespace {

// The numbers of the slots that there are.
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

void ShowView(const std::string& view, Output& output) {
  char kind[HQOS_VIEW_OBJ_SIZE], name[HQOS_NAME_SIZE], subName[HQOS_SUBVIEW_NAME_SIZE];
  HQOS_MatchRule rule = EmptyRule(HQOS_MATCH_NONE);
  // A sub view ends with a rule in its text form, which begins with four digits.
  const size_t ruleAt = view.size() - std::min<size_t>(view.size(), HQOS_MATCHRULE_STR_LEN);
  const bool isSub = ruleAt > 0 && view[ruleAt - 1] == '-' &&
                     view.substr(ruleAt, 4).find_first_not_of("0123456789") == std::string::npos &&
                     HQOS_util_GetInfoBySubCmdView(view.c_str(), kind, subName, &rule) == 0;
  if (!isSub && HQOS_util_GetObjByCmdView(view.c_str(), kind, name) != 0) {
    throw Failure(kUsage, "a view is called <first>-<object kind>-<name>, or so with a rule");
  }
  const std::string shown = isSub ? subName : name;
  output.Begin({"KIND", "NAME", "RULE"});
  output.Add({kind, shown, RuleText(rule)},
             {{"kind", kind}, {"name", shown}, {"rule", isSub ? RuleRecord(rule) : nullptr}});
  output.End();
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

  const auto view = std::make_shared<std::string>();
  CLI::App* const show = app.add_subcommand("view", "Take the name of a view or sub view apart");
  show->add_option("NAME", *view, "the view's name")->required();
  show->callback([view, &output] { ShowView(*view, output); });

  app.add_subcommand("random", "Draw a random number from 1 to 65535")->callback([&output] {
    const uint32_t number = HQOS_util_GetRandom();
    output.Begin({});
    output.Line(std::to_string(number), {{"random", number}});
    output.End();
  });
}

}  // namespace hqosctl
