// Commands that create and delete objects, set the unit of an SP and switch debugging.
#include "lib/send.h"

using hqos::Configure;
using hqos::kDebugPayload;
using hqos::kObjPayload;
using hqos::NamedObject;

uint32_t HQOS_lib_AddSP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_SP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelSP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_SP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFG(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_FG, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFG(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_FG, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_FP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_FP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_AddDP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_DP, kObjPayload, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelDP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_DP, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_SetSPUnit(const char* name, uint32_t unit, HQOS_Result* result) {
  return Configure(HQOS_CMD_SET_SP_UNIT, hqos::kObjValuePayload, hqos::NamedValue(name, unit),
                   result);
}

uint32_t HQOS_lib_ResetSPUnit(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_RESET_SP_UNIT, kObjPayload, NamedObject(name), result);
}

uint32_t HQOS_lib_SetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Configure(HQOS_CMD_SET_DEBUG, kDebugPayload, HQOS_DebugPayload{debug}, &verdict);
}

uint32_t HQOS_lib_ResetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Configure(HQOS_CMD_RESET_DEBUG, kDebugPayload, HQOS_DebugPayload{debug}, &verdict);
}
