// TLVs on the host: type and length as big-endian 16-bit numbers, then the value, no padding.
#include "platform/stlv.h"

#include <arpa/inet.h>
#include <string.h>

namespace {

struct Header {
  uint16_t type;
  uint16_t length;
};

}  // namespace

uint32_t STLV_Set(void* buf, uint16_t room, uint16_t type, uint16_t length, const void* value) {
  const uint32_t total = uint32_t{sizeof(Header)} + length;
  if (total > room) return 0;
  const Header header{htons(type), htons(length)};
  memcpy(buf, &header, sizeof header);
  if (length != 0) memcpy(static_cast<uint8_t*>(buf) + sizeof header, value, length);
  return total;
}

uint32_t STLV_Get(const void* buf, uint16_t room, uint16_t* type, uint16_t* length,
                  const uint8_t** value) {
  *value = nullptr;
  if (room < sizeof(Header)) return 0;
  Header header;
  memcpy(&header, buf, sizeof header);
  const uint32_t total = uint32_t{sizeof header} + ntohs(header.length);
  if (total > room) return 0;
  *type = ntohs(header.type);
  *length = ntohs(header.length);
  *value = static_cast<const uint8_t*>(buf) + sizeof header;
  return total;
}
