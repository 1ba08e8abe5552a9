// The query that lists the children of FGs.
#include "lib/fg_son.h"
#include "lib/flat_reply.h"

static_assert(HQOS_BULK_FGSON_MAX == hqos::MostRecords(hqos::kFGSon.size));

uint32_t HQOS_lib_GetBulkFGSon(const HQOS_FGSonKey* start, uint32_t count, uint32_t* outCount,
                               HQOS_FGSon* infos) {
  hqos::Reply reply;
  const uint32_t status = hqos::Ask(HQOS_OP_BULK, HQOS_BULK_FG_SON, hqos::kFGSonRequest,
                                    HQOS_FGSonRequest{*start, count}, reply);
  return status != 0 ? status : hqos::DecodeAll(reply, hqos::kFGSon, outCount, infos);
}
