#include "cli/read.h"

#include <map>

#include "cli/failure.h"
#include "hqosd.h"

namespace hqosctl {

namespace {

template <class Info>
std::vector<Info> ReadOne(const std::string& name, const std::string& kind,
                          uint32_t (*get)(const char*, Info*)) {
  Info info;
  CheckQuery(get(name.c_str(), &info), kind + " " + name);
  return {info};
}

// The object named, or without a name all that a walk gives.
template <class Info>
std::vector<Info> ReadObjects(const std::string& name, const std::string& kind,
                              uint32_t (*get)(const char*, Info*),
                              uint32_t (*getNext)(uint16_t, Info*)) {
  if (!name.empty()) return ReadOne(name, kind, get);
  std::vector<Info> all;
  Info info;
  uint32_t status = getNext(HQOS_ID_NONE, &info);
  for (; status == 0; status = getNext(info.id, &info)) all.push_back(info);
  if (status != HQOSD_END) CheckQuery(status, kind + "s");
  return all;
}

// The object named, or without a name all that a listing in blocks of up to `max` records gives.
template <class Info>
std::vector<Info> ReadObjects(const std::string& name, const std::string& kind,
                              uint32_t (*get)(const char*, Info*),
                              uint32_t (*getBulk)(uint16_t, uint32_t, uint32_t*, Info*),
                              uint32_t max) {
  if (!name.empty()) return ReadOne(name, kind, get);
  std::vector<Info> all;
  std::vector<Info> block(max);
  uint16_t start = HQOS_ID_NONE;
  for (uint32_t count = 1; count != 0;) {
    CheckQuery(getBulk(start, 0, &count, block.data()), kind + "s");
    all.insert(all.end(), block.begin(), block.begin() + count);
    if (count == 0) break;
    const uint16_t last = all.back().id;
    if (start != HQOS_ID_NONE && last <= start)
      CheckQuery(HQOS_ERR_BADREPLY, kind + "s");  // would never end
    start = last;
  }
  return all;
}

const HQOS_SPSonPath& PathOf(const HQOS_SPSon& son) { return son.path; }
template <class Record>
const HQOS_SPSonPath& PathOf(const Record& record) {
  return record.son.path;
}

// The children of the SP, by `query`; none when it is gone by now.
template <class Record, class Query>
std::vector<Record> ReadSons(const HQOS_SPInfo& sp, const Query& query) {
  std::vector<Record> sons;
  std::vector<Record> block(HQOS_BULK_SPSON_MAX);
  HQOS_SPSonPath start{
      {sp.id, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET}};
  for (uint32_t count = 1; count != 0;) {
    const uint32_t status = query(&start, &count, block.data());
    if (status == HQOSD_NOT_FOUND) return {};
    CheckQuery(status, std::string("children of SP ") + sp.name);
    sons.insert(sons.end(), block.begin(), block.begin() + count);
    if (count == 0) break;
    const HQOS_SPSonPath& last = PathOf(sons.back());
    if (HQOS_util_SPSonPathCompare(&start, &last) != 2) {
      CheckQuery(HQOS_ERR_BADREPLY, "children");  // would never end
    }
    start = last;
  }
  return sons;
}

// Collects what is below an FG. Each FG is read once, wherever it is nested.
struct FGTree {
  std::map<uint16_t, std::vector<HQOS_FGSon>> read;  // by identifier
  std::vector<HQOS_SPSon> sons;

  // The children of the FG at the end of the path have this level.
  void Add(const HQOS_FGInfo& fg, HQOS_SPSonPath path, uint16_t level) {
    constexpr uint32_t kLevels = 5;
    if (!read.contains(fg.id)) read[fg.id] = ReadFGSons(fg);
    for (const HQOS_FGSon& one : read[fg.id]) {
      HQOS_SPSon& son = sons.emplace_back();
      path.field[level] = one.key.field[1];
      son.words[0] = level;
      son.path = path;
      son.cfg.value1 = one.key.field[1];
      son.cfg.value2 = static_cast<uint16_t>(one.word);
      std::copy(std::begin(one.name1), std::end(one.name1), son.cfg.name1);
      std::copy(std::begin(one.name2), std::end(one.name2), son.cfg.name2);
      son.cfg.rule = one.rule;
      HQOS_FGInfo next{};
      next.id = one.key.field[1];
      std::copy(std::begin(one.name1), std::end(one.name1), next.name);
      if (one.word != kFC && level < kLevels) Add(next, path, static_cast<uint16_t>(level + 1));
    }
  }
};

}  // namespace

std::vector<HQOS_SPSon> ReadSPSons(const HQOS_SPInfo& sp) {
  return ReadSons<HQOS_SPSon>(sp, [](const HQOS_SPSonPath* start, uint32_t* n, HQOS_SPSon* block) {
    return HQOS_lib_GetBulkSPSon(start, 0, n, block);
  });
}

std::vector<HQOS_SPSonStat> ReadSPSonStats(const HQOS_AppObj& obj, const HQOS_SPInfo& sp) {
  return ReadSons<HQOS_SPSonStat>(sp, [&](const auto* start, uint32_t* n, auto* block) {
    return HQOS_lib_GetBulkSPSonStat(&obj, start, 0, n, block);
  });
}

std::vector<HQOS_SPSonDiag> ReadSPSonDiags(const HQOS_AppObj& obj, const HQOS_SPInfo& sp) {
  return ReadSons<HQOS_SPSonDiag>(sp, [&](const auto* start, uint32_t* n, auto* block) {
    return HQOS_lib_GetBulkSPSonDiag(&obj, start, 0, n, block);
  });
}

std::vector<HQOS_FGSon> ReadFGSons(const HQOS_FGInfo& fg) {
  std::vector<HQOS_FGSon> sons;
  HQOS_FGSon block[HQOS_BULK_FGSON_MAX];
  HQOS_FGSonKey start{{fg.id, HQOS_ID_NONE, HQOS_ID_NONE}};
  for (uint32_t count = 1; count != 0;) {
    const uint32_t status = HQOS_lib_GetBulkFGSon(&start, 0, &count, block);
    if (status == HQOSD_NOT_FOUND) return {};
    CheckQuery(status, std::string("children of FG ") + fg.name);
    sons.insert(sons.end(), block, block + count);
    if (count != 0) start = sons.back().key;
  }
  return sons;
}

std::vector<HQOS_SPSon> ReadFGTree(const HQOS_FGInfo& fg) {
  FGTree tree;
  tree.Add(fg,
           HQOS_SPSonPath{{HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET, HQOS_PATH_UNSET,
                           HQOS_PATH_UNSET, HQOS_PATH_UNSET}},
           1);
  return std::move(tree.sons);
}

std::vector<HQOS_SPInfo> ReadSPs(const std::string& name) {
  return ReadObjects(name, "SP", HQOS_lib_GetSP, HQOS_lib_GetNextSP);
}

std::vector<HQOS_FGInfo> ReadFGs(const std::string& name) {
  return ReadObjects(name, "FG", HQOS_lib_GetFG, HQOS_lib_GetNextFG);
}

std::vector<HQOS_FPInfo> ReadFPs(const std::string& name) {
  return ReadObjects(name, "FP", HQOS_lib_GetFP, HQOS_lib_GetBulkFP, HQOS_BULK_FP_MAX);
}

std::vector<HQOS_DPInfo> ReadDPs(const std::string& name) {
  return ReadObjects(name, "DP", HQOS_lib_GetDP, HQOS_lib_GetBulkDP, HQOS_BULK_DP_MAX);
}

// The query for all FCs has a single reply. When it is full, the FCs are collected from below the
// FGs, where they all are.
std::vector<HQOS_FCInfo> ReadFCs(const std::string& name) {
  if (!name.empty()) return ReadOne(name, "FC", HQOS_lib_GetFC);
  std::vector<HQOS_FCInfo> all(HQOS_BULK_FC_MAX);
  uint32_t count = 0;
  CheckQuery(HQOS_lib_GetAllFC(&count, all.data()), "FCs");
  all.resize(count);
  if (count < HQOS_BULK_FC_MAX) return all;
  std::map<uint16_t, HQOS_FCInfo> byId;
  for (const HQOS_FGInfo& fg : ReadFGs("")) {
    for (const HQOS_FGSon& son : ReadFGSons(fg)) {
      HQOS_FCInfo fc{{}, son.key.field[1]};
      std::copy(std::begin(son.name1), std::end(son.name1), fc.name);
      if (son.word == kFC) byId.emplace(fc.id, fc);
    }
  }
  all.clear();
  for (const auto& [id, fc] : byId) all.push_back(fc);
  return all;
}

}  // namespace hqosctl
