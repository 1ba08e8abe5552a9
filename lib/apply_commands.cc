// Commands that apply SPs and take them off again.
#include "lib/apply.h"
#include "lib/send.h"
#include "platform/stlv.h"

uint32_t HQOS_lib_EncapApply(const HQOS_AppObj* obj, const char* spName, uint8_t* out) {
  uint8_t object[hqos::kAppObj.size];
  hqos::EncodeAppObj(*obj, object);
  uint8_t sp[hqos::kObjPayload.size];
  hqos::Encode(hqos::kObjPayload, hqos::NamedObject(spName), sp);
  const uint32_t used = STLV_Set(out, HQOS_MSG_MAX, HQOS_TLV_APPOBJ, sizeof object, object);
  const auto left = static_cast<uint16_t>(HQOS_MSG_MAX - used);
  return used + STLV_Set(out + used, left, HQOS_TLV_SPNAME, sizeof sp, sp);
}

namespace {

uint32_t ConfigureApply(uint16_t cmdCode, const HQOS_AppObj* obj, const char* spName,
                        HQOS_Result* result) {
  uint8_t payload[HQOS_MSG_MAX];
  const uint32_t length = HQOS_lib_EncapApply(obj, spName, payload);
  return HQOS_lib_Config(cmdCode, payload, static_cast<uint16_t>(length), result);
}

}  // namespace

uint32_t HQOS_lib_ApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result) {
  return ConfigureApply(HQOS_CMD_APPLY_SP, obj, spName, result);
}

uint32_t HQOS_lib_UndoApplySP(const HQOS_AppObj* obj, const char* spName, HQOS_Result* result) {
  return ConfigureApply(HQOS_CMD_UNDO_APPLY_SP, obj, spName, result);
}
