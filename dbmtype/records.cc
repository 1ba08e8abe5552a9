#include "dbmtype/records.h"

#include <string.h>

// ---- Children -----------------------------------------------------------------------------------

uint32_t HQOS_dbmtype_EncapSonCfg(const HQOS_SonCfg* rec, uint16_t bufLen, uint32_t* outLen,
                                  uint8_t* buf) {
  hqos::RecordWriter writer;
  *outLen = 2 * writer.Add(HQOS_DBTLV_SONCFG, hqos::kStoredSonCfg, *rec);
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
    if (tlv.type == HQOS_DBTLV_SONCFG &&
        hqos::Decode(hqos::kStoredSonCfg, tlv.value, tlv.length, *rec)) {
      rec->rule = hqos::EmptyRule(rec->rule.type);
    }
    if (tlv.type == HQOS_DBTLV_RULE_RANGES) {
      hqos::Decode(hqos::kRuleRanges, tlv.value, tlv.length, rec->rule);
    }
  }
  return 0;
}

// ---- Run-time state of an SP's nodes ------------------------------------------------------------

namespace {

uint32_t AddPath(hqos::RecordWriter& writer, const HQOS_SPSonPath& path) {
  const hqos::StoredPath stored{{path.field[1], path.field[2], path.field[3], path.field[4]}};
  return writer.Add(HQOS_DBTLV_PATH, hqos::kStoredPath, stored);
}

// Reads a TLV of the node itself; others are skipped.
void DecodeNode(const hqos::Tlv& tlv, HQOS_LayerRun& node) {
  hqos::StoredPath path{};
  switch (tlv.type) {
    case HQOS_DBTLV_PATH:
      if (!hqos::Decode(hqos::kStoredPath, tlv.value, tlv.length, path)) return;
      node.path = {{HQOS_PATH_UNSET, path.field[0], path.field[1], path.field[2], path.field[3],
                    HQOS_PATH_UNSET}};
      return;
    case HQOS_DBTLV_NODE:
      if (!hqos::Decode(hqos::kStoredNode, tlv.value, tlv.length, node)) return;
      node.rule = hqos::EmptyRule(node.rule.type);
      return;
    case HQOS_DBTLV_RULE_RANGES:
      hqos::Decode(hqos::kRuleRanges, tlv.value, tlv.length, node.rule);
      return;
    default:
      return;
  }
}

// Makes an entry of a child's TLV, below the node as it is read by now.
bool DecodeChild(const hqos::Tlv& tlv, const HQOS_LayerRun& node, HQOS_LayerRun& entry) {
  hqos::StoredChild child{};
  if (!hqos::Decode(hqos::kStoredChild, tlv.value, tlv.length, child)) return false;
  entry = child.run;
  entry.path = node.path;
  entry.path.field[5] = child.field5;
  entry.rule = hqos::EmptyRule(HQOS_MATCH_NONE);
  return true;
}

}  // namespace

uint32_t HQOS_dbmtype_EncapLayer1Run(const HQOS_LayerRun* rec, uint16_t bufLen, uint32_t* outLen,
                                     uint8_t* buf) {
  hqos::RecordWriter writer;
  *outLen = 2 * AddPath(writer, rec->path);
  writer.Add(HQOS_DBTLV_NODE, hqos::kStoredNode, *rec);
  if (hqos::HasStoredRanges(rec->rule.type)) {
    writer.Add(HQOS_DBTLV_RULE_RANGES, hqos::kRuleRanges, rec->rule);
  }
  return writer.Finish(HQOS_DBTLV_LAYER1RUN, bufLen, buf);
}

uint32_t HQOS_dbmtype_DecapLayer1Run(const uint8_t* buf, uint16_t len, HQOS_LayerRun* rec) {
  hqos::Tlv record;
  if (!hqos::OpenRecord(buf, len, record)) return HQOS_ERR_FAILED;
  memset(rec, 0, sizeof *rec);
  hqos::TlvWalk walk(record.value, record.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) DecodeNode(tlv, *rec);
  return 0;
}

uint32_t HQOS_dbmtype_EncapLayer2Run(const HQOS_LayerRun* parent, const HQOS_LayerRun* entries,
                                     uint32_t count, uint16_t bufLen, uint32_t* outLen,
                                     uint8_t* buf) {
  hqos::RecordWriter writer;
  *outLen = 2 * AddPath(writer, parent->path);
  if (parent->path.field[3] != HQOS_PATH_UNSET) {
    writer.Add(HQOS_DBTLV_NODE, hqos::kStoredNode, *parent);
    writer.Add(HQOS_DBTLV_RULE_RANGES, hqos::kRuleRanges, parent->rule);
  }
  for (uint32_t i = 0; i < count; ++i) {
    writer.Add(HQOS_DBTLV_CHILD, hqos::kStoredChild,
               hqos::StoredChild{entries[i].path.field[5], entries[i]});
  }
  return writer.Finish(HQOS_DBTLV_LAYER2RUN, bufLen, buf);
}

uint32_t HQOS_dbmtype_DecapLayer2Run(const uint8_t* buf, uint16_t len, uint32_t maxEntries,
                                     HQOS_LayerRun* parent, HQOS_LayerRun* entries,
                                     uint32_t* count) {
  hqos::Tlv record;
  if (!hqos::OpenRecord(buf, len, record)) return HQOS_ERR_FAILED;
  memset(parent, 0, sizeof *parent);
  for (uint32_t i = 0; i < maxEntries; ++i) memset(&entries[i], 0, sizeof entries[i]);
  uint32_t found = 0;
  hqos::TlvWalk walk(record.value, record.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    DecodeNode(tlv, *parent);
    if (tlv.type != HQOS_DBTLV_CHILD || found == maxEntries) continue;
    if (DecodeChild(tlv, *parent, entries[found])) ++found;
  }
  *count = found;
  return 0;
}

// ---- FPs ----------------------------------------------------------------------------------------

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
