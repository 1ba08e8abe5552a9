// FPs: their settings, and the queries that read them.
#include "service/block.h"

namespace hqosd {

namespace {

using FPObject = ObjectTable<FP>::Object;

// Gives an FP a setting: `set` takes it from the record of the payload, which must hold it, into
// the FP's settings, or refuses.
template <class Set>
Answer AddSetting(Model& model, const Payload& payload, uint32_t flag, const Set& set) {
  HQOS_FPInfo given;
  HQOS_msg_DecapFPInfo(payload.value, payload.length, &given);
  if ((given.flags & flag) == 0) return TooShort();
  Answer answer;
  FPObject* const fp = FindObject(model.fps, "FP", std::string(given.name), answer);
  if (fp == nullptr) return answer;
  HQOS_FPInfo& settings = fp->value.settings;
  answer = set(given, settings);
  if (answer.code != 0) return answer;
  settings.flags |= flag;
  model.fps.Touch(fp->name);
  return answer;
}

// Takes a setting back; refused when the FP has none.
Answer DelSetting(Model& model, FPObject& fp, uint32_t flag, const std::string& what) {
  HQOS_FPInfo& settings = fp.value.settings;
  if ((settings.flags & flag) == 0) {
    return Refuse(HQOSD_NOT_FOUND, Title("FP", fp.name) + " has no " + what);
  }
  settings.flags &= ~flag;
  model.fps.Touch(fp.name);
  return {};
}

// The same for the FP that the payload names.
Answer DelSetting(Model& model, const Payload& payload, uint32_t flag, const char* what) {
  Answer refusal;
  FPObject* const fp = FindObject(model.fps, "FP", payload, refusal);
  return fp == nullptr ? refusal : DelSetting(model, *fp, flag, what);
}

// Counts one reference less at the DP that the settings refer to.
void DropDPReference(Model& model, const HQOS_FPInfo& settings) {
  if ((settings.flags & HQOS_FPI_DPREF) != 0) --model.dps.At(settings.dpId).value.uses;
}

// The TLVs of an FP.
Bytes Describe(const Model& model, const FPObject& fp) {
  HQOS_FPInfo info = fp.value.settings;
  CopyName(fp.name, info.name);
  info.id = fp.id;
  if ((info.flags & HQOS_FPI_DPREF) != 0) CopyName(model.dps.All().at(info.dpId).name, info.dpName);
  Bytes tlvs(HQOS_MSG_MAX);
  tlvs.resize(HQOS_msg_EncapFPInfo(&info, HQOS_MSG_MAX, tlvs.data()));
  return tlvs;
}

}  // namespace

Answer AddQueue(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_QUEUE, [](const auto& given, auto& settings) {
    std::copy(std::begin(given.queue), std::end(given.queue), settings.queue);
    return Answer{};
  });
}

// An FP has one queue: another than the one selected stays.
Answer DelQueue(Model& model, const Payload& payload) {
  HQOS_FPInfo given;
  HQOS_msg_DecapFPInfo(payload.value, payload.length, &given);
  if ((given.flags & HQOS_FPI_QUEUE) == 0) return TooShort();
  Answer refusal;
  FPObject* const fp = FindObject(model.fps, "FP", std::string(given.name), refusal);
  if (fp == nullptr) return refusal;
  const bool isSelected = fp->value.settings.queue[0] == given.queue[0];
  return DelSetting(model, *fp, isSelected ? HQOS_FPI_QUEUE : 0,
                    "queue " + std::to_string(given.queue[0]));
}

Answer AddGTS(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_GTS, [](const auto& given, auto& settings) {
    std::copy(std::begin(given.gts), std::end(given.gts), settings.gts);
    return Answer{};
  });
}

Answer DelGTS(Model& model, const Payload& payload) {
  return DelSetting(model, payload, HQOS_FPI_GTS, "GTS");
}

Answer AddBandwidth(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_BANDWIDTH, [](const auto& given, auto& settings) {
    settings.bandwidth = given.bandwidth;
    return Answer{};
  });
}

Answer DelBandwidth(Model& model, const Payload& payload) {
  return DelSetting(model, payload, HQOS_FPI_BANDWIDTH, "bandwidth");
}

Answer FPReferDP(Model& model, const Payload& payload) {
  return AddSetting(model, payload, HQOS_FPI_DPREF, [&](const auto& given, auto& settings) {
    Answer refusal;
    auto* const dp = FindObject(model.dps, "DP", std::string(given.dpName), refusal);
    if (dp == nullptr) return refusal;
    DropDPReference(model, settings);
    ++dp->value.uses;
    settings.dpId = dp->id;
    return Answer{};
  });
}

Answer DelFPReferDP(Model& model, const Payload& payload) {
  Answer answer;
  FPObject* const fp = FindObject(model.fps, "FP", payload, answer);
  if (fp == nullptr) return answer;
  DropDPReference(model, fp->value.settings);
  return DelSetting(model, *fp, HQOS_FPI_DPREF, "DP reference");
}

Answer GetFP(Model& model, const Payload& payload) {
  Answer answer;
  const FPObject* const fp = FindObject(model.fps, "FP", payload, answer);
  if (fp == nullptr) return answer;
  const Bytes tlvs = Describe(model, *fp);
  AppendTlv(answer.data, HQOS_GET_FP, tlvs.data(), tlvs.size());
  return answer;
}

Answer GetBulkFP(Model& model, const Payload& payload) {
  return ListObjects(model.fps, payload, HQOS_BULK_FP,
                     [&](const FPObject& fp) { return Describe(model, fp); });
}

}  // namespace hqosd
