// FPs: their settings, and the queries that read them.
#include "service/requests/request.h"

namespace hqosd {

namespace {

using FPObject = ObjectTable<FP>::Object;

// The payload's FP, which must hold the setting.
HQOS_FPInfo DecodeSetting(const Payload& payload, uint32_t flag) {
  HQOS_FPInfo given;
  HQOS_msg_DecapFPInfo(payload.value, payload.length, &given);
  if ((given.flags & flag) == 0) RefuseShort();
  return given;
}

// Gives an FP a setting: `set` takes it from the payload's record into the FP's settings.
template <class Set>
Bytes AddSetting(Model& model, const Payload& payload, uint32_t flag, const Set& set) {
  const HQOS_FPInfo given = DecodeSetting(payload, flag);
  FPObject& fp = Get(model.fps, given.name);
  set(given, fp.value.settings);
  fp.value.settings.flags |= flag;
  model.fps.MarkDirty(fp.name);
  return {};
}

void DropDPReference(Model& model, const HQOS_FPInfo& settings) {
  if ((settings.flags & HQOS_FPI_DPREF) != 0) --model.dps.At(settings.dpId).value.uses;
}

// Removes a setting; refused when the FP has none.
void DelSetting(Model& model, FPObject& fp, uint32_t flag, const std::string& what) {
  HQOS_FPInfo& settings = fp.value.settings;
  if ((settings.flags & flag) == 0) {
    Refuse(HQOSD_NOT_FOUND, "{} has no {}", Label(Kind::FP, fp.name), what);
  }
  if (flag == HQOS_FPI_DPREF) DropDPReference(model, settings);
  settings.flags &= ~flag;
  model.fps.MarkDirty(fp.name);
}

// The TLVs of an FP.
Bytes EncodeFP(const Model& model, const FPObject& fp) {
  HQOS_FPInfo info = fp.value.settings;
  CopyName(fp.name, info.name);
  info.id = fp.id;
  if ((info.flags & HQOS_FPI_DPREF) != 0) CopyName(model.dps.All().at(info.dpId).name, info.dpName);
  Bytes tlvs(HQOS_MSG_MAX);
  tlvs.resize(HQOS_msg_EncapFPInfo(&info, HQOS_MSG_MAX, tlvs.data()));
  return tlvs;
}

Bytes AddQueue(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_QUEUE, [](const auto& given, auto& settings) {
    std::copy(std::begin(given.queue), std::end(given.queue), settings.queue);
  });
}

// An FP has one queue: only that one can be removed.
Bytes DelQueue(Model& model, const Payload& payload) {
  const HQOS_FPInfo given = DecodeSetting(payload, HQOS_FPI_QUEUE);
  FPObject& fp = Get(model.fps, given.name);
  const bool isSelected = fp.value.settings.queue[0] == given.queue[0];
  DelSetting(model, fp, isSelected ? HQOS_FPI_QUEUE : 0, fmt::format("queue {}", given.queue[0]));
  return {};
}

Bytes AddGTS(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_GTS, [](const auto& given, auto& settings) {
    std::copy(std::begin(given.gts), std::end(given.gts), settings.gts);
  });
}

void DelGTS(Model& model, const HQOS_ObjPayload& key) {
  DelSetting(model, Get(model.fps, key.name, key.id), HQOS_FPI_GTS, "GTS");
}

Bytes AddBandwidth(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_BANDWIDTH, [](const auto& given, auto& settings) {
    settings.bandwidth = given.bandwidth;
  });
}

void DelBandwidth(Model& model, const HQOS_ObjPayload& key) {
  DelSetting(model, Get(model.fps, key.name, key.id), HQOS_FPI_BANDWIDTH, "bandwidth");
}

Bytes FPReferDP(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_DPREF, [&](const auto& given, auto& settings) {
    auto& dp = Get(model.dps, given.dpName);
    DropDPReference(model, settings);
    ++dp.value.uses;
    settings.dpId = dp.id;
  });
}

void DelFPReferDP(Model& model, const HQOS_ObjPayload& key) {
  DelSetting(model, Get(model.fps, key.name, key.id), HQOS_FPI_DPREF, "DP reference");
}

Bytes GetFP(Model& model, const HQOS_ObjPayload& key) {
  return DataTlv(HQOS_GET_FP, EncodeFP(model, Get(model.fps, key.name, key.id)));
}

Bytes GetBulkFP(Model& model, const HQOS_BulkKey& key) {
  return ListObjects(model.fps, key, HQOS_BULK_FP,
                     [&](const FPObject& fp) { return EncodeFP(model, fp); });
}

using hqos::kObjPayload;

constexpr Request kRows[] = {
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_QUEUE, "AddQueue", AddQueue},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_QUEUE, "DelQueue", DelQueue},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_GTS, "AddGTS", AddGTS},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_GTS, "DelGTS", With<DelGTS, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_ADD_BANDWIDTH, "AddBandwidth", AddBandwidth},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_BANDWIDTH, "DelBandwidth", With<DelBandwidth, kObjPayload>},
    {HQOS_OP_CONFIG, HQOS_CMD_FP_REFER_DP, "FPReferDP", FPReferDP},
    {HQOS_OP_CONFIG, HQOS_CMD_DEL_FP_REFER_DP, "DelFPReferDP", With<DelFPReferDP, kObjPayload>},
    {HQOS_OP_GET, HQOS_GET_FP, "GetFP", With<GetFP, kObjPayload>},
    {HQOS_OP_BULK, HQOS_BULK_FP, "GetBulkFP", With<GetBulkFP, hqos::kBulkKey>},
};

}  // namespace

const std::span<const Request> kFPRequests = kRows;

}  // namespace hqosd
