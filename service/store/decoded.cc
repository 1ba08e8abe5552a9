#include "service/store/decoded.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "msg/state_file.h"
#include "service/store/records.h"

namespace hqosd {

namespace {

using Json = nlohmann::ordered_json;

// Decodes a record into `record`; false when it does not decode.
using Decoder = bool (*)(const Bytes& value, Json& record);

template <class Info, bool (*decode)(const uint8_t*, size_t, Info&)>
bool NamedToJson(const Bytes& value, Json& record) {
  Info info;
  if (!decode(value.data(), value.size(), info)) return false;
  record = {{"name", info.name}, {"id", info.id}};
  return true;
}

bool SPToJson(const Bytes& value, Json& record) {
  HQOS_SPInfo sp;
  if (!hqosd::DecodeSP(value.data(), value.size(), sp)) return false;
  record = {{"name", sp.name}, {"id", sp.id}, {"unit", sp.value1}};
  return true;
}

bool DPToJson(const Bytes& value, Json& record) {
  HQOS_DPInfo dp;
  if (!hqosd::DecodeDP(value.data(), value.size(), dp)) return false;
  record = {{"name", dp.name}, {"id", dp.id}, {"weight", dp.weight}, {"thresholds", Json::array()}};
  for (const HQOS_DPThreshold& t : dp.thresholds) {
    record["thresholds"].push_back({t.value1, t.value2, t.value3, t.value4});
  }
  return true;
}

// The values of a rule are its ranges in use; a group has none.
Json RuleRecord(const HQOS_MatchRule& rule) {
  const char* const type = HQOS_util_GetMatchTypeStr(rule.type);
  Json record = {{"type", type != nullptr ? Json(type) : Json(rule.type)},
                 {"ranges", Json::array()}};
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) break;
    record["ranges"].push_back({range.low, range.high});
  }
  return record;
}

// The settings that an FP's record has.
template <class FP>
void AddSettings(const FP& fp, Json& record) {
  if ((fp.flags & HQOS_FPI_GTS) != 0) record["gts"] = fp.gts;
  if ((fp.flags & HQOS_FPI_QUEUE) != 0) record["queue"] = fp.queue;
  if ((fp.flags & HQOS_FPI_BANDWIDTH) != 0) record["bandwidth"] = fp.bandwidth;
}

bool FPToJson(const Bytes& value, Json& record) {
  HQOS_FPCfg fp;
  if (!hqosd::DecodeFPCfg(value.data(), value.size(), fp)) return false;
  record = {{"name", fp.name}, {"id", fp.id}};
  AddSettings(fp, record);
  if ((fp.flags & HQOS_FPI_DPREF) != 0) record["dpName"] = fp.dpName;
  return true;
}

bool FPRunToJson(const Bytes& value, Json& record) {
  HQOS_FPRun fp;
  if (HQOS_dbmtype_DecapFPRun(value.data(), static_cast<uint16_t>(value.size()), &fp) != 0) {
    return false;
  }
  record = {{"id", fp.id}, {"value16", fp.value16}};
  AddSettings(fp, record);
  if ((fp.flags & HQOS_FPI_DPREF) != 0) record["dpId"] = fp.dpId;
  return true;
}

bool SonToJson(const Bytes& value, Json& record) {
  HQOS_SonCfg son;
  if (HQOS_dbmtype_DecapSonCfg(value.data(), static_cast<uint16_t>(value.size()), &son) != 0) {
    return false;
  }
  record = {{"value1", son.value1},
            {"value2", son.value2},
            {"name1", son.name1},
            {"name2", son.name2},
            {"rule", RuleRecord(son.rule)}};
  return true;
}

bool ApplyToJson(const Bytes& value, Json& record) {
  HQOS_ApplyInfo info{};
  if (!hqosd::DecodeApply(value.data(), value.size(), info)) return false;
  const HQOS_AppObj& obj = info.obj;
  record = {
      {"obj", {{"type", obj.type}, {"value", obj.value}, {"param", obj.param}, {"name", obj.name}}},
      {"sp", info.sp.name}};
  return true;
}

Json LayerRecord(const HQOS_LayerRun& run) {
  uint16_t fpId;  // as the service uses these bytes
  memcpy(&fpId, run.hostData, sizeof fpId);
  return {{"path", run.path.field},
          {"value16", run.value16},
          {"value32", run.value32},
          {"fpId", fpId},
          {"rule", RuleRecord(run.rule)}};
}

// One layer record of the run-time state: of layer 2 it has entries.
bool LayerToJson(uint16_t type, const uint8_t* record, uint16_t length, Json& to) {
  HQOS_LayerRun node;
  if (type == HQOS_DBTLV_LAYER1RUN) {
    if (HQOS_dbmtype_DecapLayer1Run(record, length, &node) != 0) return false;
    to = LayerRecord(node);
    return true;
  }
  std::vector<HQOS_LayerRun> entries(64);  // a record holds fewer
  uint32_t count = 0;
  if (HQOS_dbmtype_DecapLayer2Run(record, length, 64, &node, entries.data(), &count) != 0) {
    return false;
  }
  to = LayerRecord(node);
  to["entries"] = Json::array();
  for (uint32_t i = 0; i < count; ++i) to["entries"].push_back(LayerRecord(entries[i]));
  return true;
}

// The run-time state of an interface's nodes, one record after the other.
bool LayersToJson(const Bytes& value, Json& record) {
  record = Json::array();
  size_t at = 0;
  while (at < value.size()) {
    const auto room = static_cast<uint16_t>(std::min<size_t>(value.size() - at, UINT16_MAX));
    uint16_t type, length;
    const uint8_t* inner;
    const uint32_t taken = STLV_Get(&value[at], room, &type, &length, &inner);
    if (taken == 0) return false;
    Json one;
    if (!LayerToJson(type, &value[at], static_cast<uint16_t>(taken), one)) return false;
    record.push_back(std::move(one));
    at += taken;
  }
  return true;
}

bool VersionToJson(const Bytes& value, Json& record) {
  record = {{"version", std::string(value.begin(), value.end())}};
  return true;
}

bool RevisionToJson(const Bytes& value, Json& record) {
  hqos::Revision revision{};
  if (!Decode(hqos::kRevision, value.data(), value.size(), revision)) return false;
  record = {{"revision", revision.value}};
  return true;
}

bool KeptToJson(const Bytes& value, Json& record) {
  hqos::KeptState kept{};
  if (!Decode(hqos::kKeptState, value.data(), value.size(), kept)) return false;
  record = {{"revision", kept.revision},
            {"time", kept.time},
            {"user", kept.user},
            {"comment", kept.comment}};
  return true;
}

bool PartToJson(const Bytes& value, Json& record) {
  record = {{"bytes", value.size()}};
  return true;
}

bool PendingToJson(const Bytes& value, Json& record) {
  PendingState pending{};
  if (!Decode(kPendingState, value.data(), value.size(), pending)) return false;
  record = {{"time", pending.time}, {"revision", pending.revision}};
  return true;
}

bool ClassToJson(const Bytes& value, Json& record) {
  StoredClass one{};
  if (!Decode(kStoredClass, value.data(), value.size(), one)) return false;
  record = {{"path", one.path},           {"minor", one.minor},
            {"ownLeaf", one.ownLeaf},     {"basePackets", one.basePackets},
            {"baseBytes", one.baseBytes}, {"baseDrops", one.baseDrops}};
  return true;
}

constexpr struct {
  const char* prefix;
  const char* suffix;
  Decoder decode;
} kDecoders[] = {{HQOSD_KEY_VERSION, "", VersionToJson},
                 {kKeyRevision, "", RevisionToJson},
                 {kKeyHistory, "", KeptToJson},
                 {kKeyHistoryPart, "", PartToJson},
                 {kKeyPending, "", PendingToJson},
                 {kKeySP, "", SPToJson},
                 {kKeyFG, "", NamedToJson<HQOS_FGInfo, hqosd::DecodeFG>},
                 {kKeyFC, "", NamedToJson<HQOS_FCInfo, hqosd::DecodeFC>},
                 {kKeyDP, "", DPToJson},
                 {kKeyFP, "", FPToJson},
                 {kKeyFPRun, "", FPRunToJson},
                 {kKeySPNest, "", SonToJson},
                 {kKeyFGNest, "", SonToJson},
                 {kKeyIfCfg, "", ApplyToJson},
                 {kKeyApply, "", ApplyToJson},
                 {kKeyClass, "", ClassToJson},
                 {kKeyIfRun, "-SP", SPToJson},
                 {kKeyIfRun, "", LayersToJson}};

}  // namespace

Json Decoded(const std::string& key, const Bytes& value) {
  for (const auto& decoder : kDecoders) {
    Json record;
    if (key.starts_with(decoder.prefix) && key.ends_with(decoder.suffix) &&
        decoder.decode(value, record)) {
      return record;
    }
  }
  return nullptr;
}

}  // namespace hqosd
