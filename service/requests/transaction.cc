// A file of commands, carried out on a copy of the model or on an empty one.
#include "service/model/applications.h"
#include "service/model/hierarchy.h"
#include "service/requests/dispatch.h"
#include "service/requests/state.h"

namespace hqosd {

namespace {

constexpr size_t kMaxRefusals = 20;

// The identifiers of one range of objects in a replacement, decided before any is created: those
// that are given, then those that objects of these names have, then free ones.
class Ids {
 public:
  void Give(uint16_t id) { taken_.insert(id); }
  bool Take(uint16_t id) { return taken_.insert(id).second; }
  uint16_t Lowest() {
    while (lowest_ != HQOS_ID_NONE && !Take(lowest_)) ++lowest_;
    return lowest_;
  }
  uint16_t Highest() {
    while (highest_ != 0 && !Take(highest_)) --highest_;
    return highest_ == 0 && !Take(0) ? uint16_t{HQOS_ID_NONE} : highest_;
  }

 private:
  std::set<uint16_t> taken_;
  uint16_t lowest_ = 0, highest_ = HQOS_ID_NONE - 1;
};

}  // namespace

// Carries out the commands of a replacement on an empty model.
class Replacement {
 public:
  Replacement(const Model& old, const StateFile& file, Model& model)
      : old_(old), file_(file), model_(model) {
    PlanIds(HQOS_CMD_ADD_SP, old_.sps, sps_);
    PlanIds(HQOS_CMD_ADD_FP, old_.fps, fps_);
    PlanIds(HQOS_CMD_ADD_DP, old_.dps, dps_);
    PlanFGs();
  }

  void RunOne(uint32_t i) {
    const StateCommand& command = file_.commands[i];
    const auto given = given_.find(i);
    HQOS_ObjPayload object;
    if (given != given_.end() && ReadObject(command.tlv, object)) {
      object.id = given->second;
      Bytes payload = Encoded(hqos::kObjPayload, object);
      return CarryOut(model_, {command.message.data(), command.message.size()},
                      {command.tlv.type, static_cast<uint16_t>(payload.size()), payload.data()});
    }
    if (command.tlv.type == HQOS_CMD_APPLY_SP && ApplyAsBefore(command.tlv)) return;
    CarryOut(model_, command.message, command.tlv);
  }

 private:
  static bool ReadObject(const hqos::Tlv& tlv, HQOS_ObjPayload& object) {
    object = {};
    return Decode(hqos::kObjPayload, tlv.value, tlv.length, object);
  }

  // Calls `use` with each object that the command creates without a number, or with one.
  template <class Use>
  void ForEachAdded(uint16_t code, bool hasId, const Use& use) {
    HQOS_ObjPayload object;
    for (uint32_t i = 0; i < file_.commands.size(); ++i) {
      const hqos::Tlv& tlv = file_.commands[i].tlv;
      if (tlv.type != code || !ReadObject(tlv, object)) continue;
      if ((object.id != HQOS_ID_NONE) == hasId) use(i, object);
    }
  }

  template <class Table>
  void KeepIds(uint16_t code, const Table& old, Ids& ids) {
    ForEachAdded(code, true, [&](uint32_t, const HQOS_ObjPayload& object) { ids.Give(object.id); });
    ForEachAdded(code, false, [&](uint32_t i, const HQOS_ObjPayload& object) {
      const auto* const known = old.Find(std::string(object.name));
      if (known != nullptr && ids.Take(known->id)) given_[i] = known->id;
    });
  }
  void ChooseIds(uint16_t code, Ids& ids) {
    ForEachAdded(code, false, [&](uint32_t i, const HQOS_ObjPayload&) {
      if (!given_.contains(i)) given_[i] = ids.Lowest();
    });
  }
  template <class Table>
  void PlanIds(uint16_t code, const Table& old, Ids& ids) {
    KeepIds(code, old, ids);
    ChooseIds(code, ids);
  }

  // FCs, which have one range with FGs, come from the list beside the commands, or keep theirs.
  void PlanFGs() {
    std::map<std::string, uint16_t> fcs;
    std::set<std::string> nested;
    for (const StateCommand& command : file_.commands) {
      HQOS_NestPayload nest{};
      if (command.tlv.type != HQOS_CMD_ADD_FG_NEST_FC) continue;
      if (Decode(hqos::kNestPayload, command.tlv.value, command.tlv.length, nest)) {
        nested.insert(nest.childName);
      }
    }
    KeepIds(HQOS_CMD_ADD_FG, old_.fgs, fgs_);
    for (const HQOS_ObjPayload& fc : file_.fcs) {
      if (nested.contains(fc.name) && fc.id != HQOS_ID_NONE && fgs_.Take(fc.id))
        fcs[fc.name] = fc.id;
    }
    for (const std::string& name : nested) {
      const auto* const known = old_.fcs.Find(name);
      if (!fcs.contains(name) && known != nullptr && fgs_.Take(known->id)) fcs[name] = known->id;
    }
    ChooseIds(HQOS_CMD_ADD_FG, fgs_);
    for (const std::string& name : nested) {
      if (!fcs.contains(name)) fcs[name] = fgs_.Highest();
    }
    for (const auto& [name, id] : fcs) {
      if (id != HQOS_ID_NONE && IsUsableName(name)) model_.fcs.Add(name, id);
    }
  }

  // An application that exists already stays as it is, and one that is restored needs no interface.
  bool ApplyAsBefore(const hqos::Tlv& tlv) {
    HQOS_ApplyInfo info{};
    if (!DecodeApply(tlv.value, tlv.length, info)) return false;
    if (info.obj.type != HQOS_APPOBJ_IFINDEX || info.obj.name[0] == '\0') return false;
    const ApplyKey key{info.obj.type, info.obj.name, 0, info.obj.param};
    const auto known = old_.applications.find(key);
    const auto interface = model_.interfaces->Find(key.name);
    const bool isRestored = file_.head.mode == HQOSD_MODE_RESTORE;
    if (known == old_.applications.end() && !isRestored) return false;
    uint32_t index = known != old_.applications.end() ? known->second.ifIndex : info.obj.value;
    if (known == old_.applications.end() && interface) index = interface->index;
    Enter(model_, Get(model_.sps, info.sp.name), key, index);
    return true;
  }

  const Model& old_;
  const StateFile& file_;
  Model& model_;
  Ids sps_, fgs_, fps_, dps_;
  std::map<uint32_t, uint16_t> given_;  // identifiers by the number of the command
};

namespace {

[[noreturn]] void RefuseFile(const char* why) { Refuse(HQOSD_MALFORMED, "the file: {}", why); }

}  // namespace

void StateReader::ReadHead(StateFile& file) {
  hqos::StateHead& head = file.head;
  if (!Decode(hqos::kStateHead, rest_.data(), size_, head)) RefuseFile("it has no head");
  if (head.format != hqos::kStateFormat) RefuseFile("its format is not known");
  if (head.mode > HQOSD_MODE_REVERT || head.check > 1) RefuseFile("its mode is not known");
  if (head.length != size_) RefuseFile("its head has another length");
  rest_ = rest_.subspan(hqos::kStateHead.size);
  if (head.fcs > rest_.size() / hqos::kObjPayload.size) {
    RefuseFile("it has fewer FCs than it says");
  }
  for (uint32_t i = 0; i < head.fcs; ++i) {
    HQOS_ObjPayload& fc = file.fcs.emplace_back();
    Decode(hqos::kObjPayload, rest_.data(), rest_.size(), fc);
    rest_ = rest_.subspan(hqos::kObjPayload.size);
  }
}

bool StateReader::Step(const Slice& slice, StateFile& file) {
  if (rest_.size() == size_) ReadHead(file);
  while (!rest_.empty()) {
    if (slice.IsOver()) return false;
    const auto room = static_cast<uint16_t>(std::min<size_t>(rest_.size(), HQOS_MSG_MAX));
    const hqos::Tlv tlv = hqos::FirstTlv(rest_.data(), room);
    if (tlv.value == nullptr || rest_[0] < HQOS_MSGHEAD_LEN)
      RefuseFile("it has what is no command");
    const auto length = static_cast<size_t>(tlv.value + tlv.length - rest_.data());
    file.commands.push_back({rest_.first(length), tlv});
    rest_ = rest_.subspan(length);
  }
  if (file.head.commands != file.commands.size()) {
    RefuseFile("it has not as many commands as it says");
  }
  return true;
}

TransactionRun::TransactionRun(const Model& model, const StateFile& file)
    : model_(model), file_(file) {}

TransactionRun::~TransactionRun() = default;

void TransactionRun::Begin() {
  if (file_.head.mode == HQOSD_MODE_CHANGE) {
    result_ = model_.Copy();
    return;
  }
  result_.interfaces = model_.interfaces;
  result_.debug = model_.debug;
  replacement_ = std::make_unique<Replacement>(model_, file_, result_);
}

bool TransactionRun::Step(const Slice& slice) {
  if (!isBegun_) Begin();
  isBegun_ = true;
  for (; next_ < file_.commands.size() && refusals_.size() < kMaxRefusals; ++next_) {
    if (slice.IsOver()) return false;
    const StateCommand& command = file_.commands[next_];
    try {
      if (replacement_ != nullptr) {
        replacement_->RunOne(next_);
      } else {
        CarryOut(result_, command.message, command.tlv);
      }
    } catch (const Refusal& refusal) {
      refusals_.push_back({next_, refusal});
    }
  }
  return true;
}

}  // namespace hqosd
