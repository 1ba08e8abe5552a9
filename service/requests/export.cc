// From the model to the commands that build it.
#include "service/model/hierarchy.h"
#include "service/requests/state.h"

namespace hqosd {

namespace {

Bytes Object(const std::string& name, uint16_t id) {
  HQOS_ObjPayload payload{{}, id};
  CopyName(name, payload.name);
  return Encoded(hqos::kObjPayload, payload);
}

}  // namespace

const StateExport::Part StateExport::kParts[] = {
    &StateExport::AddFCs,
    &StateExport::AddDPs,
    &StateExport::AddFPs,
    &StateExport::AddFGs,
    &StateExport::AddSPs,
    &StateExport::AddNestings<&Model::fgs, HQOS_CMD_ADD_FG_NEST_FG>,
    &StateExport::AddNestings<&Model::sps, HQOS_CMD_ADD_SP_NEST_FG>,
    &StateExport::AddApplications};

bool StateExport::Step(const Slice& slice) {
  for (; part_ < std::size(kParts); ++part_, at_ = HQOS_ID_NONE) {
    if (!(this->*kParts[part_])(slice)) return false;
  }
  return true;
}

Bytes StateExport::Take(uint64_t revision) {
  const hqos::StateHead head{hqos::kStateFormat,
                             HQOSD_MODE_RESTORE,
                             0,
                             0,
                             revision,
                             bytes_.size(),
                             static_cast<uint32_t>(model_.fcs.All().size()),
                             count_,
                             {}};
  Encode(hqos::kStateHead, head, bytes_.data());
  return std::move(bytes_);
}

void StateExport::Add(uint16_t code, const Bytes& payload) {
  const size_t at = bytes_.size();
  bytes_.resize(at + HQOS_MSGHEAD_LEN);
  HQOS_msg_EncapMsgHead(1, HQOS_OP_CONFIG, 1, &bytes_[at]);
  AppendTlv(bytes_, code, payload.data(), payload.size());
  ++count_;
}

void StateExport::AddValue(uint16_t code, const std::string& name, uint32_t value) {
  HQOS_ObjValuePayload payload{{}, value};
  CopyName(name, payload.name);
  Add(code, Encoded(hqos::kObjValuePayload, payload));
}

bool StateExport::AddFCs(const Slice& slice) {
  return Walk(model_.fcs, at_, slice, [this](const auto& fc) {
    const Bytes payload = Object(fc.name, fc.id);
    bytes_.insert(bytes_.end(), payload.begin(), payload.end());
  });
}

bool StateExport::AddDPs(const Slice& slice) {
  return Walk(model_.dps, at_, slice, [this](const auto& dp) {
    Add(HQOS_CMD_ADD_DP, Object(dp.name, dp.id));
    if (dp.value.weight != 0) AddValue(HQOS_CMD_ADD_DP_WEIGHT, dp.name, dp.value.weight);
    for (uint32_t i = 0; i < HQOS_DP_THRESHOLDS; ++i) {
      const HQOS_DPThreshold& t = dp.value.thresholds[i];
      if (t.value1 == 0 && t.value2 == 0 && t.value3 == 0 && t.value4 == 0) continue;
      HQOS_DPThresholdPayload payload{{}, i, t};
      CopyName(dp.name, payload.name);
      Add(HQOS_CMD_ADD_DP_THRESHOLD, Encoded(hqos::kDPThresholdPayload, payload));
    }
  });
}

bool StateExport::AddFPs(const Slice& slice) {
  return Walk(model_.fps, at_, slice, [this](const auto& fp) {
    Add(HQOS_CMD_ADD_FP, Object(fp.name, fp.id));
    AddSettings(fp);
  });
}

void StateExport::AddSettings(const ObjectTable<FP>::Object& fp) {
  constexpr struct {
    uint32_t flag;
    uint16_t code;
  } kSettings[] = {{HQOS_FPI_QUEUE, HQOS_CMD_ADD_QUEUE},
                   {HQOS_FPI_GTS, HQOS_CMD_ADD_GTS},
                   {HQOS_FPI_BANDWIDTH, HQOS_CMD_ADD_BANDWIDTH},
                   {HQOS_FPI_DPREF, HQOS_CMD_FP_REFER_DP}};
  for (const auto& setting : kSettings) {
    if ((fp.value.settings.flags & setting.flag) == 0) continue;
    HQOS_FPInfo info = fp.value.settings;
    info.id = 0;
    info.flags = setting.flag;
    CopyName(fp.name, info.name);
    if (setting.flag == HQOS_FPI_DPREF) CopyName(model_.dps.All().at(info.dpId).name, info.dpName);
    info.dpId = 0;
    uint8_t payload[HQOS_MSG_MAX];
    const uint32_t length = HQOS_msg_EncapFPInfo(&info, sizeof payload, payload);
    Add(setting.code, Bytes(payload, payload + length));
  }
}

bool StateExport::AddFGs(const Slice& slice) {
  return Walk(model_.fgs, at_, slice,
              [this](const auto& fg) { Add(HQOS_CMD_ADD_FG, Object(fg.name, fg.id)); });
}

bool StateExport::AddSPs(const Slice& slice) {
  return Walk(model_.sps, at_, slice, [this](const auto& sp) {
    Add(HQOS_CMD_ADD_SP, Object(sp.name, sp.id));
    if (sp.value.unit != SP{}.unit) AddValue(HQOS_CMD_SET_SP_UNIT, sp.name, sp.value.unit);
  });
}

template <auto table, uint16_t code>
bool StateExport::AddNestings(const Slice& slice) {
  return Walk(model_.*table, at_, slice, [this](const auto& parent) {
    for (const auto& [id, nesting] : parent.value.children) {
      const Child child = ChildOf(model_, id);
      HQOS_NestPayload payload{};
      CopyName(parent.name, payload.parentName);
      CopyName(*child.name, payload.childName);
      CopyName(nesting.fp, payload.extraName);
      const bool isFC = child.kind == Kind::FC;
      if (!isFC) payload.rule = nesting.rule;
      Add(isFC ? uint16_t{HQOS_CMD_ADD_FG_NEST_FC} : code, Encoded(hqos::kNestPayload, payload));
    }
  });
}

// Interfaces come with the index that they had, for those that are absent.
bool StateExport::AddApplications(const Slice&) {
  for (const auto& [key, application] : model_.applications) {
    HQOS_AppObj obj{key.type, key.value, key.param, {}};
    if (key.type == HQOS_APPOBJ_IFINDEX) obj.value = application.ifIndex;
    key.name.copy(obj.name, sizeof obj.name - 1);
    uint8_t object[hqos::kAppObj.size];
    hqos::EncodeAppObj(obj, object);
    Bytes payload;
    AppendTlv(payload, HQOS_TLV_APPOBJ, object, sizeof object);
    const Bytes sp = Object(model_.sps.All().at(application.sp).name, HQOS_ID_NONE);
    AppendTlv(payload, HQOS_TLV_SPNAME, sp.data(), sp.size());
    Add(HQOS_CMD_APPLY_SP, payload);
  }
  return true;
}

Bytes ExportState(const Model& model, uint64_t revision) {
  StateExport all(model);
  all.Step(Slice());
  return all.Take(revision);
}

}  // namespace hqosd
