// Applying SPs, and the queries that read where they are applied.
#include "msg/records.h"
#include "platform/hqosd_store.h"
#include "service/applications.h"
#include "service/hierarchy.h"
#include "service/sp_record.h"

namespace hqosd {

namespace {

// The SP of an apply payload, and under which key it is applied; null with a refusal.
const ObjectTable<SP>::Object* FindTarget(Model& model, const Payload& payload, ApplyKey& key,
                                          Answer& refusal) {
  HQOS_ApplyInfo request;
  if (HQOSD_ReadApply(payload.value, payload.length, &request) == 0) {
    refusal = TooShort();
    return nullptr;
  }
  const auto* const sp = FindObject(model.sps, "SP", std::string(request.sp.name), refusal);
  return sp != nullptr && FindKey(model, request.obj, key, refusal) ? sp : nullptr;
}

// The data TLV of an application. `word0` and `word1` are the SP's two words.
Answer Describe(const Model& model, const ApplyKey& key, uint16_t type, uint32_t word0,
                uint32_t word1) {
  const Application& application = model.applications.at(key);
  HQOS_AppObj obj{key.type, key.value, key.param, {}};
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    const auto interface = model.interfaces->Find(key.name);
    obj.value = interface ? interface->index : application.ifIndex;
    key.name.copy(obj.name, sizeof obj.name - 1);
  }
  Bytes inner;
  AppendRecord(inner, HQOS_TLV_APPOBJ, hqos::kAppObj, obj);
  AppendSP(inner, model.sps.All().at(application.sp), word0, word1);
  Answer answer;
  AppendTlv(answer.data, type, inner.data(), inner.size());
  return answer;
}

// For the statistics, the first word is the number of the SP's children at every depth.
Answer DescribeStat(const Model& model, const ApplyKey& key, uint16_t type) {
  const SP& sp = model.sps.All().at(model.applications.at(key).sp).value;
  return Describe(model, key, type, sp.sons, 0);
}

// For the diagnosis, the words are the two diagnosis values of the whole.
Answer DescribeDiag(const Model& model, const ApplyKey& key, uint16_t type) {
  const uint32_t why = Diagnose(model, key);
  return Describe(model, key, type, why == HQOSD_DIAG_IN_EFFECT ? 1 : 0, why);
}

using DescribeFunction = Answer (*)(const Model&, const ApplyKey&, uint16_t);

Answer GetApply(const Model& model, const Payload& payload, uint16_t type,
                DescribeFunction describe) {
  HQOS_AppObj obj{};
  if (!hqos::DecodeAppObj(payload.value, payload.length, &obj)) return TooShort();
  Answer refusal;
  ApplyKey key;
  if (!FindKey(model, obj, key, refusal)) return refusal;
  if (model.applications.contains(key)) return describe(model, key, type);
  return Refuse(HQOSD_NOT_FOUND, "nothing is applied to " + Place(key));
}

// The interface that follows by name, then by direction; an empty name comes before all others. The
// key's prefix selects nothing.
Answer GetNextIfApply(const Model& model, const Payload& payload, uint16_t type,
                      DescribeFunction describe) {
  HQOS_IfApplyKey request{};
  if (!Read(payload, hqos::kIfApplyKey, request)) return TooShort();
  const auto next =
      model.applications.upper_bound({HQOS_APPOBJ_IFINDEX, request.obj.name, 0, request.obj.param});
  if (next == model.applications.end() || next->first.type != HQOS_APPOBJ_IFINDEX) {
    return Refuse(HQOSD_END, "no interface follows");
  }
  return describe(model, next->first, type);
}

}  // namespace

Answer ApplySP(Model& model, const Payload& payload) {
  Answer refusal;
  ApplyKey key;
  const auto* const sp = FindTarget(model, payload, key, refusal);
  if (sp == nullptr) return refusal;
  const std::string why = WhyNotApplicable(model, key);
  if (!why.empty()) return Refuse(HQOSD_APPLIED, why);
  uint32_t ifIndex = 0;
  if (key.type == HQOS_APPOBJ_IFINDEX) {
    const auto interface = model.interfaces->Find(key.name);
    if (!interface) return Refuse(HQOSD_NOT_FOUND, Title("interface", key.name) + " has gone");
    ifIndex = interface->index;
    FreeIndex(model, key, ifIndex);
  }
  model.applications[key] = {sp->id, ifIndex};
  model.touchedApplications.insert(key);
  model.touchedRuns.emplace(key, ifIndex);
  return {};
}

Answer UndoApplySP(Model& model, const Payload& payload) {
  Answer refusal;
  ApplyKey key;
  const auto* const sp = FindTarget(model, payload, key, refusal);
  if (sp == nullptr) return refusal;
  if (!IsApplied(model, *sp, key)) return NotApplied(sp->name, key);
  const auto application = model.applications.find(key);
  model.touchedApplications.insert(key);
  model.touchedRuns.emplace(key, application->second.ifIndex);
  model.applications.erase(application);
  return {};
}

Answer GetApplyStat(Model& model, const Payload& payload) {
  return GetApply(model, payload, HQOS_GET_APPLY_STAT, DescribeStat);
}

Answer GetApplyDiag(Model& model, const Payload& payload) {
  return GetApply(model, payload, HQOS_GET_APPLY_DIAG, DescribeDiag);
}

Answer GetNextIfApplyStat(Model& model, const Payload& payload) {
  return GetNextIfApply(model, payload, HQOS_GETNEXT_IF_APPLY_STAT, DescribeStat);
}

Answer GetNextIfApplyDiag(Model& model, const Payload& payload) {
  return GetNextIfApply(model, payload, HQOS_GETNEXT_IF_APPLY_DIAG, DescribeDiag);
}

}  // namespace hqosd
