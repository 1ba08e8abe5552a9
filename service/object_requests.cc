// Commands that create and delete objects, and switch debugging.
#include "service/objects.h"

namespace hqosd {

Answer AddSP(Model& model, const Payload& payload) { return AddObject(model.sps, "SP", payload); }
Answer DelSP(Model& model, const Payload& payload) { return DelObject(model.sps, "SP", payload); }
Answer AddFG(Model& model, const Payload& payload) { return AddObject(model.fgs, "FG", payload); }
Answer DelFG(Model& model, const Payload& payload) { return DelObject(model.fgs, "FG", payload); }
Answer AddFP(Model& model, const Payload& payload) { return AddObject(model.fps, "FP", payload); }
Answer DelFP(Model& model, const Payload& payload) { return DelObject(model.fps, "FP", payload); }
Answer AddDP(Model& model, const Payload& payload) { return AddObject(model.dps, "DP", payload); }
Answer DelDP(Model& model, const Payload& payload) { return DelObject(model.dps, "DP", payload); }

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
