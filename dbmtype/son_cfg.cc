// The record of a child's configuration. Its fixed part is stored in host order.
#include <string.h>

#include "dbmtype/record.h"
#include "dbmtype/stored_rule.h"

namespace {

// TLV HQOS_DBTLV_SONCFG.
constexpr auto kFixed =
    hqos::Table<72>(hqos::Field{0, 2, hqos::kRaw, &HQOS_SonCfg::value1},
                    hqos::Field{2, 2, hqos::kRaw, &HQOS_SonCfg::value2},
                    hqos::Field{4, 32, hqos::kText, &HQOS_SonCfg::name1},
                    hqos::Field{36, 32, hqos::kText, &HQOS_SonCfg::name2},
                    hqos::Field{68, 4, hqos::kRuleType<hqos::Raw>, &HQOS_SonCfg::rule});

}  // namespace

uint32_t HQOS_dbmtype_EncapSonCfg(const HQOS_SonCfg* rec, uint16_t bufLen, uint32_t* outLen,
                                  uint8_t* buf) {
  hqos::RecordWriter writer;
  *outLen = 2 * writer.Add(HQOS_DBTLV_SONCFG, kFixed, *rec);
  if (hqos::HasStoredRanges(rec->rule.type)) {
    writer.Add(HQOS_DBTLV_RULE_RANGES, hqos::kRuleRanges, rec->rule);
  }
  return writer.Finish(HQOS_DBTLV_SONCFG, bufLen, buf);
}

uint32_t HQOS_dbmtype_DecapSonCfg(const uint8_t* buf, uint16_t len, HQOS_SonCfg* rec) {
  hqos::Tlv record;
  if (!hqos::OpenRecord(buf, len, record)) return HQOS_ERR_FAILED;
  memset(rec, 0, sizeof *rec);
  hqos::TlvWalk walk(record.value, record.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    if (tlv.type == HQOS_DBTLV_SONCFG && hqos::Decode(kFixed, tlv.value, tlv.length, *rec)) {
      rec->rule = hqos::EmptyRule(rec->rule.type);
    }
    if (tlv.type == HQOS_DBTLV_RULE_RANGES) {
      hqos::Decode(hqos::kRuleRanges, tlv.value, tlv.length, rec->rule);
    }
  }
  return 0;
}
