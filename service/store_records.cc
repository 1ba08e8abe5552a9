// Reading the records whose form is the service's own.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "dbmtype/fp_records.h"
#include "dbmtype/record.h"
#include "msg/records.h"
#include "platform/hqosd_store.h"

namespace {

template <class Layout, class Record>
int ReadRecord(const Layout& layout, const uint8_t* value, size_t length, Record* out) {
  Record record{};
  if (!Decode(layout, value, length, record)) return 0;
  *out = record;
  return 1;
}

}  // namespace

int HQOSD_GetStorePath(char* path, size_t room) {
  const char* const state = getenv("HQOS_STATE_DIR");
  const char* const xdg = getenv("XDG_STATE_HOME");
  const char* const home = getenv("HOME");
  int length = -1;
  if (state != nullptr && state[0] != '\0') {
    length = snprintf(path, room, "%s/hqosd.db", state);
  } else if (geteuid() == 0) {
    length = snprintf(path, room, "/var/lib/hqos/hqosd.db");
  } else if (xdg != nullptr && xdg[0] != '\0') {
    length = snprintf(path, room, "%s/hqos/hqosd.db", xdg);
  } else if (home != nullptr && home[0] != '\0') {
    length = snprintf(path, room, "%s/.local/state/hqos/hqosd.db", home);
  }
  return length > 0 && static_cast<size_t>(length) < room ? 0 : 1;
}

int HQOSD_ReadSP(const uint8_t* value, size_t length, HQOS_SPInfo* out) {
  return ReadRecord(hqos::kSPBase, value, length, out);
}

int HQOSD_ReadFG(const uint8_t* value, size_t length, HQOS_FGInfo* out) {
  return ReadRecord(hqos::kNamedInfo<HQOS_FGInfo>, value, length, out);
}

int HQOSD_ReadFC(const uint8_t* value, size_t length, HQOS_FCInfo* out) {
  return ReadRecord(hqos::kNamedInfo<HQOS_FCInfo>, value, length, out);
}

int HQOSD_ReadDP(const uint8_t* value, size_t length, HQOS_DPInfo* out) {
  return ReadRecord(hqos::kDPInfo, value, length, out);
}

int HQOSD_ReadFPCfg(const uint8_t* value, size_t length, HQOS_FPCfg* out) {
  hqos::Tlv record;
  if (length > UINT16_MAX || !hqos::OpenRecord(value, static_cast<uint16_t>(length), record))
    return 0;
  HQOS_FPCfg cfg{};
  DecodeParts(hqos::kFPCfgParts, record.value, record.length, cfg);
  cfg.dpName[sizeof cfg.dpName - 1] = '\0';
  if (cfg.name[0] == '\0') return 0;
  *out = cfg;
  return 1;
}

int HQOSD_ReadApply(const uint8_t* value, size_t length, HQOS_ApplyInfo* out) {
  if (length > UINT16_MAX) return 0;
  HQOS_ApplyInfo info{};
  bool hasObj = false, hasSP = false;
  hqos::TlvWalk walk(value, static_cast<uint16_t>(length));
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    HQOS_ObjPayload sp{};
    if (tlv.type == HQOS_TLV_APPOBJ) hasObj |= hqos::DecodeAppObj(tlv.value, tlv.length, &info.obj);
    if (tlv.type == HQOS_TLV_SPNAME && Decode(hqos::kObjPayload, tlv.value, tlv.length, sp)) {
      hasSP = true;
      memcpy(info.sp.name, sp.name, sizeof info.sp.name);
    }
  }
  if (!hasObj || !hasSP) return 0;
  *out = info;
  return 1;
}
