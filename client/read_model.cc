#include "client/read_model.h"

#include <algorithm>

#include "client/keywords.h"
#include "client/rule_text.h"
#include "client/value_reader.h"
#include "util/match_rule.h"

namespace client {

namespace {

// An element of a list as it is written, before it becomes a child or an application.
struct ChildEntry {
  std::string fg, fc, fp, match;
};
struct ApplyEntry {
  std::string sp, interface;
  std::optional<uint32_t> direction;
  std::optional<uint16_t> slot, id;
  bool system = false;
};

class Reader : private ValueReader {
 public:
  using ValueReader::ValueReader;

  void ReadFile(const Node& node, Model& model) {
    ReadTable(node, model, "the file", kFileKeys);
    if (!hasFormat_) Fail("format is missing: format = 1");
  }

 private:
  // A key that a table may have, and what reads it into the table's object.
  template <class Object>
  struct Key {
    const char* name;
    void (Reader::*read)(const Node& node, Object& object);
  };

  static const Key<Model> kFileKeys[7];
  static const Key<SP> kSPKeys[3];
  static const Key<FG> kFGKeys[2];
  static const Key<FP> kFPKeys[5];
  static const Key<DP> kDPKeys[3];
  static const Key<ChildEntry> kChildKeys[4];
  static const Key<ApplyEntry> kApplyKeys[6];

  template <class Object, size_t N>
  void ReadTable(const Node& node, Object& object, const char* what, const Key<Object> (&keys)[N]) {
    const Node::Members* const members = Members(node);
    if (members == nullptr) return;
    for (const Member& member : *members) {
      const auto* const key = std::find_if(std::begin(keys), std::end(keys),
                                           [&](const auto& k) { return member.key == k.name; });
      At(member.key, [&] {
        if (key != std::end(keys)) return (this->*key->read)(member.node, object);
        std::string known;
        for (const auto& k : keys) known += (known.empty() ? "" : ", ") + std::string(k.name);
        Fail("unknown key \"" + member.key + "\"; " + what + " has " + known);
      });
    }
  }

  // ---- Objects ----

  template <class Object>
  void ReadId(const Node& node, Object& object) {
    uint16_t id = 0;
    if (ReadNumber(node, HQOS_ID_NONE - 1, id)) object.id = id;
  }

  // The tables of a kind, by name.
  template <class Object, size_t N>
  void ReadObjects(const Node& node, std::map<std::string, Object>& objects, const char* what,
                   const Key<Object> (&keys)[N]) {
    const Node::Members* const members = Members(node);
    if (members == nullptr) return;
    for (const Member& member : *members) {
      At(member.key, [&] {
        CheckName(member.key);
        ReadTable(member.node, objects[member.key], what, keys);
      });
    }
  }
  void ReadSPs(const Node& node, Model& model) { ReadObjects(node, model.sp, "an SP", kSPKeys); }
  void ReadFGs(const Node& node, Model& model) { ReadObjects(node, model.fg, "an FG", kFGKeys); }
  void ReadFPs(const Node& node, Model& model) { ReadObjects(node, model.fp, "an FP", kFPKeys); }
  void ReadDPs(const Node& node, Model& model) { ReadObjects(node, model.dp, "a DP", kDPKeys); }

  void ReadFormat(const Node& node, Model&) {
    hasFormat_ = true;
    const auto* const format = std::get_if<int64_t>(&node.value);
    if (format == nullptr || *format != kFormat) Fail("only format 1 is known");
  }
  void Ignore(const Node&, Model&) {}

  void ReadUnit(const Node& node, SP& sp) { ReadKeyword(node, HQOS_util_GetSPUnitStr, sp.unit); }

  void ReadQueue(const Node& node, FP& fp) {
    std::array<uint32_t, 3> queue{};
    const auto read = [this](const Node& item, size_t, uint32_t& value) {
      return ReadNumber(item, UINT32_MAX, value);
    };
    if (ReadValues(node, queue, read)) fp.queue = queue;
  }
  void ReadGTS(const Node& node, FP& fp) {
    std::array<uint32_t, 4> gts{};
    const auto read = [this](const Node& item, size_t i, uint32_t& value) {
      if (i == 0) return ReadQuantity(item, Quantity::kKbitPerSecond, value);
      if (i < 3) return ReadQuantity(item, Quantity::kBytes, value);
      return ReadNumber(item, UINT32_MAX, value);
    };
    if (ReadValues(node, gts, read)) fp.gts = gts;
  }
  void ReadBandwidth(const Node& node, FP& fp) {
    uint32_t bandwidth = 0;
    if (ReadQuantity(node, Quantity::kKbitPerSecond, bandwidth)) fp.bandwidth = bandwidth;
  }
  void ReadDP(const Node& node, FP& fp) { ReadName(node, fp.dp); }

  void ReadWeight(const Node& node, DP& dp) {
    uint32_t weight = 0;
    if (ReadNumber(node, UINT32_MAX, weight)) dp.weight = weight;
  }
  void ReadThresholds(const Node& node, DP& dp) {
    const Node::Members* const members = Members(node);
    if (members == nullptr) return;
    for (const Member& member : *members) {
      At(member.key, [&] {
        const bool isIndex = member.key.size() == 1 && member.key[0] >= '0' &&
                             member.key[0] < '0' + HQOS_DP_THRESHOLDS;
        if (!isIndex) return Fail("the thresholds are 0, 1 and 2");
        ReadThreshold(member.node, dp.thresholds[static_cast<size_t>(member.key[0] - '0')]);
      });
    }
  }
  void ReadThreshold(const Node& node, std::optional<HQOS_DPThreshold>& threshold) {
    std::array<uint32_t, 4> values{};
    const auto read = [this](const Node& item, size_t i, uint32_t& value) {
      return ReadNumber(item, i < 2 ? UINT16_MAX : UINT32_MAX, value);
    };
    if (!ReadValues(node, values, read)) return;
    threshold = HQOS_DPThreshold{static_cast<uint16_t>(values[0]), static_cast<uint16_t>(values[1]),
                                 values[2], values[3]};
  }

  // ---- Children ----

  void ReadChildFG(const Node& node, ChildEntry& entry) { ReadName(node, entry.fg); }
  void ReadChildFC(const Node& node, ChildEntry& entry) { ReadName(node, entry.fc); }
  void ReadChildFP(const Node& node, ChildEntry& entry) { ReadName(node, entry.fp); }
  void ReadMatch(const Node& node, ChildEntry& entry) {
    ReadText(node, "a rule such as \"dot1p:5-7\" or \"group\"", entry.match);
  }

  void ReadSPChildren(const Node& node, SP& sp) { ReadChildren(node, sp.children, true); }
  void ReadFGChildren(const Node& node, FG& fg) { ReadChildren(node, fg.children, false); }
  void ReadChildren(const Node& node, Children& children, bool belowSP) {
    const Node::Items* const items = Items(node);
    if (items == nullptr) return;
    for (uint32_t i = 0; i < items->size(); ++i) {
      At(std::to_string(i), [&] {
        ChildEntry entry;
        const size_t before = FaultCount();
        ReadTable((*items)[i], entry, "a child", kChildKeys);
        if (FaultCount() == before) AddChild(entry, i, belowSP, children);
      });
    }
  }
  void AddChild(const ChildEntry& entry, uint32_t place, bool belowSP, Children& children) {
    if (entry.fg.empty() == entry.fc.empty()) return Fail("a child is an fg or an fc");
    const bool isFC = entry.fg.empty();
    if (isFC && belowSP) return Fail("an FC is nested below an FG, not below an SP");
    if (isFC && !entry.match.empty()) return Fail("an FC has no match rule");
    Child child{hqos::EmptyRule(HQOS_MATCH_NONE), entry.fp, place};
    if (!isFC && !ReadRule(entry.match, child.rule)) return;
    const ChildKind kind = isFC ? ChildKind::kFC : ChildKind::kFG;
    const std::string& name = isFC ? entry.fc : entry.fg;
    if (children.try_emplace({kind, name}, std::move(child)).second) return;
    Fail((isFC ? "FC " : "FG ") + name + " is there twice");
  }
  bool ReadRule(const std::string& text, HQOS_MatchRule& rule) try {
    if (text.empty()) {
      Fail("an FG needs its values: match = \"dot1p:5-7\", or \"group\"");
      return false;
    }
    rule = ParseRule(text);
    Normalise(rule);
    return true;
  } catch (const RuleFault& fault) {
    At("match", [&] {
      Fail("rule \"" + text + "\", character " + std::to_string(fault.place() + 1) + ": " +
           fault.what());
    });
    return false;
  }

  // ---- Applications ----

  void ReadApplySP(const Node& node, ApplyEntry& entry) { ReadName(node, entry.sp); }
  void ReadInterface(const Node& node, ApplyEntry& entry) {
    if (!ReadText(node, "the name of an interface", entry.interface)) return;
    if (IsInterfaceName(entry.interface)) return;
    Fail("the name of an interface has 1 to 47 bytes, no blank and no control character");
  }
  void ReadSlot(const Node& node, ApplyEntry& entry) {
    uint16_t slot = 0;
    if (ReadNumber(node, UINT16_MAX, slot)) entry.slot = slot;
  }
  void ReadApplyId(const Node& node, ApplyEntry& entry) {
    uint16_t id = 0;
    if (ReadNumber(node, UINT16_MAX, id)) entry.id = id;
  }
  void ReadSystem(const Node& node, ApplyEntry& entry) {
    const auto* const value = std::get_if<bool>(&node.value);
    entry.system = value != nullptr && *value;
    if (!entry.system) Fail("true is expected here");
  }
  void ReadDirection(const Node& node, ApplyEntry& entry) {
    ReadKeyword(node, HQOS_util_GetDirStr, entry.direction);
  }

  void ReadApplications(const Node& node, Model& model) {
    const Node::Items* const items = Items(node);
    if (items == nullptr) return;
    for (uint32_t i = 0; i < items->size(); ++i) {
      At(std::to_string(i), [&] {
        ApplyEntry entry;
        const size_t before = FaultCount();
        ReadTable((*items)[i], entry, "an application", kApplyKeys);
        if (FaultCount() == before) AddApplication(entry, i, model);
      });
    }
  }
  void AddApplication(const ApplyEntry& entry, uint32_t place, Model& model) {
    const int objects = (entry.interface.empty() ? 0 : 1) + (entry.slot ? 1 : 0) +
                        (entry.id ? 1 : 0) + (entry.system ? 1 : 0);
    if (entry.sp.empty()) return Fail("sp is missing");
    if (objects != 1) return Fail("one of interface, slot, id and system is expected");
    if (!entry.direction) return Fail("direction is missing");
    Target target{HQOS_APPOBJ_SYSTEM, entry.interface, 0, *entry.direction};
    if (!entry.interface.empty()) target.type = HQOS_APPOBJ_IFINDEX;
    if (entry.slot) target.type = HQOS_APPOBJ_SLOT, target.number = *entry.slot;
    if (entry.id) target.type = HQOS_APPOBJ_ID, target.number = *entry.id;
    if (model.apply.try_emplace(target, Application{entry.sp, place}).second) return;
    Fail(TargetText(target) + " has an SP already");
  }

  bool hasFormat_ = false;
};

const Reader::Key<Model> Reader::kFileKeys[] = {{"format", &Reader::ReadFormat},
                                                {"revision", &Reader::Ignore},
                                                {"sp", &Reader::ReadSPs},
                                                {"fg", &Reader::ReadFGs},
                                                {"fp", &Reader::ReadFPs},
                                                {"dp", &Reader::ReadDPs},
                                                {"apply", &Reader::ReadApplications}};
const Reader::Key<SP> Reader::kSPKeys[] = {{"id", &Reader::ReadId<SP>},
                                           {"unit", &Reader::ReadUnit},
                                           {"children", &Reader::ReadSPChildren}};
const Reader::Key<FG> Reader::kFGKeys[] = {{"id", &Reader::ReadId<FG>},
                                           {"children", &Reader::ReadFGChildren}};
const Reader::Key<FP> Reader::kFPKeys[] = {{"id", &Reader::ReadId<FP>},
                                           {"queue", &Reader::ReadQueue},
                                           {"gts", &Reader::ReadGTS},
                                           {"bandwidth", &Reader::ReadBandwidth},
                                           {"dp", &Reader::ReadDP}};
const Reader::Key<DP> Reader::kDPKeys[] = {{"id", &Reader::ReadId<DP>},
                                           {"weight", &Reader::ReadWeight},
                                           {"thresholds", &Reader::ReadThresholds}};
const Reader::Key<ChildEntry> Reader::kChildKeys[] = {{"fg", &Reader::ReadChildFG},
                                                      {"fc", &Reader::ReadChildFC},
                                                      {"match", &Reader::ReadMatch},
                                                      {"fp", &Reader::ReadChildFP}};
const Reader::Key<ApplyEntry> Reader::kApplyKeys[] = {
    {"sp", &Reader::ReadApplySP},    {"interface", &Reader::ReadInterface},
    {"slot", &Reader::ReadSlot},     {"id", &Reader::ReadApplyId},
    {"system", &Reader::ReadSystem}, {"direction", &Reader::ReadDirection}};

}  // namespace

Model ReadModel(const Document& document, Faults& faults) {
  Model model;
  Reader(faults).ReadFile(document.root(), model);
  return model;
}

}  // namespace client
