// Applying SPs, and the queries that read where they are applied.
#include "service/model/applications.h"
#include "service/requests/request.h"

namespace hqosd {

namespace {

// Calls `change` with the SP and the target of an apply payload.
template <void (*change)(Model&, const SPObject&, const ApplyKey&)>
Bytes Change(Model& model, const Payload& payload) {
  HQOS_ApplyInfo request{};
  if (!DecodeApply(payload.value, payload.length, request)) RefuseShort();
  const SPObject& sp = Get(model.sps, request.sp.name);
  change(model, sp, GetKey(model, request.obj));
  return {};
}

// The data TLV of an application. For the statistics the first word is the number of the SP's
// descendants; for the diagnosis the words are the two diagnosis values of the SP as a whole.
Bytes ApplicationReply(const Model& model, const ApplyKey& key, uint16_t type, bool isDiag) {
  const Application& application = model.applications.at(key);
  const SPObject& sp = model.sps.All().at(application.sp);
  HQOS_AppObj obj{key.type, key.value, key.param, {}};
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    const auto interface = model.interfaces->Find(key.name);
    obj.value = interface ? interface->index : application.ifIndex;
    key.name.copy(obj.name, sizeof obj.name - 1);
  }
  Bytes record;
  AppendRecord(record, HQOS_TLV_APPOBJ, hqos::kAppObj, obj);
  const uint32_t why = Diagnose(model, key);
  AppendSP(record, sp, isDiag ? uint32_t{why == HQOSD_DIAG_IN_EFFECT} : sp.value.descendants,
           isDiag ? why : 0);
  return DataTlv(type, record);
}

template <uint16_t type>
Bytes GetApply(Model& model, const Payload& payload) {
  HQOS_AppObj obj{};
  if (!hqos::DecodeAppObj(payload.value, payload.length, &obj)) RefuseShort();
  const ApplyKey key = GetKey(model, obj);
  if (!model.applications.contains(key)) {
    Refuse(HQOSD_NOT_FOUND, "nothing is applied to {}", TargetText(key));
  }
  return ApplicationReply(model, key, type, type == HQOS_GET_APPLY_DIAG);
}

// The interface that follows by name, then by direction; an empty name comes before all others. The
// key's prefix is ignored.
template <uint16_t type>
Bytes GetNextIfApply(Model& model, const HQOS_IfApplyKey& request) {
  const auto next =
      model.applications.upper_bound({HQOS_APPOBJ_IFINDEX, request.obj.name, 0, request.obj.param});
  if (next == model.applications.end() || next->first.type != HQOS_APPOBJ_IFINDEX) {
    Refuse(HQOSD_END, "no interface follows");
  }
  return ApplicationReply(model, next->first, type, type == HQOS_GETNEXT_IF_APPLY_DIAG);
}

using hqos::kIfApplyKey;

constexpr Request kRows[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_APPLY_SP, "ApplySP", Change<Apply>},
    {HQOS_OP_CONFIG, HQOS_CMD_UNDO_APPLY_SP, "UndoApplySP", Change<UndoApply>},
    {HQOS_OP_GET, HQOS_GET_APPLY_STAT, "GetApplyStat", GetApply<HQOS_GET_APPLY_STAT>},
    {HQOS_OP_GET, HQOS_GET_APPLY_DIAG, "GetApplyDiag", GetApply<HQOS_GET_APPLY_DIAG>},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_IF_APPLY_STAT, "GetNextIfApplyStat",
     With<GetNextIfApply<HQOS_GETNEXT_IF_APPLY_STAT>, kIfApplyKey>},
    {HQOS_OP_GETNEXT, HQOS_GETNEXT_IF_APPLY_DIAG, "GetNextIfApplyDiag",
     With<GetNextIfApply<HQOS_GETNEXT_IF_APPLY_DIAG>, kIfApplyKey>},
};

}  // namespace

const std::span<const Request> kApplyRequests = kRows;

}  // namespace hqosd
