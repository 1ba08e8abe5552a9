// SPs: their unit, and the queries that read them.
#include "service/hierarchy.h"
#include "service/objects.h"
#include "service/sp_record.h"

namespace hqosd {

namespace {

using SPObject = ObjectTable<SP>::Object;

void SetUnit(Model& model, SPObject& sp, uint32_t unit) {
  sp.value.unit = unit;
  model.sps.Touch(sp.name);
  TouchRuns(model, {"SP", sp.name, sp.id, &sp.value.children});
}

// The data TLV of an SP.
Answer Describe(const SPObject& sp, uint16_t type) {
  Bytes inner;
  AppendSP(inner, sp, 0, 0);
  Answer answer;
  AppendTlv(answer.data, type, inner.data(), inner.size());
  return answer;
}

}  // namespace

Answer SetSPUnit(Model& model, const Payload& payload) {
  HQOS_ObjValuePayload request{};
  if (!Read(payload, hqos::kObjValuePayload, request)) return TooShort();
  Answer refusal;
  auto* const sp = FindObject(model.sps, "SP", std::string(request.name), refusal);
  if (sp == nullptr) return refusal;
  if (request.value != HQOS_SPUNIT_BYTE_COUNT && request.value != HQOS_SPUNIT_WEIGHT) {
    return Refuse(HQOSD_BAD_VALUE, Title("SP", request.name) + ": there is no unit " +
                                       std::to_string(request.value));
  }
  SetUnit(model, *sp, request.value);
  return {};
}

Answer ResetSPUnit(Model& model, const Payload& payload) {
  Answer refusal;
  auto* const sp = FindObject(model.sps, "SP", payload, refusal);
  if (sp == nullptr) return refusal;
  SetUnit(model, *sp, SP{}.unit);
  return {};
}

Answer GetSP(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const sp = FindObject(model.sps, "SP", payload, refusal);
  return sp == nullptr ? refusal : Describe(*sp, HQOS_GET_SP);
}

Answer GetNextSP(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const sp = FindNext(model.sps, "SP", payload, refusal);
  return sp == nullptr ? refusal : Describe(*sp, HQOS_GETNEXT_SP);
}

}  // namespace hqosd
