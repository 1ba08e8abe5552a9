// Queries that read FGs.
#include "lib/flat_reply.h"
#include "lib/named_info.h"

namespace {

constexpr auto& kFGInfo = hqos::kNamedInfo<HQOS_FGInfo>;

}  // namespace

uint32_t HQOS_lib_GetFG(const char* name, HQOS_FGInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GET, HQOS_GET_FG, hqos::kObjPayload, hqos::NamedObject(name), reply);
  return status != 0 ? status : hqos::DecodeFirst(reply, kFGInfo, info);
}

uint32_t HQOS_lib_GetNextFG(uint16_t id, HQOS_FGInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GETNEXT, HQOS_GETNEXT_FG, hqos::kNextKey, HQOS_NextKey{id}, reply);
  return status != 0 ? status : hqos::DecodeFirst(reply, kFGInfo, info);
}
