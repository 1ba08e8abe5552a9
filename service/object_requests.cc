// Commands that create and delete objects, and switch debugging.
#include "service/applications.h"
#include "service/hierarchy.h"
#include "service/objects.h"

namespace hqosd {

namespace {

std::string HasChildren(const Model& model, const Children& children) {
  if (children.empty()) return "";
  const Child first = ChildOf(model, children.begin()->first);
  return std::string("still has ") + first.kind + " " + *first.name + " below it";
}

std::string NestedBelow(const Model& model, const Parents& parents) {
  if (!parents.sps.empty()) {
    return "is nested below SP " + model.sps.All().at(*parents.sps.begin()).name;
  }
  if (!parents.fgs.empty()) {
    return "is nested below FG " + model.fgs.All().at(*parents.fgs.begin()).name;
  }
  return "";
}

}  // namespace

Answer AddSP(Model& model, const Payload& payload) { return AddObject(model.sps, "SP", payload); }
Answer AddFP(Model& model, const Payload& payload) { return AddObject(model.fps, "FP", payload); }
Answer AddDP(Model& model, const Payload& payload) { return AddObject(model.dps, "DP", payload); }

// FGs and FCs have their identifiers from one range, so that a path names a child by itself.
Answer AddFG(Model& model, const Payload& payload) {
  return AddObject(model.fgs, "FG", payload, [&](uint16_t id) {
    const auto* const fc = model.fcs.Find(id);
    return fc == nullptr ? std::string() : "FC " + fc->name;
  });
}

Answer DelSP(Model& model, const Payload& payload) {
  return DelObject(model.sps, "SP", payload, [&](const auto& sp) {
    const std::string place = PlaceOf(model, sp.id);
    return place.empty() ? HasChildren(model, sp.value.children) : "is applied to " + place;
  });
}

Answer DelFG(Model& model, const Payload& payload) {
  uint16_t id = 0;
  Answer answer = DelObject(model.fgs, "FG", payload, [&](const auto& fg) {
    id = fg.id;
    const std::string nested = NestedBelow(model, fg.value.parents);
    return nested.empty() ? HasChildren(model, fg.value.children) : nested;
  });
  if (answer.code == 0) model.fcIdHint = std::max(model.fcIdHint, id);
  return answer;
}

Answer DelFP(Model& model, const Payload& payload) {
  uint16_t dpId = HQOS_ID_NONE;
  Answer answer = DelObject(model.fps, "FP", payload, [&](const auto& fp) {
    if ((fp.value.settings.flags & HQOS_FPI_DPREF) != 0) dpId = fp.value.settings.dpId;
    return fp.value.uses == 0 ? std::string() : "is used by " + UserOf(model, fp.name);
  });
  if (answer.code == 0 && dpId != HQOS_ID_NONE) --model.dps.At(dpId).value.uses;
  return answer;
}

Answer DelDP(Model& model, const Payload& payload) {
  return DelObject(model.dps, "DP", payload, [&](const auto& dp) {
    if (dp.value.uses == 0) return std::string();
    const auto& fps = model.fps.All();
    const auto user = std::find_if(fps.begin(), fps.end(), [&](const auto& entry) {
      const HQOS_FPInfo& settings = entry.second.value.settings;
      return (settings.flags & HQOS_FPI_DPREF) != 0 && settings.dpId == dp.id;
    });
    return "is used by FP " + user->second.name;
  });
}

namespace {

// Reads a debug selector, which must be made of known bits.
Answer ReadSelector(const Payload& payload, uint32_t& selector) {
  HQOS_DebugPayload record{};
  if (!Read(payload, hqos::kDebugPayload, record)) return TooShort();
  constexpr uint32_t kKnown = HQOSD_DEBUG_REQUESTS | HQOSD_DEBUG_BYTES;
  if (record.debug == 0 || (record.debug & ~kKnown) != 0) {
    return Refuse(HQOSD_BAD_VALUE,
                  "debug selector " + std::to_string(record.debug) + " is unknown");
  }
  selector = record.debug;
  return {};
}

}  // namespace

Answer SetDebug(Model& model, const Payload& payload) {
  uint32_t selector = 0;
  Answer answer = ReadSelector(payload, selector);
  model.debug |= selector;
  return answer;
}

Answer ResetDebug(Model& model, const Payload& payload) {
  uint32_t selector = 0;
  Answer answer = ReadSelector(payload, selector);
  model.debug &= ~selector;
  return answer;
}

}  // namespace hqosd
