// The bulk request record.
#include <cstring>

#include "fuzz/guard.h"
#include "hqos.h"

namespace {

struct Request {
  HQOS_AppObj obj;
  HQOS_SPSonPath start;
  uint32_t count;
};

// Where the record has nothing, what is set here stays.
Request Read(const uint8_t* record, size_t size) {
  Request request;
  std::memset(&request, 0x5A, sizeof request);
  request.obj = {HQOS_APPOBJ_SYSTEM, 0, 0, {}};
  const uint32_t status = HQOS_msg_DecapBulkReq(record, static_cast<uint16_t>(size), &request.obj,
                                                &request.start, &request.count);
  fuzz::Require(status == 0, "a bulk request is read");
  return request;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  const Request request = Read(guard.Bytes(data, size), size);
  uint8_t record[HQOS_MSG_MAX];
  const uint32_t length =
      HQOS_msg_EncapBulkReq(&request.obj, &request.start, request.count, sizeof record, record);
  const Request again = Read(record, length);
  fuzz::Require(std::memcmp(&request, &again, sizeof request) == 0,
                "a bulk request is read as it was written");
  return 0;
}
