#include "service/store/records.h"

#include <unistd.h>

#include <cstdlib>

#include "dbmtype/records.h"

namespace hqosd {

namespace {

template <class Layout, class Record>
bool DecodeRecord(const Layout& layout, const uint8_t* value, size_t length, Record& out) {
  Record record{};
  if (!Decode(layout, value, length, record)) return false;
  out = record;
  return true;
}

// A directory named by the environment; "" when it is not set.
std::string Directory(const char* variable) {
  const char* const value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

}  // namespace

std::string DefaultStorePath() {
  const std::string state = Directory("HQOS_STATE_DIR"), xdg = Directory("XDG_STATE_HOME"),
                    home = Directory("HOME");
  if (!state.empty()) return state + "/hqosd.db";
  if (geteuid() == 0) return "/var/lib/hqos/hqosd.db";
  if (!xdg.empty()) return xdg + "/hqos/hqosd.db";
  return home.empty() ? "" : home + "/.local/state/hqos/hqosd.db";
}

bool DecodeSP(const uint8_t* value, size_t length, HQOS_SPInfo& out) {
  return DecodeRecord(hqos::kSPBase, value, length, out);
}

bool DecodeFG(const uint8_t* value, size_t length, HQOS_FGInfo& out) {
  return DecodeRecord(hqos::kNamedInfo<HQOS_FGInfo>, value, length, out);
}

bool DecodeFC(const uint8_t* value, size_t length, HQOS_FCInfo& out) {
  return DecodeRecord(hqos::kNamedInfo<HQOS_FCInfo>, value, length, out);
}

bool DecodeDP(const uint8_t* value, size_t length, HQOS_DPInfo& out) {
  return DecodeRecord(hqos::kDPInfo, value, length, out);
}

bool DecodeFPCfg(const uint8_t* value, size_t length, HQOS_FPCfg& out) {
  hqos::Tlv record;
  if (length > UINT16_MAX || !hqos::OpenRecord(value, static_cast<uint16_t>(length), record)) {
    return false;
  }
  HQOS_FPCfg cfg{};
  DecodeParts(hqos::kFPCfgParts, record.value, record.length, cfg);
  cfg.dpName[sizeof cfg.dpName - 1] = '\0';
  if (cfg.name[0] == '\0') return false;
  out = cfg;
  return true;
}

}  // namespace hqosd
