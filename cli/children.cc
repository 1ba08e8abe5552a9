#include "cli/children.h"

#include "cli/failure.h"
#include "cli/rule_text.h"
#include "platform/hqosd.h"

namespace hqosctl {

std::vector<HQOS_SPSon> ReadSPSons(const HQOS_SPInfo& sp) {
  std::vector<HQOS_SPSon> sons;
  std::vector<HQOS_SPSon> block(HQOS_BULK_SPSON_MAX);
  HQOS_SPSonPath start{
      {sp.id, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET}};
  for (uint32_t count = 1; count != 0;) {
    const uint32_t status = HQOS_lib_GetBulkSPSon(&start, 0, &count, block.data());
    if (status == HQOSD_NOT_FOUND) return {};
    CheckQuery(status, std::string("children of SP ") + sp.name);
    sons.insert(sons.end(), block.begin(), block.begin() + count);
    if (count != 0) start = sons.back().path;
  }
  return sons;
}

std::vector<HQOS_FGSon> ReadFGSons(const std::string& name) {
  HQOS_FGInfo fg;
  CheckQuery(HQOS_lib_GetFG(name.c_str(), &fg), "FG " + name);
  std::vector<HQOS_FGSon> sons;
  HQOS_FGSon block[HQOS_BULK_FGSON_MAX];
  HQOS_FGSonKey start{{fg.id, HQOS_ID_NONE, HQOS_ID_NONE}};
  for (uint32_t count = 1; count != 0;) {
    CheckQuery(HQOS_lib_GetBulkFGSon(&start, 0, &count, block), "children of FG " + name);
    sons.insert(sons.end(), block, block + count);
    if (count != 0) start = sons.back().key;
  }
  return sons;
}

std::vector<HQOS_SPInfo> ReadSPs(const std::string& name) {
  std::vector<HQOS_SPInfo> sps;
  HQOS_SPInfo sp;
  if (!name.empty()) {
    CheckQuery(HQOS_lib_GetSP(name.c_str(), &sp), "SP " + name);
    return {sp};
  }
  uint32_t status = HQOS_lib_GetNextSP(HQOS_ID_NONE, &sp);
  for (; status == 0; status = HQOS_lib_GetNextSP(sp.id, &sp)) sps.push_back(sp);
  if (status != HQOSD_END) CheckQuery(status, "SPs");
  return sps;
}

Output::Record RuleRecord(const HQOS_MatchRule& rule) {
  Output::Record ranges = Output::Record::array();
  for (const HQOS_ValueRange& range : rule.ranges) {
    ranges.push_back({{"low", range.low}, {"high", range.high}});
  }
  return {{"type", rule.type}, {"ranges", ranges}};
}

Output::Record PathRecord(const HQOS_SPSonPath& path) { return {{"field", path.field}}; }

}  // namespace hqosctl
