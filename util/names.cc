// Keywords of the enumerations, and the parts of command view names.
#include <stdio.h>

#include "hqos.h"
#include "util/match_rule.h"

// ---- Keywords -----------------------------------------------------------------------------------

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

// ---- Command views ------------------------------------------------------------------------------

// The widths of the scan formats.
static_assert(HQOS_VIEW_OBJ_SIZE == 7 + 1);
static_assert(HQOS_NAME_SIZE == 31 + 1);
static_assert(HQOS_SUBVIEW_NAME_SIZE == 264 - 1 - HQOS_MATCHRULE_STR_LEN + 1);

uint32_t HQOS_util_GetNameByCmdView(const char* view, char* name) {
  if (view == nullptr || name == nullptr) return HQOS_ERR_FAILED;
  return sscanf(view, "%*[^-]-%*[^-]-%31[^\r\n]", name) == 1 ? 0 : uint32_t{HQOS_ERR_FAILED};
}

uint32_t HQOS_util_GetObjByCmdView(const char* view, char* obj, char* name) {
  if (view == nullptr || obj == nullptr || name == nullptr) return HQOS_ERR_FAILED;
  return sscanf(view, "%*[^-]-%7[^-]-%31[^\r\n]", obj, name) == 2 ? 0 : uint32_t{HQOS_ERR_FAILED};
}

uint32_t HQOS_util_GetInfoBySubCmdView(const char* view, char* obj, char* name,
                                       HQOS_MatchRule* rule) {
  if (view == nullptr || obj == nullptr || name == nullptr || rule == nullptr) {
    return HQOS_ERR_FAILED;
  }
  char tail[264 + 1];  // <name>-<rule>
  if (sscanf(view, "%*[^-]-%7[^-]-%264[^\r\n]", obj, tail) != 2) return HQOS_ERR_FAILED;
  const size_t length = hqos::Length(tail);
  const size_t ruleLength = HQOS_util_CalcMatchRuleStrLen();
  if (length <= ruleLength) return HQOS_ERR_FAILED;
  const size_t ruleAt = length - ruleLength;
  strlcpy(name, tail, ruleAt);  // all but the separator
  HQOS_util_StrToMatchRule(tail + ruleAt, rule);
  return 0;
}
