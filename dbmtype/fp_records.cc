#include "dbmtype/fp_records.h"

#include <string.h>

#include "dbmtype/record.h"

uint32_t HQOS_dbmtype_EncapFPCfg(const HQOS_FPCfg* cfg, uint16_t bufLen, uint8_t* buf) {
  hqos::Inner inner;
  inner.AddParts(hqos::kFPCfgParts, *cfg);
  return inner.Wrap(HQOS_DBTLV_FPCFG, bufLen, buf);
}

uint32_t HQOS_dbmtype_EncapFPRun(const HQOS_FPRun* run, uint16_t bufLen, uint8_t* buf) {
  hqos::Inner inner;
  inner.AddParts(hqos::kFPRunParts, *run);
  return inner.Wrap(HQOS_DBTLV_FPRUN, bufLen, buf);
}

uint32_t HQOS_dbmtype_DecapFPRun(const uint8_t* buf, uint16_t len, HQOS_FPRun* run) {
  hqos::Tlv record;
  if (!hqos::Unwrap(buf, len, record)) return HQOS_ERR_FAILED;
  memset(run, 0, sizeof *run);
  hqos::DecodeParts(hqos::kFPRunParts, record.value, record.length, *run);
  return 0;
}
