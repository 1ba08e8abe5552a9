// DPs: their weight and thresholds, and the queries that read them.
#include "service/requests/request.h"

namespace hqosd {

namespace {

using DPObject = ObjectTable<DP>::Object;

void SetThreshold(Model& model, const HQOS_DPThresholdPayload& request,
                  const HQOS_DPThreshold& threshold) {
  DPObject& dp = Get(model.dps, request.name);
  if (request.index >= HQOS_DP_THRESHOLDS) {
    Refuse(HQOSD_BAD_VALUE, "{}: there is no threshold {}", Label(Kind::DP, dp.name),
           request.index);
  }
  dp.value.thresholds[request.index] = threshold;
  model.dps.MarkDirty(dp.name);
}

void AddThreshold(Model& model, const HQOS_DPThresholdPayload& request) {
  SetThreshold(model, request, request.threshold);
}

void DelThreshold(Model& model, const HQOS_DPThresholdPayload& request) {
  SetThreshold(model, request, {});
}

void SetWeight(Model& model, DPObject& dp, uint32_t weight) {
  dp.value.weight = weight;
  model.dps.MarkDirty(dp.name);
}

void AddWeight(Model& model, const HQOS_ObjValuePayload& request) {
  SetWeight(model, Get(model.dps, request.name), request.value);
}

void DelWeight(Model& model, const HQOS_ObjPayload& key) {
  SetWeight(model, Get(model.dps, key.name, key.id), 0);
}

Bytes EncodeDP(const DPObject& dp) { return Encoded(hqos::kDPInfo, DPRecord(dp)); }

Bytes GetDP(Model& model, const HQOS_ObjPayload& key) {
  return DataTlv(HQOS_GET_DP, EncodeDP(Get(model.dps, key.name, key.id)));
}

Bytes GetBulkDP(Model& model, const HQOS_BulkKey& key) {
  return ListObjects(model.dps, key, HQOS_BULK_DP, EncodeDP);
}

using hqos::kDPThresholdPayload;
using hqos::kObjPayload;

constexpr Request kRows[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP_THRESHOLD, "AddDPThreshold",
     With<AddThreshold, kDPThresholdPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP_THRESHOLD, "DelDPThreshold",
     With<DelThreshold, kDPThresholdPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_DP_WEIGHT, "AddDPWeight",
     With<AddWeight, hqos::kObjValuePayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_DP_WEIGHT, "DelDPWeight", With<DelWeight, kObjPayload>},
    {HQOS_OP_GET, HQOS_GET_DP, "GetDP", With<GetDP, kObjPayload>},
    {HQOS_OP_BULK, HQOS_BULK_DP, "GetBulkDP", With<GetBulkDP, hqos::kBulkKey>},
};

}  // namespace

const std::span<const Request> kDPRequests = kRows;

}  // namespace hqosd
