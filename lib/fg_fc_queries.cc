// Queries that read FGs and FCs.
#include "lib/flat_reply.h"
#include "lib/named_info.h"

namespace {

constexpr auto& kFGInfo = hqos::kNamedInfo<HQOS_FGInfo>;
constexpr auto& kFCInfo = hqos::kNamedInfo<HQOS_FCInfo>;
static_assert(HQOS_BULK_FC_MAX == hqos::MostRecords(kFCInfo.size));

}  // namespace

uint32_t HQOS_lib_GetFG(const char* name, HQOS_FGInfo* info) {
  return hqos::GetByName(HQOS_GET_FG, name, kFGInfo, info);
}

uint32_t HQOS_lib_GetFC(const char* name, HQOS_FCInfo* info) {
  return hqos::GetByName(HQOS_GET_FC, name, kFCInfo, info);
}

uint32_t HQOS_lib_GetNextFG(uint16_t id, HQOS_FGInfo* info) {
  hqos::Reply reply;
  const uint32_t status =
      hqos::Ask(HQOS_OP_GETNEXT, HQOS_GETNEXT_FG, hqos::kNextKey, HQOS_NextKey{id}, reply);
  return status != 0 ? status : hqos::DecodeFirst(reply, kFGInfo, info);
}

uint32_t HQOS_lib_GetAllFC(uint32_t* outCount, HQOS_FCInfo* infos) {
  hqos::Reply reply;
  const uint32_t status =
      HQOS_lib_Query(HQOS_OP_BULK, HQOS_BULK_ALL_FC, 0, nullptr, reply.data, &reply.length);
  return status != 0 ? status : hqos::DecodeAll(reply, kFCInfo, outCount, infos);
}
