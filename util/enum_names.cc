// Keywords of the enumerations.
#include "hqos.h"

namespace {

constexpr const char* kDirs[] = {"inbound", "outbound", "both"};
constexpr const char* kMatchTypes[] = {
    nullptr, nullptr, "dot1p", "local-precedence", "qos-local-id", "service-vlan-id", "group"};
constexpr const char* kSPUnits[] = {"byte-count", "weight"};

template <uint32_t N>
const char* NameOf(const char* const (&names)[N], uint32_t value) {
  return value < N ? names[value] : nullptr;
}

}  // namespace

const char* HQOS_util_GetDirStr(uint32_t dir) { return NameOf(kDirs, dir); }

const char* HQOS_util_GetMatchTypeStr(uint32_t type) { return NameOf(kMatchTypes, type); }

const char* HQOS_util_GetSPUnitStr(uint32_t unit) { return NameOf(kSPUnits, unit); }
