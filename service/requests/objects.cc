// Commands that create and delete objects, set the unit of an SP and switch debugging; queries that
// read SPs, FGs and FCs.
#include "service/model/applications.h"
#include "service/model/hierarchy.h"
#include "service/requests/request.h"

namespace hqosd {

namespace {

template <auto table>
void Add(Model& model, const HQOS_ObjPayload& key) {
  auto& objects = model.*table;
  CheckName(objects.kKind, key.name);
  Create(model, objects, key.name, key.id);
}

void RefuseChildren(const Model& model, const std::string& label, const Children& children) {
  if (children.empty()) return;
  const Child first = ChildOf(model, children.begin()->first);
  Refuse(HQOSD_IN_USE, "{} still has {} below it", label, Label(first.kind, *first.name));
}

void DelSP(Model& model, const HQOS_ObjPayload& key) {
  const auto& sp = Get(model.sps, key.name, key.id);
  const std::string label = Label(Kind::SP, sp.name), target = FindTargetText(model, sp.id);
  if (!target.empty()) Refuse(HQOSD_IN_USE, "{} is applied to {}", label, target);
  RefuseChildren(model, label, sp.value.children);
  model.sps.Remove(std::string(sp.name));
}

void DelFG(Model& model, const HQOS_ObjPayload& key) {
  const auto& fg = Get(model.fgs, key.name, key.id);
  const std::string label = Label(Kind::FG, fg.name);
  const Parents& parents = fg.value.parents;
  if (!parents.sps.empty()) {
    Refuse(HQOSD_IN_USE, "{} is nested below {}", label,
           Label(Kind::SP, model.sps.At(*parents.sps.begin()).name));
  }
  if (!parents.fgs.empty()) {
    Refuse(HQOSD_IN_USE, "{} is nested below {}", label,
           Label(Kind::FG, model.fgs.At(*parents.fgs.begin()).name));
  }
  RefuseChildren(model, label, fg.value.children);
  model.fcIdHint = std::max(model.fcIdHint, fg.id);
  model.fgs.Remove(std::string(fg.name));
}

void DelFP(Model& model, const HQOS_ObjPayload& key) {
  const auto& fp = Get(model.fps, key.name, key.id);
  if (fp.value.uses != 0) {
    Refuse(HQOSD_IN_USE, "{} is used by {}", Label(Kind::FP, fp.name), UserOf(model, fp.name));
  }
  const HQOS_FPInfo& settings = fp.value.settings;
  if ((settings.flags & HQOS_FPI_DPREF) != 0) --model.dps.At(settings.dpId).value.uses;
  model.fps.Remove(std::string(fp.name));
}

void DelDP(Model& model, const HQOS_ObjPayload& key) {
  const auto& dp = Get(model.dps, key.name, key.id);
  if (dp.value.uses != 0) {
    const auto& fps = model.fps.All();
    const auto user = std::find_if(fps.begin(), fps.end(), [&](const auto& entry) {
      const HQOS_FPInfo& settings = entry.second.value.settings;
      return (settings.flags & HQOS_FPI_DPREF) != 0 && settings.dpId == dp.id;
    });
    Refuse(HQOSD_IN_USE, "{} is used by {}", Label(Kind::DP, dp.name),
           Label(Kind::FP, user->second.name));
  }
  model.dps.Remove(std::string(dp.name));
}

void SetSPUnit(Model& model, const HQOS_ObjValuePayload& request) {
  SetUnit(model, Get(model.sps, request.name), request.value);
}

void ResetSPUnit(Model& model, const HQOS_ObjPayload& key) {
  SetUnit(model, Get(model.sps, key.name, key.id), SP{}.unit);
}

void CheckSelector(uint32_t selector) {
  constexpr uint32_t kKnown = HQOSD_DEBUG_REQUESTS | HQOSD_DEBUG_BYTES;
  if (selector == 0 || (selector & ~kKnown) != 0) {
    Refuse(HQOSD_BAD_VALUE, "debug selector {} is unknown", selector);
  }
}

void SetDebug(Model& model, const HQOS_DebugPayload& request) {
  CheckSelector(request.debug);
  model.debug |= request.debug;
}

void ResetDebug(Model& model, const HQOS_DebugPayload& request) {
  CheckSelector(request.debug);
  model.debug &= ~request.debug;
}

Bytes SPReply(const SPObject& sp, uint16_t type) {
  Bytes record;
  AppendSP(record, sp, 0, 0);
  return DataTlv(type, record);
}

Bytes GetSP(Model& model, const HQOS_ObjPayload& key) {
  return SPReply(Get(model.sps, key.name, key.id), HQOS_GET_SP);
}

Bytes GetNextSP(Model& model, const HQOS_NextKey& key) {
  return SPReply(GetNext(model.sps, key.id), HQOS_GETNEXT_SP);
}

template <class Object>
Bytes NamedReply(const Object& object, uint16_t type) {
  return DataTlv(type, Encoded(hqos::kNamedInfo<HQOS_FGInfo>, NamedRecord<HQOS_FGInfo>(object)));
}

Bytes GetFG(Model& model, const HQOS_ObjPayload& key) {
  return NamedReply(Get(model.fgs, key.name, key.id), HQOS_GET_FG);
}

Bytes GetNextFG(Model& model, const HQOS_NextKey& key) {
  return NamedReply(GetNext(model.fgs, key.id), HQOS_GETNEXT_FG);
}

Bytes GetFC(Model& model, const HQOS_ObjPayload& key) {
  return NamedReply(Get(model.fcs, key.name, key.id), HQOS_GET_FC);
}

Bytes GetAllFC(Model& model, const Payload& /*none*/) {
  return ListObjects(model.fcs, {HQOS_ID_NONE, 0}, HQOS_BULK_ALL_FC, [](const auto& fc) {
    return Encoded(hqos::kNamedInfo<HQOS_FCInfo>, NamedRecord<HQOS_FCInfo>(fc));
  });
}

using hqos::kDebugPayload;
using hqos::kNextKey;
using hqos::kObjPayload;
using hqos::kObjValuePayload;

constexpr Request kRows[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_SP, "AddSP", With<Add<&Model::sps>, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_SP, "DelSP", With<DelSP, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_SET_SP_UNIT, "SetSPUnit", With<SetSPUnit, kObjValuePayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_RESET_SP_UNIT, "ResetSPUnit", With<ResetSPUnit, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FG, "AddFG", With<Add<&Model::fgs>, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FG, "DelFG", With<DelFG, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_FP, "AddFP", With<Add<&Model::fps>, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FP, "DelFP", With<DelFP, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP, "AddDP", With<Add<&Model::dps>, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP, "DelDP", With<DelDP, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_SET_DEBUG, "SetDebug", With<SetDebug, kDebugPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_RESET_DEBUG, "ResetDebug", With<ResetDebug, kDebugPayload>},
    {HQOS_OP_GET, HQOS_GET_SP, "GetSP", With<GetSP, kObjPayload>},
    {HQOS_OP_GET, HQOS_GET_FG, "GetFG", With<GetFG, kObjPayload>},
    {HQOS_OP_GET, HQOS_GET_FC, "GetFC", With<GetFC, kObjPayload>},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_FG, "GetNextFG", With<GetNextFG, kNextKey>},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_SP, "GetNextSP", With<GetNextSP, kNextKey>},
    {HQOS_OP_BULK, HQOS_BULK_ALL_FC, "GetAllFC", GetAllFC},
};

}  // namespace

const std::span<const Request> kObjectRequests = kRows;

}  // namespace hqosd
