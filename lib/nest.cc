// Commands that nest FGs and FCs, and remove match rules.
#include "lib/round_trip.h"

namespace {

// Fills a nest payload; extraName and rule may be null.
void HQOS_lib_EncapNest(const char* parentName, const char* childName, const char* extraName,
                        const HQOS_MatchRule* rule, uint8_t* payload) {
  HQOS_NestPayload nest{};
  strlcpy(nest.parentName, parentName, sizeof nest.parentName);
  strlcpy(nest.childName, childName, sizeof nest.childName);
  if (extraName != nullptr) strlcpy(nest.extraName, extraName, sizeof nest.extraName);
  if (rule != nullptr) nest.rule = *rule;
  hqos::Encode(hqos::kNestPayload, nest, payload);
}

uint32_t CommandNest(uint16_t cmdCode, const char* parentName, const HQOS_MatchRule* rule,
                     const char* childName, const char* extraName, HQOS_Result* result) {
  uint8_t payload[hqos::kNestPayload.size];
  HQOS_lib_EncapNest(parentName, childName, extraName, rule, payload);
  return HQOS_lib_Config(cmdCode, payload, sizeof payload, result);
}

uint32_t DelMatch(uint16_t cmdCode, const char* name, const HQOS_MatchRule* rule,
                  HQOS_Result* result) {
  if (name[0] == '\0') return HQOS_ERR_FAILED;
  HQOS_MatchPayload match{{}, *rule};
  strlcpy(match.name, name, sizeof match.name);
  return hqos::Command(cmdCode, hqos::kMatchPayload, match, result);
}

}  // namespace

uint32_t HQOS_lib_AddSPNestFG(const char* spName, const HQOS_MatchRule* rule, const char* fgName,
                              const char* extraName, HQOS_Result* result) {
  return CommandNest(HQOS_CMD_ADD_SP_NEST_FG, spName, rule, fgName, extraName, result);
}

uint32_t HQOS_lib_DelSPNestFG(const char* spName, const HQOS_MatchRule* rule, const char* fgName,
                              HQOS_Result* result) {
  return CommandNest(HQOS_CMD_DEL_SP_NEST_FG, spName, rule, fgName, nullptr, result);
}

uint32_t HQOS_lib_AddFGNestFG(const char* parentFg, const HQOS_MatchRule* rule, const char* childFg,
                              const char* extraName, HQOS_Result* result) {
  return CommandNest(HQOS_CMD_ADD_FG_NEST_FG, parentFg, rule, childFg, extraName, result);
}

uint32_t HQOS_lib_DelFGNestFG(const char* parentFg, const HQOS_MatchRule* rule, const char* childFg,
                              HQOS_Result* result) {
  return CommandNest(HQOS_CMD_DEL_FG_NEST_FG, parentFg, rule, childFg, nullptr, result);
}

uint32_t HQOS_lib_AddFGNestFC(const char* fgName, const char* fcName, const char* extraName,
                              HQOS_Result* result) {
  return CommandNest(HQOS_CMD_ADD_FG_NEST_FC, fgName, nullptr, fcName, extraName, result);
}

uint32_t HQOS_lib_DelFGNestFC(const char* fgName, const char* fcName, HQOS_Result* result) {
  return CommandNest(HQOS_CMD_DEL_FG_NEST_FC, fgName, nullptr, fcName, nullptr, result);
}

uint32_t HQOS_lib_DelSPMatch(const char* spName, const HQOS_MatchRule* rule, HQOS_Result* result) {
  return DelMatch(HQOS_CMD_DEL_SP_MATCH, spName, rule, result);
}

uint32_t HQOS_lib_DelFGMatch(const char* fgName, const HQOS_MatchRule* rule, HQOS_Result* result) {
  return DelMatch(HQOS_CMD_DEL_FG_MATCH, fgName, rule, result);
}
