// Queries that list the children of FGs and SPs.
#include "service/model/applications.h"
#include "service/model/hierarchy.h"
#include "service/model/rule_bits.h"
#include "service/requests/request.h"

namespace hqosd {

namespace {

// A key is the FG's identifier, the child's, and HQOS_ID_NONE. HQOS_ID_NONE for the FG selects the
// first one.
Bytes GetBulkFGSon(Model& model, const HQOS_FGSonRequest& request) {
  const uint16_t parentId = request.start.field[0], after = request.start.field[1];
  const auto* const fg =
      parentId == HQOS_ID_NONE ? model.fgs.Next(HQOS_ID_NONE) : model.fgs.Find(parentId);
  if (fg == nullptr && parentId == HQOS_ID_NONE) return {};
  if (fg == nullptr) Refuse(HQOSD_NOT_FOUND, "no FG has the identifier {}", parentId);
  Block block(request.count);
  const Children& children = fg->value.children;
  auto next = after == HQOS_ID_NONE ? children.begin() : children.upper_bound(after);
  for (; next != children.end(); ++next) {
    const auto& [id, nesting] = *next;
    const Child child = ChildOf(model, id);
    HQOS_FGSon son{};
    son.key = {{fg->id, id, HQOS_ID_NONE}};
    son.word = child.kindNumber();
    CopyName(*child.name, son.name1);
    CopyName(nesting.fp, son.name2);
    son.rule = nesting.rule;
    if (!block.Add(HQOS_BULK_FG_SON, Encoded(hqos::kFGSon, son))) break;
  }
  return block.Take();
}

// The container of a child: words[0] is its level, value1 its identifier, value2 its kind, name1
// its name and name2 its FP.
Bytes EncodeSon(const HQOS_SPSonPath& at, const std::vector<PathNode>& path, uint32_t secondWord) {
  HQOS_SPSon son{};
  const auto& [child, nesting] = path.back();
  son.words[0] = static_cast<uint32_t>(path.size());
  son.words[1] = secondWord;
  son.path = at;
  son.cfg.value1 = at.field[path.size()];
  son.cfg.value2 = child.kindNumber();
  CopyName(*child.name, son.cfg.name1);
  CopyName(nesting->fp, son.cfg.name2);
  son.cfg.rule = nesting->rule;
  Bytes container;
  AppendRecord(container, HQOS_TLV_SONPATH, hqos::kSonPath, son.path);
  AppendRecord(container, HQOS_TLV_SONCFG, hqos::kSonCfg, son.cfg);
  AppendRecord(container, HQOS_TLV_WORDS, hqos::kWords<HQOS_SPSon>, son);
  return container;
}

// What a list asks for.
struct SonRequest {
  HQOS_SPSonPath start{};
  uint32_t count = 0;
  const SPObject* sp = nullptr;  // null: there is no SP at all
  std::optional<ApplyKey> target;
};

SonRequest ReadRequest(const Model& model, const Payload& payload, bool needsTarget) {
  SonRequest request;
  HQOS_AppObj obj{};
  bool hasPath = false, hasObj = false, isWhole = true;
  hqos::TlvWalk walk(payload.value, payload.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    isWhole &= tlv.type != HQOS_TLV_APPOBJ || tlv.length >= hqos::kAppObj.size;
    hasPath |= tlv.type == HQOS_TLV_SONPATH && tlv.length >= hqos::kSonPath.size;
    hasObj |= tlv.type == HQOS_TLV_APPOBJ;
  }
  HQOS_msg_DecapBulkReq(payload.value, payload.length, &obj, &request.start, &request.count);
  if (!hasPath || !isWhole) RefuseShort();
  const uint16_t id = request.start.field[0];
  const auto sp = id == HQOS_PATH_UNSET ? model.sps.All().begin() : model.sps.All().find(id);
  if (sp != model.sps.All().end()) {
    request.sp = &sp->second;
    if (needsTarget && hasObj) request.target = GetKey(model, obj);
  } else if (id != HQOS_PATH_UNSET) {
    Refuse(HQOSD_NOT_FOUND, "no SP has the identifier {}", id);
  }
  return request;
}

constexpr auto kNoWord = [](const HQOS_SPSonPath&) { return uint32_t{0}; };

// Lists the children of an SP; `addMore` appends to each container what only this list has,
// `secondWord` gives its words[1].
template <class AddMore, class SecondWord = decltype(kNoWord)>
Bytes ListSons(const Model& model, const SonRequest& request, uint16_t type, const AddMore& addMore,
               const SecondWord& secondWord = kNoWord) {
  if (request.sp == nullptr) return {};
  Block block(request.count);
  HQOS_SPSonPath at = request.start;
  at.field[0] = request.sp->id;
  while (NextSon(model, request.sp->value, at) != nullptr) {
    const std::vector<PathNode> path = PathTo(model, request.sp->value, at);
    Bytes container = EncodeSon(at, path, secondWord(at));
    addMore(container, path);
    if (!block.Add(type, container)) break;
  }
  return block.Take();
}

// Whether every rule on the path has a value that those above it leave.
bool HasValues(const std::vector<PathNode>& path) {
  for (const PathNode& node : path) {
    uint16_t min, max;
    const HQOS_MatchRule& rule = node.nesting->rule;
    if (HQOS_util_GetValueRangeByType(rule.type, &min, &max) != 0) continue;
    RuleBits bits(rule);
    for (const PathNode* above = &path.front(); above != &node; ++above) {
      const HQOS_MatchRule& upper = above->nesting->rule;
      if (upper.type == rule.type) Bitmap_And(bits.get(), RuleBits(upper).get(), bits.get());
    }
    if (Bitmap_IsEmpty(bits.get()) != 0) return false;
  }
  return true;
}

Bytes GetBulkSPSon(Model& model, const Payload& payload) {
  return ListSons(model, ReadRequest(model, payload, false), HQOS_BULK_SP_SON,
                  [](Bytes&, const auto&) {});
}

// Without an object all counters are zero.
Bytes GetBulkSPSonStat(Model& model, const Payload& payload) {
  const SonRequest request = ReadRequest(model, payload, true);
  std::string target;
  if (request.target) {
    if (!IsApplied(model, *request.sp, *request.target)) {
      RefuseNotApplied(*request.sp, *request.target);
    }
    if (!model.counters->Refresh(model)) Refuse(HQOSD_NO_COUNTERS, "the counters cannot be read");
    target = TargetText(*request.target);
  }
  return ListSons(model, request, HQOS_BULK_SP_SON_STAT, [&](Bytes& container, const auto& path) {
    HQOS_SPSonCounters counters{};
    if (request.target) counters = model.counters->Read(target, Names(path));
    AppendRecord(container, HQOS_TLV_SONSTAT, hqos::kSonStat, counters);
  });
}

// Whether the child uses an FP that refers to a DP, which the kernel does not know.
bool HasDP(const Model& model, const std::vector<PathNode>& path) {
  const auto* const fp = model.fps.Find(path.back().nesting->fp);
  return fp != nullptr && (fp->value.settings.flags & HQOS_FPI_DPREF) != 0;
}

// The class of the child in the upper half, in the lower that where its frames wait; 0: it has
// none.
uint32_t ClassesOf(const Application* application, const HQOS_SPSonPath& at) {
  if (application == nullptr) return 0;
  SonPath path;
  std::copy(std::begin(at.field) + 1, std::end(at.field), path.begin());
  const auto found = application->classes.find(path);
  if (found == application->classes.end()) return 0;
  return uint32_t{found->second.minor} << 16 | found->second.leaf;
}

Bytes GetBulkSPSonDiag(Model& model, const Payload& payload) {
  const SonRequest request = ReadRequest(model, payload, true);
  uint32_t whole = HQOSD_DIAG_NOT_APPLIED;
  const Application* enforced = nullptr;
  if (request.target && IsApplied(model, *request.sp, *request.target)) {
    whole = Diagnose(model, *request.target);
    const Application& application = model.applications.at(*request.target);
    if (application.diag == HQOSD_DIAG_IN_EFFECT) enforced = &application;
  }
  const auto addDiag = [&](Bytes& container, const auto& path) {
    HQOS_SPSonDiag son{};
    son.diag[1] = whole;
    const bool isThere = whole == HQOSD_DIAG_IN_EFFECT || whole >= HQOSD_DIAG_NO_ENFORCE;
    if (isThere && !HasValues(path)) son.diag[1] = HQOSD_DIAG_NO_VALUES;
    son.diag[0] = son.diag[1] == HQOSD_DIAG_IN_EFFECT ? 1 : 0;
    if (son.diag[0] == 1 && HasDP(model, path)) son.diag[1] = HQOSD_DIAG_DP_UNUSED;
    AppendRecord(container, HQOS_TLV_SONDIAG, hqos::kSonDiag, son);
  };
  return ListSons(model, request, HQOS_BULK_SP_SON_DIAG, addDiag,
                  [&](const HQOS_SPSonPath& at) { return ClassesOf(enforced, at); });
}

constexpr Request kRows[] = {
    {HQOS_OP_BULK, HQOS_BULK_FG_SON, "GetBulkFGSon", With<GetBulkFGSon, hqos::kFGSonRequest>},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON, "GetBulkSPSon", GetBulkSPSon},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON_STAT, "GetBulkSPSonStat", GetBulkSPSonStat},
    {HQOS_OP_BULK, HQOS_BULK_SP_SON_DIAG, "GetBulkSPSonDiag", GetBulkSPSonDiag},
};

}  // namespace

const std::span<const Request> kSonRequests = kRows;

}  // namespace hqosd
