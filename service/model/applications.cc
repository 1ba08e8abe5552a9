#include "service/model/applications.h"

#include "service/model/objects.h"

namespace hqosd {

namespace {

// The name under which an SP was applied to an interface that has disappeared; "" when none was.
std::string FormerName(const Model& model, uint32_t index) {
  for (const auto& [key, application] : model.applications) {
    if (key.type == HQOS_APPOBJ_IFINDEX && application.ifIndex == index &&
        !model.interfaces->Find(key.name)) {
      return key.name;
    }
  }
  return "";
}

bool IsKnown(const Model& model, const std::string& name) {
  const auto first = model.applications.lower_bound({HQOS_APPOBJ_IFINDEX, name, 0, 0});
  return first != model.applications.end() && first->first.name == name;
}

// The name of the interface that the object means.
std::string InterfaceName(const Model& model, const HQOS_AppObj& obj) {
  std::string name = obj.name;
  if (name.empty()) {
    const auto found = model.interfaces->Find(obj.value);
    name = found ? found->name : FormerName(model, obj.value);
    if (name.empty()) Refuse(HQOSD_NOT_FOUND, "interface {} does not exist", obj.value);
    return name;
  }
  const auto found = model.interfaces->Find(name);
  const std::string label = Label("interface", name);
  if (!found && !IsKnown(model, name)) Refuse(HQOSD_NOT_FOUND, "{} does not exist", label);
  if (found && obj.value != 0 && found->index != obj.value) {
    Refuse(HQOSD_BAD_VALUE, "{} has the index {}, not {}", label, found->index, obj.value);
  }
  return name;
}

void CheckDirection(uint32_t param) {
  if (HQOS_util_GetDirStr(param) != nullptr) return;
  Refuse(HQOSD_BAD_VALUE, "there is no direction {}", param);
}

// Whether there can be such an object: an interface has a name and no value, others have no name.
bool IsObject(const ApplyKey& key) {
  uint32_t value = 0;
  return (key.type == HQOS_APPOBJ_IFINDEX) != key.name.empty() &&
         HQOS_util_GetAppObjByType(key.type, key.value, &value) == 0 && value == key.value;
}

// At most one SP per object and direction; both directions conflict with either.
void CheckFree(const Model& model, const ApplyKey& key) {
  CheckDirection(key.param);
  if (!IsObject(key)) Refuse(HQOSD_BAD_VALUE, "there is no such application object");
  for (const uint32_t dir : {HQOS_DIR_INBOUND, HQOS_DIR_OUTBOUND, HQOS_DIR_BOTH}) {
    if (key.param != HQOS_DIR_BOTH && dir != HQOS_DIR_BOTH && dir != key.param) continue;
    const auto found = model.applications.find({key.type, key.name, key.value, dir});
    if (found == model.applications.end()) continue;
    const std::string& sp = model.sps.All().at(found->second.sp).name;
    Refuse(HQOSD_APPLIED, "{}: {} is applied", TargetText(key), Label(Kind::SP, sp));
  }
}

// No two applications have one interface index in a direction: one that has it from an interface
// that has disappeared gets a number that no interface has.
void ReleaseIfIndex(Model& model, const ApplyKey& key, uint32_t ifIndex) {
  constexpr uint32_t kNoInterface = 0x80000000;  // and up
  std::set<uint32_t> taken;
  for (const auto& [other, application] : model.applications) taken.insert(application.ifIndex);
  for (auto& [other, application] : model.applications) {
    if (other.type != HQOS_APPOBJ_IFINDEX || other.name == key.name || other.param != key.param ||
        application.ifIndex != ifIndex) {
      continue;
    }
    model.dirtyRuns.emplace(other, ifIndex);
    application.ifIndex = kNoInterface;
    while (taken.contains(application.ifIndex)) ++application.ifIndex;
    model.dirtyRuns.emplace(other, application.ifIndex);
    model.dirtyApplications.insert(other);
  }
}

void Put(Model& model, const SPObject& sp, const ApplyKey& key, uint32_t ifIndex) {
  if (key.type == HQOS_APPOBJ_IFINDEX) ReleaseIfIndex(model, key, ifIndex);
  model.applications[key] = {sp.id, ifIndex};
  model.dirtyApplications.insert(key);
  model.dirtyRuns.emplace(key, ifIndex);
}

}  // namespace

std::string TargetText(const ApplyKey& key) {
  const char* const dir = HQOS_util_GetDirStr(key.param);
  const std::string end = dir == nullptr ? "" : std::string(" ") + dir;
  switch (key.type) {
    case HQOS_APPOBJ_SLOT:
      return fmt::format("slot {}{}", key.value, end);
    case HQOS_APPOBJ_ID:
      return fmt::format("identifier {}{}", key.value, end);
    case HQOS_APPOBJ_SYSTEM:
      return "system" + end;
    default:
      return Label("interface", key.name) + end;
  }
}

ApplyKey GetKey(const Model& model, const HQOS_AppObj& obj) {
  ApplyKey key{obj.type, "", 0, obj.param};
  CheckDirection(obj.param);
  if (obj.type == HQOS_APPOBJ_IFINDEX) {
    key.name = InterfaceName(model, obj);
  } else if (HQOS_util_GetAppObjByType(obj.type, obj.value, &key.value) != 0) {
    Refuse(HQOSD_BAD_VALUE, "there is no application object of type {}", key.type);
  }
  return key;
}

void Apply(Model& model, const SPObject& sp, const ApplyKey& key) {
  CheckFree(model, key);
  uint32_t ifIndex = 0;
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    const auto interface = model.interfaces->Find(key.name);
    if (!interface) Refuse(HQOSD_NOT_FOUND, "{} has gone", Label("interface", key.name));
    ifIndex = interface->index;
  }
  Put(model, sp, key, ifIndex);
}

void Enter(Model& model, const SPObject& sp, const ApplyKey& key, uint32_t ifIndex) {
  CheckFree(model, key);
  Put(model, sp, key, ifIndex);
}

void UndoApply(Model& model, const SPObject& sp, const ApplyKey& key) {
  if (!IsApplied(model, sp, key)) RefuseNotApplied(sp, key);
  const auto application = model.applications.find(key);
  model.dirtyApplications.insert(key);
  model.dirtyRuns.emplace(key, application->second.ifIndex);
  for (const auto& [path, one] : application->second.classes) {
    model.dirtyClasses.emplace(key, path);
  }
  model.applications.erase(application);
}

bool IsApplied(const Model& model, const SPObject& sp, const ApplyKey& key) {
  const auto application = model.applications.find(key);
  return application != model.applications.end() && application->second.sp == sp.id;
}

void RefuseNotApplied(const SPObject& sp, const ApplyKey& key) {
  Refuse(HQOSD_NOT_FOUND, "{} is not applied to {}", Label(Kind::SP, sp.name), TargetText(key));
}

uint32_t Diagnose(const Model& model, const ApplyKey& key) {
  const auto application = model.applications.find(key);
  if (application == model.applications.end()) return HQOSD_DIAG_NOT_APPLIED;
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    const auto interface = model.interfaces->Find(key.name);
    if (!interface) return HQOSD_DIAG_NO_INTERFACE;
    if (!interface->up) return HQOSD_DIAG_INTERFACE_DOWN;
  }
  return application->second.diag;
}

std::string FindTargetText(const Model& model, uint16_t sp) {
  for (const auto& [key, application] : model.applications) {
    if (application.sp == sp) return TargetText(key);
  }
  return "";
}

}  // namespace hqosd
