// Queries that list the children of FGs and SPs.
#include "lib/round_trip.h"

using hqos::Decode;
using hqos::Tlv;

static_assert(HQOS_BULK_FGSON_MAX == hqos::MaxRecords(hqos::kFGSon.size));
static_assert(HQOS_BULK_SPSON_MAX == hqos::MaxRecords(0));  // containers may be empty

namespace {

// One TLV of a child, by the kind of record; those of other types are skipped.
[[gnu::always_inline]] inline void DecodePart(const Tlv& tlv, HQOS_SPSon& son) {
  if (tlv.type == HQOS_TLV_SONPATH) Decode(hqos::kSonPath, tlv.value, tlv.length, son.path);
  if (tlv.type == HQOS_TLV_SONCFG) Decode(hqos::kSonCfg, tlv.value, tlv.length, son.cfg);
  if (tlv.type == HQOS_TLV_WORDS) {
    Decode(hqos::kWords<HQOS_SPSon>, tlv.value, tlv.length, son);
  }
}

void DecodePart(const Tlv& tlv, HQOS_SPSonStat& son) {
  DecodePart(tlv, son.son);
  if (tlv.type == HQOS_TLV_SONSTAT) Decode(hqos::kSonStat, tlv.value, tlv.length, son.counters);
}

void DecodePart(const Tlv& tlv, HQOS_SPSonDiag& son) {
  DecodePart(tlv, son.son);
  if (tlv.type == HQOS_TLV_SONDIAG) Decode(hqos::kSonDiag, tlv.value, tlv.length, son);
}

// Every container of the reply becomes one record, whatever it holds.
template <class Record>
uint32_t ListSons(uint16_t queryType, const HQOS_AppObj* obj, const HQOS_SPSonPath* start,
                  uint32_t count, uint32_t* outCount, Record* infos) {
  uint8_t payload[HQOS_MSG_MAX];
  const uint32_t length = HQOS_msg_EncapBulkReq(obj, start, count, sizeof payload, payload);
  hqos::Reply reply;
  const uint32_t status = HQOS_lib_Query(HQOS_OP_BULK, queryType, static_cast<uint16_t>(length),
                                         payload, reply.data, &reply.length);
  if (status != 0) return status;

  *outCount = 0;
  hqos::TlvWalk containers = hqos::WalkMessage(reply.data, reply.length);
  for (Tlv container; containers.Next(container);) {
    Record& record = infos[(*outCount)++];
    memset(&record, 0, sizeof record);
    hqos::TlvWalk parts(container.value, container.length);
    for (Tlv part; parts.Next(part);) DecodePart(part, record);
  }
  return 0;
}

}  // namespace

uint32_t HQOS_lib_GetBulkFGSon(const HQOS_FGSonKey* start, uint32_t count, uint32_t* outCount,
                               HQOS_FGSon* infos) {
  hqos::Reply reply;
  const uint32_t status = hqos::Query(HQOS_OP_BULK, HQOS_BULK_FG_SON, hqos::kFGSonRequest,
                                      HQOS_FGSonRequest{*start, count}, reply);
  return status != 0 ? status : hqos::DecodeAll(reply, hqos::kFGSon, outCount, infos);
}

uint32_t HQOS_lib_GetBulkSPSon(const HQOS_SPSonPath* start, uint32_t count, uint32_t* outCount,
                               HQOS_SPSon* infos) {
  return ListSons(HQOS_BULK_SP_SON, nullptr, start, count, outCount, infos);
}

uint32_t HQOS_lib_GetBulkSPSonStat(const HQOS_AppObj* obj, const HQOS_SPSonPath* start,
                                   uint32_t count, uint32_t* outCount, HQOS_SPSonStat* infos) {
  return ListSons(HQOS_BULK_SP_SON_STAT, obj, start, count, outCount, infos);
}

uint32_t HQOS_lib_GetBulkSPSonDiag(const HQOS_AppObj* obj, const HQOS_SPSonPath* start,
                                   uint32_t count, uint32_t* outCount, HQOS_SPSonDiag* infos) {
  return ListSons(HQOS_BULK_SP_SON_DIAG, obj, start, count, outCount, infos);
}
