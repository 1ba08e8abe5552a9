// Queries that read FGs.
#include "lib/named_info.h"
#include "service/objects.h"
#include "service/tlvs.h"

namespace hqosd {

namespace {

Answer Describe(const ObjectTable<FG>::Object& fg, uint16_t type) {
  HQOS_FGInfo info{};
  fg.name.copy(info.name, sizeof info.name - 1);
  info.id = fg.id;
  Answer answer;
  AppendRecord(answer.data, type, hqos::kNamedInfo<HQOS_FGInfo>, info);
  return answer;
}

}  // namespace

Answer GetFG(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const fg = FindObject(model.fgs, "FG", payload, refusal);
  return fg == nullptr ? refusal : Describe(*fg, HQOS_GET_FG);
}

Answer GetNextFG(Model& model, const Payload& payload) {
  Answer refusal;
  const auto* const fg = FindNext(model.fgs, "FG", payload, refusal);
  return fg == nullptr ? refusal : Describe(*fg, HQOS_GETNEXT_FG);
}

}  // namespace hqosd
