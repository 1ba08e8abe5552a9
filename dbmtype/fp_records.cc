#include "dbmtype/fp_records.h"

#include <string.h>

#include "dbmtype/record.h"

uint32_t HQOS_dbmtype_EncapFPCfg(const HQOS_FPCfg* cfg, uint16_t bufLen, uint8_t* buf) {
  hqos::RecordWriter writer;
  writer.AddParts(hqos::kFPCfgParts, *cfg);
  return writer.Finish(HQOS_DBTLV_FPCFG, bufLen, buf);
}

uint32_t HQOS_dbmtype_EncapFPRun(const HQOS_FPRun* run, uint16_t bufLen, uint8_t* buf) {
  hqos::RecordWriter writer;
  writer.AddParts(hqos::kFPRunParts, *run);
  return writer.Finish(HQOS_DBTLV_FPRUN, bufLen, buf);
}

uint32_t HQOS_dbmtype_DecapFPRun(const uint8_t* buf, uint16_t len, HQOS_FPRun* run) {
  hqos::Tlv record;
  if (!hqos::OpenRecord(buf, len, record)) return HQOS_ERR_FAILED;
  memset(run, 0, sizeof *run);
  hqos::DecodeParts(hqos::kFPRunParts, record.value, record.length, *run);
  return 0;
}
