#include "client/commands.h"

#include <algorithm>

#include "client/difference.h"
#include "msg/records.h"
#include "platform/text.h"
#include "util/match_rule.h"

namespace client {

namespace {

template <size_t N>
void Copy(const std::string& from, char (&to)[N]) {
  strlcpy(to, from.c_str(), N);
}

// ---- Encoding ----

class Encoder {
 public:
  Encoder(const Model& model, const Model& running) : model_(model), filled_(model) {
    FillIn(filled_, running);
  }

  Commands Run() {
    AddObjects(HQOS_CMD_ADD_DP, model_.dp, filled_.dp);
    for (const auto& [name, dp] : model_.dp) AddSettings(name, dp);
    AddObjects(HQOS_CMD_ADD_FP, model_.fp, filled_.fp);
    for (const auto& [name, fp] : model_.fp) AddSettings(name, fp);
    AddObjects(HQOS_CMD_ADD_FG, model_.fg, filled_.fg);
    AddObjects(HQOS_CMD_ADD_SP, model_.sp, filled_.sp);
    for (const auto& [name, sp] : model_.sp) AddSettings(name, sp);
    for (const auto& [name, fg] : model_.fg) {
      for (const auto& child : fg.children) AddChild(HQOS_CMD_ADD_FG_NEST_FG, name, child);
    }
    for (const auto& [name, sp] : model_.sp) {
      for (const auto& child : sp.children) AddChild(HQOS_CMD_ADD_SP_NEST_FG, name, child);
    }
    for (const auto& [target, application] : model_.apply) AddApplication(target, application.sp);
    return std::move(commands_);
  }

 private:
  void Add(uint16_t code, const uint8_t* payload, size_t length) {
    Append(code, payload, length, commands_);
  }

  template <class Layout, class Payload>
  void AddRecord(uint16_t code, const Layout& layout, const Payload& record) {
    uint8_t payload[Layout::size];
    hqos::Encode(layout, record, payload);
    Add(code, payload, sizeof payload);
  }

  // Creates all objects of a kind: those with an identifier, those that keep theirs, the others.
  template <class Objects>
  void AddObjects(uint16_t code, const Objects& objects, const Objects& filled) {
    std::vector<const typename Objects::value_type*> turns[3];
    for (auto one = objects.begin(), two = filled.begin(); one != objects.end(); ++one, ++two) {
      turns[one->second.id ? 0 : two->second.id ? 1 : 2].push_back(&*one);
    }
    for (const auto& turn : turns) {
      for (const auto* const object : turn) {
        HQOS_ObjPayload payload{{}, object->second.id.value_or(HQOS_ID_NONE)};
        Copy(object->first, payload.name);
        AddRecord(code, hqos::kObjPayload, payload);
      }
    }
  }

  void AddValue(uint16_t code, const std::string& name, uint32_t value) {
    HQOS_ObjValuePayload payload{{}, value};
    Copy(name, payload.name);
    AddRecord(code, hqos::kObjValuePayload, payload);
  }

  void AddSettings(const std::string& name, const SP& sp) {
    const uint32_t unit = sp.unit.value_or(HQOS_SPUNIT_BYTE_COUNT);
    if (unit != HQOS_SPUNIT_BYTE_COUNT) AddValue(HQOS_CMD_SET_SP_UNIT, name, unit);
  }

  void AddSettings(const std::string& name, const DP& dp) {
    if (dp.weight.value_or(0) != 0) AddValue(HQOS_CMD_ADD_DP_WEIGHT, name, *dp.weight);
    for (uint32_t i = 0; i < dp.thresholds.size(); ++i) {
      if (!dp.thresholds[i]) continue;
      HQOS_DPThresholdPayload payload{{}, i, *dp.thresholds[i]};
      Copy(name, payload.name);
      AddRecord(HQOS_CMD_ADD_DP_THRESHOLD, hqos::kDPThresholdPayload, payload);
    }
  }

  // One setting of an FP: `set` fills it in.
  template <class Set>
  void AddSetting(uint16_t code, const std::string& name, uint32_t flag, const Set& set) {
    HQOS_FPInfo info{};
    Copy(name, info.name);
    info.flags = flag;
    set(info);
    uint8_t payload[HQOS_MSG_MAX];
    Add(code, payload, HQOS_msg_EncapFPInfo(&info, sizeof payload, payload));
  }

  void AddSettings(const std::string& name, const FP& fp) {
    if (fp.queue) {
      AddSetting(HQOS_CMD_ADD_QUEUE, name, HQOS_FPI_QUEUE, [&](HQOS_FPInfo& info) {
        std::copy(fp.queue->begin(), fp.queue->end(), info.queue);
      });
    }
    if (fp.gts) {
      AddSetting(HQOS_CMD_ADD_GTS, name, HQOS_FPI_GTS,
                 [&](HQOS_FPInfo& info) { std::copy(fp.gts->begin(), fp.gts->end(), info.gts); });
    }
    if (fp.bandwidth) {
      AddSetting(HQOS_CMD_ADD_BANDWIDTH, name, HQOS_FPI_BANDWIDTH,
                 [&](HQOS_FPInfo& info) { info.bandwidth = *fp.bandwidth; });
    }
    if (fp.dp.empty()) return;
    AddSetting(HQOS_CMD_FP_REFER_DP, name, HQOS_FPI_DPREF,
               [&](HQOS_FPInfo& info) { Copy(fp.dp, info.dpName); });
  }

  // `code` is that for an FG. An FC is sent without a rule, as the library does.
  void AddChild(uint16_t code, const std::string& parent, const Children::value_type& child) {
    const auto& [key, nesting] = child;
    const bool isFC = key.first == ChildKind::kFC;
    HQOS_NestPayload payload{};
    Copy(parent, payload.parentName);
    Copy(key.second, payload.childName);
    Copy(nesting.fp, payload.extraName);
    if (!isFC) payload.rule = nesting.rule;
    AddRecord(isFC ? uint16_t{HQOS_CMD_ADD_FG_NEST_FC} : code, hqos::kNestPayload, payload);
  }

  void AddApplication(const Target& target, const std::string& sp) {
    HQOS_AppObj obj{target.type, target.number, target.direction, {}};
    Copy(target.interface, obj.name);
    uint8_t object[hqos::kAppObj.size];
    hqos::EncodeAppObj(obj, object);
    HQOS_ObjPayload named{{}, HQOS_ID_NONE};
    Copy(sp, named.name);
    uint8_t name[hqos::kObjPayload.size];
    hqos::Encode(hqos::kObjPayload, named, name);
    uint8_t payload[HQOS_MSG_MAX];
    uint32_t used = STLV_Set(payload, sizeof payload, HQOS_TLV_APPOBJ, sizeof object, object);
    used += STLV_Set(payload + used, static_cast<uint16_t>(sizeof payload - used), HQOS_TLV_SPNAME,
                     sizeof name, name);
    Add(HQOS_CMD_APPLY_SP, payload, used);
  }

  const Model& model_;
  Model filled_;
  Commands commands_;
};

// ---- Decoding ----

class Decoder {
 public:
  explicit Decoder(Model& model) : model_(model) {}

  // Carries one command out. False when it cannot be read, or is none that builds.
  bool Run(const hqos::Tlv& command) {
    tlv_ = command;
    switch (command.type) {
      case HQOS_CMD_ADD_SP:
        return ReadObject(model_.sp);
      case HQOS_CMD_ADD_FG:
        return ReadObject(model_.fg);
      case HQOS_CMD_ADD_FP:
        return ReadObject(model_.fp);
      case HQOS_CMD_ADD_DP:
        return ReadObject(model_.dp);
      case HQOS_CMD_SET_SP_UNIT:
        return ReadValue(model_.sp, &SP::unit);
      case HQOS_CMD_ADD_DP_WEIGHT:
        return ReadValue(model_.dp, &DP::weight);
      case HQOS_CMD_ADD_DP_THRESHOLD:
        return ReadThreshold();
      case HQOS_CMD_ADD_QUEUE:
      case HQOS_CMD_ADD_GTS:
      case HQOS_CMD_ADD_BANDWIDTH:
      case HQOS_CMD_FP_REFER_DP:
        return ReadFPSetting();
      case HQOS_CMD_ADD_SP_NEST_FG:
        return ReadChild(model_.sp, ChildKind::kFG);
      case HQOS_CMD_ADD_FG_NEST_FG:
        return ReadChild(model_.fg, ChildKind::kFG);
      case HQOS_CMD_ADD_FG_NEST_FC:
        return ReadChild(model_.fg, ChildKind::kFC);
      case HQOS_CMD_APPLY_SP:
        return ReadApplication();
      default:
        return false;
    }
  }

 private:
  template <class Objects>
  bool ReadObject(Objects& objects) {
    HQOS_ObjPayload payload{};
    if (!hqos::Decode(hqos::kObjPayload, tlv_.value, tlv_.length, payload)) return false;
    auto& object = objects[payload.name];
    if (payload.id != HQOS_ID_NONE) object.id = payload.id;
    return true;
  }

  template <class Objects, class Object>
  bool ReadValue(Objects& objects, std::optional<uint32_t> Object::*value) {
    HQOS_ObjValuePayload payload{};
    if (!hqos::Decode(hqos::kObjValuePayload, tlv_.value, tlv_.length, payload)) return false;
    objects[payload.name].*value = payload.value;
    return true;
  }

  bool ReadThreshold() {
    HQOS_DPThresholdPayload payload{};
    if (!hqos::Decode(hqos::kDPThresholdPayload, tlv_.value, tlv_.length, payload)) return false;
    if (payload.index >= HQOS_DP_THRESHOLDS) return false;
    model_.dp[payload.name].thresholds[payload.index] = payload.threshold;
    return true;
  }

  // Commands that set several settings at once are read, too.
  bool ReadFPSetting() {
    HQOS_FPInfo info;
    HQOS_msg_DecapFPInfo(tlv_.value, tlv_.length, &info);
    FP& fp = model_.fp[info.name];
    if ((info.flags & HQOS_FPI_QUEUE) != 0) fp.queue = std::to_array(info.queue);
    if ((info.flags & HQOS_FPI_GTS) != 0) fp.gts = std::to_array(info.gts);
    if ((info.flags & HQOS_FPI_BANDWIDTH) != 0) fp.bandwidth = info.bandwidth;
    if ((info.flags & HQOS_FPI_DPREF) != 0) fp.dp = info.dpName;
    return info.flags != 0;
  }

  template <class Objects>
  bool ReadChild(Objects& objects, ChildKind kind) {
    HQOS_NestPayload payload{};
    if (!hqos::Decode(hqos::kNestPayload, tlv_.value, tlv_.length, payload)) return false;
    Children& children = objects[payload.parentName].children;
    const auto place = static_cast<uint32_t>(children.size());
    if (kind == ChildKind::kFC) payload.rule = hqos::EmptyRule(HQOS_MATCH_NONE);
    children[{kind, payload.childName}] = {payload.rule, payload.extraName, place};
    return true;
  }

  bool ReadApplication() {
    HQOS_AppObj obj{};
    HQOS_ObjPayload sp{};
    hqos::TlvWalk walk(tlv_.value, tlv_.length);
    for (hqos::Tlv tlv; walk.Next(tlv);) {
      if (tlv.type == HQOS_TLV_APPOBJ) hqos::DecodeAppObj(tlv.value, tlv.length, &obj);
      if (tlv.type == HQOS_TLV_SPNAME) hqos::Decode(hqos::kObjPayload, tlv.value, tlv.length, sp);
    }
    if (obj.type == 0) return false;
    const bool isInterface = obj.type == HQOS_APPOBJ_IFINDEX;
    const Target target{obj.type, isInterface ? obj.name : "", isInterface ? 0 : obj.value,
                        obj.param};
    const auto place = static_cast<uint32_t>(model_.apply.size());
    model_.apply[target] = {sp.name, place};
    return true;
  }

  Model& model_;
  hqos::Tlv tlv_{};
};

}  // namespace

void Append(uint16_t code, const uint8_t* payload, size_t length, Commands& commands) {
  const size_t at = commands.bytes.size();
  commands.bytes.resize(at + HQOS_MSG_MAX);
  uint8_t* const message = commands.bytes.data() + at;
  uint32_t used = HQOS_msg_EncapMsgHead(1, HQOS_OP_CONFIG, 1, message);
  used += STLV_Set(message + used, static_cast<uint16_t>(HQOS_MSG_MAX - used), code,
                   static_cast<uint16_t>(length), payload);
  commands.bytes.resize(at + used);
  ++commands.count;
}

Commands Encode(const Model& model, const Model& running) { return Encoder(model, running).Run(); }

bool Decode(std::span<const uint8_t> bytes, Model& model) {
  Decoder decoder(model);
  while (!bytes.empty()) {
    const auto room = static_cast<uint16_t>(std::min<size_t>(bytes.size(), HQOS_MSG_MAX));
    const hqos::Tlv command = hqos::FirstTlv(bytes.data(), room);
    if (command.value == nullptr || !decoder.Run(command)) return false;
    bytes = bytes.subspan(static_cast<size_t>(command.value + command.length - bytes.data()));
  }
  return true;
}

}  // namespace client
