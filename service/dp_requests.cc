// DPs: their weight and thresholds, and the queries that read them.
#include "msg/records.h"
#include "service/block.h"

namespace hqosd {

namespace {

using DPObject = ObjectTable<DP>::Object;

// Sets the threshold that the payload names, or makes it zero again.
Answer SetThreshold(Model& model, const Payload& payload, bool toZero) {
  HQOS_DPThresholdPayload request{};
  if (!Read(payload, hqos::kDPThresholdPayload, request)) return TooShort();
  Answer refusal;
  DPObject* const dp = FindObject(model.dps, "DP", std::string(request.name), refusal);
  if (dp == nullptr) return refusal;
  if (request.index >= HQOS_DP_THRESHOLDS) {
    return Refuse(HQOSD_BAD_VALUE, Title("DP", dp->name) + ": there is no threshold " +
                                       std::to_string(request.index));
  }
  dp->value.thresholds[request.index] = toZero ? HQOS_DPThreshold{} : request.threshold;
  model.dps.Touch(dp->name);
  return {};
}

Bytes Describe(const DPObject& dp) { return Encoded(hqos::kDPInfo, DPRecord(dp)); }

}  // namespace

Answer AddDPThreshold(Model& model, const Payload& payload) {
  return SetThreshold(model, payload, false);
}

Answer DelDPThreshold(Model& model, const Payload& payload) {
  return SetThreshold(model, payload, true);
}

Answer AddDPWeight(Model& model, const Payload& payload) {
  HQOS_ObjValuePayload request{};
  if (!Read(payload, hqos::kObjValuePayload, request)) return TooShort();
  Answer refusal;
  DPObject* const dp = FindObject(model.dps, "DP", std::string(request.name), refusal);
  if (dp == nullptr) return refusal;
  dp->value.weight = request.value;
  model.dps.Touch(dp->name);
  return {};
}

Answer DelDPWeight(Model& model, const Payload& payload) {
  Answer refusal;
  DPObject* const dp = FindObject(model.dps, "DP", payload, refusal);
  if (dp == nullptr) return refusal;
  dp->value.weight = 0;
  model.dps.Touch(dp->name);
  return {};
}

Answer GetDP(Model& model, const Payload& payload) {
  Answer answer;
  const DPObject* const dp = FindObject(model.dps, "DP", payload, answer);
  if (dp == nullptr) return answer;
  const Bytes value = Describe(*dp);
  AppendTlv(answer.data, HQOS_GET_DP, value.data(), value.size());
  return answer;
}

Answer GetBulkDP(Model& model, const Payload& payload) {
  return ListObjects(model.dps, payload, HQOS_BULK_DP, Describe);
}

}  // namespace hqosd
