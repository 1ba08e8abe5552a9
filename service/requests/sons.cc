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
Bytes EncodeSon(const HQOS_SPSonPath& at, const std::vector<PathNode>& path) {
  HQOS_SPSon son{};
  const auto& [child, nesting] = path.back();
  son.words[0] = static_cast<uint32_t>(path.size());
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

// Lists the children of an SP; `addMore` appends to each container what only this list has.
template <class AddMore>
Bytes ListSons(const Model& model, const SonRequest& request, uint16_t type,
               const AddMore& addMore) {
  if (request.sp == nullptr) return {};
  Block block(request.count);
  HQOS_SPSonPath at = request.start;
  at.field[0] = request.sp->id;
  while (NextSon(model, request.sp->value, at) != nullptr) {
    const std::vector<PathNode> path = PathTo(model, request.sp->value, at);
    Bytes container = EncodeSon(at, path);
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
    if (!model.counters->Refresh()) Refuse(HQOSD_NO_COUNTERS, "the counters cannot be read");
    target = TargetText(*request.target);
  }
  return ListSons(model, request, HQOS_BULK_SP_SON_STAT, [&](Bytes& container, const auto& path) {
    HQOS_SPSonCounters counters{};
    if (request.target) counters = model.counters->Read(target, Names(path));
    AppendRecord(container, HQOS_TLV_SONSTAT, hqos::kSonStat, counters);
  });
}

Bytes GetBulkSPSonDiag(Model& model, const Payload& payload) {
  const SonRequest request = ReadRequest(model, payload, true);
  uint32_t whole = HQOSD_DIAG_NOT_APPLIED;
  if (request.target && IsApplied(model, *request.sp, *request.target)) {
    whole = Diagnose(model, *request.target);
  }
  return ListSons(model, request, HQOS_BULK_SP_SON_DIAG, [&](Bytes& container, const auto& path) {
    uint32_t why = whole;
    if (why == HQOSD_DIAG_IN_EFFECT && !HasValues(path)) why = HQOSD_DIAG_NO_VALUES;
    HQOS_SPSonDiag son{};
    son.diag[0] = why == HQOSD_DIAG_IN_EFFECT ? 1 : 0;
    son.diag[1] = why;
    AppendRecord(container, HQOS_TLV_SONDIAG, hqos::kSonDiag, son);
  });
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
