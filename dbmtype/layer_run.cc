// The records of the run-time state of an SP's nodes.
#include <string.h>

#include "dbmtype/record.h"
#include "dbmtype/stored_rule.h"

using hqos::Field;
using hqos::kBigEndian;
using hqos::kRaw;
using hqos::Table;

namespace {

// TLV HQOS_DBTLV_PATH: the path without its first and last field.
struct StoredPath {
  uint16_t field[4];
};
constexpr auto kStoredPath = Table<8>(Field{0, 8, kBigEndian, &StoredPath::field});

// TLV HQOS_DBTLV_NODE. Bytes 2-3 are padding.
constexpr auto kNode = Table<20>(
    Field{0, 2, kBigEndian, &HQOS_LayerRun::value16},
    Field{4, 4, kBigEndian, &HQOS_LayerRun::value32}, Field{8, 8, kRaw, &HQOS_LayerRun::hostData},
    Field{16, 4, hqos::kRuleType<hqos::BigEndian>, &HQOS_LayerRun::rule});

// TLV HQOS_DBTLV_CHILD; the last field of its path comes first.
struct StoredChild {
  uint16_t field5;
  HQOS_LayerRun run;
};
constexpr auto kChildRun = Table<14>(Field{0, 2, kBigEndian, &HQOS_LayerRun::value16},
                                     Field{2, 4, kBigEndian, &HQOS_LayerRun::value32},
                                     Field{6, 8, kRaw, &HQOS_LayerRun::hostData});
constexpr auto kChild = Table<16>(Field{0, 2, kBigEndian, &StoredChild::field5},
                                  Field{2, 14, kChildRun, &StoredChild::run});

uint32_t AddPath(hqos::RecordWriter& writer, const HQOS_SPSonPath& path) {
  const StoredPath stored{{path.field[1], path.field[2], path.field[3], path.field[4]}};
  return writer.Add(HQOS_DBTLV_PATH, kStoredPath, stored);
}

// Reads a TLV of the node itself; others are skipped.
void DecodeNode(const hqos::Tlv& tlv, HQOS_LayerRun& node) {
  StoredPath path{};
  switch (tlv.type) {
    case HQOS_DBTLV_PATH:
      if (!hqos::Decode(kStoredPath, tlv.value, tlv.length, path)) return;
      node.path = {{HQOS_PATH_UNSET, path.field[0], path.field[1], path.field[2], path.field[3],
                    HQOS_PATH_UNSET}};
      return;
    case HQOS_DBTLV_NODE:
      if (!hqos::Decode(kNode, tlv.value, tlv.length, node)) return;
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
  StoredChild child{};
  if (!hqos::Decode(kChild, tlv.value, tlv.length, child)) return false;
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
  writer.Add(HQOS_DBTLV_NODE, kNode, *rec);
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
    writer.Add(HQOS_DBTLV_NODE, kNode, *parent);
    writer.Add(HQOS_DBTLV_RULE_RANGES, hqos::kRuleRanges, parent->rule);
  }
  for (uint32_t i = 0; i < count; ++i) {
    writer.Add(HQOS_DBTLV_CHILD, kChild, StoredChild{entries[i].path.field[5], entries[i]});
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
