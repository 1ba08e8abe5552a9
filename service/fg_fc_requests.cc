// Queries that read FGs and FCs.
#include "msg/records.h"
#include "service/block.h"

namespace hqosd {

namespace {

// The data TLV of an FG or FC.
template <class Info, class Object>
Answer Describe(const Object& object, uint16_t type) {
  Answer answer;
  AppendRecord(answer.data, type, hqos::kNamedInfo<Info>, NamedRecord<Info>(object));
  return answer;
}

}  // namespace

Answer GetFG(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const fg = FindObject(model.fgs, "FG", payload, refusal);
  return fg == nullptr ? refusal : Describe<HQOS_FGInfo>(*fg, HQOS_GET_FG);
}

Answer GetNextFG(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const fg = FindNext(model.fgs, "FG", payload, refusal);
  return fg == nullptr ? refusal : Describe<HQOS_FGInfo>(*fg, HQOS_GETNEXT_FG);
}

Answer GetFC(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const fc = FindObject(model.fcs, "FC", payload, refusal);
  return fc == nullptr ? refusal : Describe<HQOS_FCInfo>(*fc, HQOS_GET_FC);
}

Answer GetAllFC(Model& model, const Payload& /*none*/) {
  Block block(0);
  for (const auto& [id, fc] : model.fcs.All()) {
    const Bytes value = Encoded(hqos::kNamedInfo<HQOS_FCInfo>, NamedRecord<HQOS_FCInfo>(fc));
    if (!block.Add(HQOS_BULK_ALL_FC, value.data(), value.size())) break;
  }
  return block.Take();
}

}  // namespace hqosd
