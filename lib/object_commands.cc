// Commands that create and delete objects, set the unit of an SP and switch debugging.
#include "lib/send.h"

using hqos::Configure;
using hqos::kDebugSelector;
using hqos::kObjId;
using hqos::NamedObject;

uint32_t HQOS_lib_AddSP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_SP, kObjId, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelSP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_SP, kObjId, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFG(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_FG, kObjId, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFG(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_FG, kObjId, NamedObject(name), result);
}

uint32_t HQOS_lib_AddFP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_FP, kObjId, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelFP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_FP, kObjId, NamedObject(name), result);
}

uint32_t HQOS_lib_AddDP(const char* name, uint16_t id, HQOS_Result* result) {
  return Configure(HQOS_CMD_ADD_DP, kObjId, NamedObject(name, id), result);
}

uint32_t HQOS_lib_DelDP(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_DEL_DP, kObjId, NamedObject(name), result);
}

uint32_t HQOS_lib_SetSPUnit(const char* name, uint32_t unit, HQOS_Result* result) {
  return Configure(HQOS_CMD_SET_SP_UNIT, hqos::kObjValue, hqos::NamedValue(name, unit), result);
}

uint32_t HQOS_lib_ResetSPUnit(const char* name, HQOS_Result* result) {
  return Configure(HQOS_CMD_RESET_SP_UNIT, kObjId, NamedObject(name), result);
}

uint32_t HQOS_lib_SetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Configure(HQOS_CMD_SET_DEBUG, kDebugSelector, hqos::DebugSelector{debug}, &verdict);
}

uint32_t HQOS_lib_ResetDebug(uint32_t debug) {
  HQOS_Result verdict;
  return Configure(HQOS_CMD_RESET_DEBUG, kDebugSelector, hqos::DebugSelector{debug}, &verdict);
}
