#include "cli/apply_target.h"

#include <net/if.h>

#include <algorithm>
#include <set>

#include "cli/arguments.h"
#include "cli/exchange.h"
#include "cli/failure.h"
#include "cli/records.h"
#include "hqosd.h"
#include "platform/if_select.h"

namespace hqosctl {

namespace {

std::vector<std::string> Directions() {
  std::vector<std::string> names;
  for (uint32_t dir = 0; const char* name = HQOS_util_GetDirStr(dir); ++dir) {
    names.emplace_back(name);
  }
  return names;
}

template <class Names>
std::string Joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// The name itself, or where prefixes are allowed the only one that begins with it.
std::string Find(const std::string& name, const std::set<std::string>& all, bool byPrefix) {
  if (all.contains(name)) return name;
  std::vector<std::string> matches;
  for (const std::string& one : all) {
    if (byPrefix && one.starts_with(name)) matches.push_back(one);
  }
  if (matches.size() == 1) return matches[0];
  throw Failure(kUsage, matches.empty()
                            ? "there is no interface " + Shown(name) + "; there are " + Joined(all)
                            : "interface " + name + " may be " + Joined(matches));
}

// All applications on interfaces.
std::vector<HQOS_ApplyInfo> ReadInterfaces(bool forDiagnosis) {
  const auto next = forDiagnosis ? HQOS_lib_GetNextIfApplyDiag : HQOS_lib_GetNextIfApplyStat;
  std::vector<HQOS_ApplyInfo> all;
  std::pair<std::string, uint32_t> key;
  for (;;) {
    HQOS_ApplyInfo info;
    const uint32_t status = next(0, key.first.c_str(), key.second, &info);
    if (status == HQOSD_END) return all;
    CheckQuery(status, "interfaces");
    const std::pair<std::string, uint32_t> found(info.obj.name, info.obj.param);
    if (found <= key) CheckQuery(HQOS_ERR_BADREPLY, "interfaces");  // would never end
    key = found;
    all.push_back(info);
  }
}

}  // namespace

std::set<std::string> InterfaceNames() {
  constexpr uint8_t kAllKinds = 0xFF;
  IF_Select select;
  std::set<std::string> names;
  if (HQOS_util_InitIfSelect(kAllKinds, &select) != 0) return names;
  char name[IF_NAMESIZE] = "";
  while (IF_Select_GetNext(&select, name, name) != 0) names.insert(name);
  return names;
}

void ApplyTarget::AddOptions(CLI::App& command, bool required) {
  auto* const object = command.add_option_group("Object", "what the SP is applied to");
  Offer(object->add_option(
            "--interface", interface_,
            required ? "an interface" : "an interface; a unique prefix of its name is enough"),
        "@interface")
      ->type_name("NAME")
      ->check(CLI::Validator(
          [](const std::string& name) {
            return !name.empty() && name.size() < HQOS_APPOBJ_NAME_SIZE ? ""
                                                                        : "not an interface's name";
          },
          ""));
  Numeric(object->add_option("--slot", slot_, "a slot"), UINT16_MAX)->type_name("NUMBER");
  Numeric(object->add_option("--id", id_, "an identifier"), UINT16_MAX)->type_name("NUMBER");
  object->add_flag("--system", system_, "the system");
  if (!required) {
    object->add_flag("--all", all_, "all interfaces, slots and identifiers, and the system");
    Named(object->add_option("--sp", sp_, "wherever this SP is applied"), "@sp")
        ->required(false)
        ->type_name("NAME");
  }
  object->require_option(required ? 1 : 0, 1);
  Offer(command.add_option("--direction", direction_, Joined(Directions())), Joined(Directions()))
      ->type_name("DIRECTION")
      ->required(required)
      ->check(CLI::IsMember(Directions()).description(""));
}

HQOS_AppObj ApplyTarget::Object(bool mustExist, bool byPrefix) const {
  HQOS_AppObj obj{};
  const std::vector<std::string> directions = Directions();
  const auto dir = std::find(directions.begin(), directions.end(), direction_) - directions.begin();
  obj.param = static_cast<uint32_t>(dir);
  if (!interface_.empty()) {
    std::set<std::string> names = InterfaceNames();
    if (!mustExist && Collection::Active() != nullptr) {
      names.insert(interface_);  // the service decides
    } else if (!mustExist) {
      for (const HQOS_ApplyInfo& info : ReadInterfaces(false)) names.insert(info.obj.name);
    }
    const std::string name = Find(interface_, names, byPrefix);
    obj.type = HQOS_APPOBJ_IFINDEX;
    obj.value = if_nametoindex(name.c_str());
    name.copy(obj.name, sizeof obj.name - 1);
  } else if (slot_) {
    obj.type = HQOS_APPOBJ_SLOT;
    obj.value = *slot_;
  } else if (id_) {
    obj.type = HQOS_APPOBJ_ID;
    obj.value = *id_;
  } else if (system_) {
    obj.type = HQOS_APPOBJ_SYSTEM;
  }
  return obj;
}

HQOS_AppObj ApplyTarget::Existing() const { return Object(true, false); }
HQOS_AppObj ApplyTarget::Any() const { return Object(false, false); }

bool ApplyTarget::IsWanted(const HQOS_AppObj& obj) const {
  return direction_.empty() || direction_ == DirectionText(obj);
}

// No query lists slots and identifiers: the export of the state has them.
std::vector<HQOS_ApplyInfo> ApplyTarget::ReadAnywhere(bool forDiagnosis) const {
  const client::Model model = ReadState().model;
  if (!sp_.empty() && !model.sp.contains(sp_)) CheckQuery(HQOSD_NOT_FOUND, "SP " + sp_);
  const auto get = forDiagnosis ? HQOS_lib_GetApplyDiag : HQOS_lib_GetApplyStat;
  std::vector<HQOS_ApplyInfo> all;
  for (const auto& [target, application] : model.apply) {
    const HQOS_AppObj obj = ObjectOf(target);
    if (!IsWanted(obj) || (!sp_.empty() && application.sp != sp_)) continue;
    HQOS_ApplyInfo info;
    const uint32_t status = get(&obj, &info);
    if (status == HQOSD_NOT_FOUND) continue;  // by now
    CheckQuery(status, ObjectText(obj));
    all.push_back(info);
  }
  return all;
}

std::vector<HQOS_ApplyInfo> ApplyTarget::ReadApplied(bool forDiagnosis) const {
  if (all_ || !sp_.empty()) return ReadAnywhere(forDiagnosis);
  HQOS_AppObj obj = Object(false, true);
  std::vector<HQOS_ApplyInfo> all;
  if (obj.type == 0) {
    for (const HQOS_ApplyInfo& info : ReadInterfaces(forDiagnosis)) {
      if (IsWanted(info.obj)) all.push_back(info);
    }
    return all;
  }
  const auto get = forDiagnosis ? HQOS_lib_GetApplyDiag : HQOS_lib_GetApplyStat;
  for (uint32_t dir = 0; HQOS_util_GetDirStr(dir) != nullptr; ++dir) {
    if (!direction_.empty() && dir != obj.param) continue;
    HQOS_AppObj one = obj;
    one.param = dir;
    HQOS_ApplyInfo info;
    const uint32_t status = get(&one, &info);
    if (status == HQOSD_NOT_FOUND) continue;
    CheckQuery(status, ObjectText(one));
    all.push_back(info);
  }
  if (all.empty()) {
    const std::string direction = direction_.empty() ? "" : " " + direction_;
    throw Failure(kRefused, ObjectText(obj) + direction + ": nothing is applied there",
                  HQOSD_NOT_FOUND);
  }
  return all;
}

std::string ObjectText(const HQOS_AppObj& obj) {
  switch (obj.type) {
    case HQOS_APPOBJ_SLOT:
      return "slot " + std::to_string(obj.value);
    case HQOS_APPOBJ_ID:
      return "identifier " + std::to_string(obj.value);
    case HQOS_APPOBJ_SYSTEM:
      return "system";
    default:
      return "interface " + std::string(obj.name);
  }
}

std::string DirectionText(const HQOS_AppObj& obj) {
  const char* const name = HQOS_util_GetDirStr(obj.param);
  return name != nullptr ? name : std::to_string(obj.param);
}

}  // namespace hqosctl
