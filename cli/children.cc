#include "cli/children.h"

#include "cli/failure.h"
#include "cli/rule_text.h"
#include "platform/hqosd.h"

namespace hqosctl {

namespace {

// The object named, or without a name all that a walk gives.
template <class Info>
std::vector<Info> ReadObjects(const std::string& name, const std::string& kind,
                              uint32_t (*get)(const char*, Info*),
                              uint32_t (*getNext)(uint16_t, Info*)) {
  Info info;
  if (!name.empty()) {
    CheckQuery(get(name.c_str(), &info), kind + " " + name);
    return {info};
  }
  std::vector<Info> all;
  uint32_t status = getNext(HQOS_ID_NONE, &info);
  for (; status == 0; status = getNext(info.id, &info)) all.push_back(info);
  if (status != HQOSD_END) CheckQuery(status, kind + "s");
  return all;
}

}  // namespace

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
  return ReadObjects(name, "SP", HQOS_lib_GetSP, HQOS_lib_GetNextSP);
}

std::vector<HQOS_FGInfo> ReadFGs(const std::string& name) {
  return ReadObjects(name, "FG", HQOS_lib_GetFG, HQOS_lib_GetNextFG);
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
