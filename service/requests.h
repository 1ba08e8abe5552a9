// The requests that the service knows: one function each.
#pragma once

#include "platform/hqosd.h"
#include "service/answer.h"
#include "service/model.h"

namespace hqosd {

// The value of a request's TLV.
struct Payload {
  const uint8_t* value;
  uint16_t length;
};

// Reads the payload in its layout; false when it is too short.
template <class Layout, class Record>
bool Read(const Payload& payload, const Layout& layout, Record& record) {
  return Decode(layout, payload.value, payload.length, record);
}

inline Answer TooShort() { return Refuse(HQOSD_MALFORMED, "the payload is too short"); }

Answer AddSP(Model& model, const Payload& payload);
Answer DelSP(Model& model, const Payload& payload);
Answer AddFG(Model& model, const Payload& payload);
Answer DelFG(Model& model, const Payload& payload);
Answer AddFP(Model& model, const Payload& payload);
Answer DelFP(Model& model, const Payload& payload);
Answer AddDP(Model& model, const Payload& payload);
Answer DelDP(Model& model, const Payload& payload);

Answer SetSPUnit(Model& model, const Payload& payload);
Answer ResetSPUnit(Model& model, const Payload& payload);
Answer GetSP(Model& model, const Payload& payload);
Answer GetNextSP(Model& model, const Payload& payload);

Answer ApplySP(Model& model, const Payload& payload);
Answer UndoApplySP(Model& model, const Payload& payload);
Answer GetApplyStat(Model& model, const Payload& payload);
Answer GetApplyDiag(Model& model, const Payload& payload);
Answer GetNextIfApplyStat(Model& model, const Payload& payload);
Answer GetNextIfApplyDiag(Model& model, const Payload& payload);

Answer AddSPNestFG(Model& model, const Payload& payload);
Answer DelSPNestFG(Model& model, const Payload& payload);
Answer AddFGNestFG(Model& model, const Payload& payload);
Answer DelFGNestFG(Model& model, const Payload& payload);
Answer AddFGNestFC(Model& model, const Payload& payload);
Answer DelFGNestFC(Model& model, const Payload& payload);
Answer DelSPMatch(Model& model, const Payload& payload);
Answer DelFGMatch(Model& model, const Payload& payload);
Answer GetFG(Model& model, const Payload& payload);
Answer GetNextFG(Model& model, const Payload& payload);
Answer GetFC(Model& model, const Payload& payload);
Answer GetAllFC(Model& model, const Payload& payload);
Answer GetBulkFGSon(Model& model, const Payload& payload);
Answer GetBulkSPSon(Model& model, const Payload& payload);
Answer GetBulkSPSonStat(Model& model, const Payload& payload);
Answer GetBulkSPSonDiag(Model& model, const Payload& payload);

Answer AddQueue(Model& model, const Payload& payload);
Answer DelQueue(Model& model, const Payload& payload);
Answer AddGTS(Model& model, const Payload& payload);
Answer DelGTS(Model& model, const Payload& payload);
Answer AddBandwidth(Model& model, const Payload& payload);
Answer DelBandwidth(Model& model, const Payload& payload);
Answer FPReferDP(Model& model, const Payload& payload);
Answer DelFPReferDP(Model& model, const Payload& payload);
Answer GetFP(Model& model, const Payload& payload);
Answer GetBulkFP(Model& model, const Payload& payload);

Answer AddDPThreshold(Model& model, const Payload& payload);
Answer DelDPThreshold(Model& model, const Payload& payload);
Answer AddDPWeight(Model& model, const Payload& payload);
Answer DelDPWeight(Model& model, const Payload& payload);
Answer GetDP(Model& model, const Payload& payload);
Answer GetBulkDP(Model& model, const Payload& payload);

Answer SetDebug(Model& model, const Payload& payload);
Answer ResetDebug(Model& model, const Payload& payload);

}  // namespace hqosd
