#include "service/applications.h"

#include "service/objects.h"

namespace hqosd {

namespace {

Answer NoInterface(const std::string& title) {
  return Refuse(HQOSD_NOT_FOUND, title + " does not exist");
}

// The name under which an interface that has gone was applied to; "" when it was not.
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

// The name of the interface that the object means; "" with a refusal when there is none.
std::string NameOf(const Model& model, const HQOS_AppObj& obj, Answer& refusal) {
  std::string name = obj.name;
  const std::string title = Title("interface", name);
  if (name.empty()) {
    const auto found = model.interfaces->Find(obj.value);
    std::string former = found ? found->name : FormerName(model, obj.value);
    if (former.empty()) refusal = NoInterface("interface " + std::to_string(obj.value));
    return former;
  }
  const auto found = model.interfaces->Find(name);
  if (!found && !IsKnown(model, name)) {
    refusal = NoInterface(title);
  } else if (found && obj.value != 0 && found->index != obj.value) {
    refusal = Refuse(HQOSD_BAD_VALUE, title + " has the index " + std::to_string(found->index) +
                                          ", not " + std::to_string(obj.value));
  } else {
    return name;
  }
  return "";
}

// The SP that stands in the way of another in that direction; null when there is none.
const Application* FindObstacle(const Model& model, const ApplyKey& key) {
  for (const uint32_t dir : {HQOS_DIR_INBOUND, HQOS_DIR_OUTBOUND, HQOS_DIR_BOTH}) {
    if (key.param != HQOS_DIR_BOTH && dir != HQOS_DIR_BOTH && dir != key.param) continue;
    const auto found = model.applications.find({key.type, key.name, key.value, dir});
    if (found != model.applications.end()) return &found->second;
  }
  return nullptr;
}

// Whether there can be such an object: an interface has a name and no value, others have no name.
bool IsObject(const ApplyKey& key) {
  uint32_t value = 0;
  return (key.type == HQOS_APPOBJ_IFINDEX) != key.name.empty() &&
         HQOS_util_GetAppObjByType(key.type, key.value, &value) == 0 && value == key.value;
}

}  // namespace

std::string Place(const ApplyKey& key) {
  const char* const dir = HQOS_util_GetDirStr(key.param);
  const std::string behind = dir == nullptr ? "" : std::string(" ") + dir;
  switch (key.type) {
    case HQOS_APPOBJ_SLOT:
      return "slot " + std::to_string(key.value) + behind;
    case HQOS_APPOBJ_ID:
      return "identifier " + std::to_string(key.value) + behind;
    case HQOS_APPOBJ_SYSTEM:
      return "system" + behind;
    default:
      return Title("interface", key.name) + behind;
  }
}

bool FindKey(const Model& model, const HQOS_AppObj& obj, ApplyKey& key, Answer& refusal) {
  key = {obj.type, "", 0, obj.param};
  if (HQOS_util_GetDirStr(obj.param) == nullptr) {
    refusal = Refuse(HQOSD_BAD_VALUE, WhyNotApplicable(model, key));
  } else if (obj.type == HQOS_APPOBJ_IFINDEX) {
    key.name = NameOf(model, obj, refusal);
  } else if (HQOS_util_GetAppObjByType(obj.type, obj.value, &key.value) != 0) {
    refusal = Refuse(HQOSD_BAD_VALUE,
                     "there is no application object of type " + std::to_string(obj.type));
  }
  return refusal.code == 0;
}

std::string WhyNotApplicable(const Model& model, const ApplyKey& key) {
  if (HQOS_util_GetDirStr(key.param) == nullptr) {
    return "there is no direction " + std::to_string(key.param);
  }
  if (!IsObject(key)) return "there is no such application object";
  const Application* const obstacle = FindObstacle(model, key);
  if (obstacle == nullptr) return "";
  return Place(key) + ": " + Title("SP", model.sps.All().at(obstacle->sp).name) + " is applied";
}

void FreeIndex(Model& model, const ApplyKey& key, uint32_t ifIndex) {
  constexpr uint32_t kNoInterface = 0x80000000;  // and up
  std::set<uint32_t> taken;
  for (const auto& [other, application] : model.applications) taken.insert(application.ifIndex);
  for (auto& [other, application] : model.applications) {
    if (other.type != HQOS_APPOBJ_IFINDEX || other.name == key.name || other.param != key.param ||
        application.ifIndex != ifIndex) {
      continue;
    }
    model.touchedRuns.emplace(other, ifIndex);
    application.ifIndex = kNoInterface;
    while (taken.contains(application.ifIndex)) ++application.ifIndex;
    model.touchedRuns.emplace(other, application.ifIndex);
    model.touchedApplications.insert(other);
  }
}

bool IsApplied(const Model& model, const ObjectTable<SP>::Object& sp, const ApplyKey& key) {
  const auto application = model.applications.find(key);
  return application != model.applications.end() && application->second.sp == sp.id;
}

Answer NotApplied(const std::string& sp, const ApplyKey& key) {
  return Refuse(HQOSD_NOT_FOUND, Title("SP", sp) + " is not applied to " + Place(key));
}

uint32_t Diagnose(const Model& model, const ApplyKey& key) {
  if (!model.applications.contains(key)) return HQOSD_DIAG_NOT_APPLIED;
  if (key.type != HQOS_APPOBJ_IFINDEX) return HQOSD_DIAG_IN_EFFECT;
  const auto interface = model.interfaces->Find(key.name);
  if (!interface) return HQOSD_DIAG_NO_INTERFACE;
  return interface->up ? HQOSD_DIAG_IN_EFFECT : HQOSD_DIAG_INTERFACE_DOWN;
}

std::string PlaceOf(const Model& model, uint16_t sp) {
  for (const auto& [key, application] : model.applications) {
    if (application.sp == sp) return Place(key);
  }
  return "";
}

}  // namespace hqosd
