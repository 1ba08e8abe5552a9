// Queries that list the children of SPs.
#include "msg/records.h"
#include "service/applications.h"
#include "service/block.h"
#include "service/hierarchy.h"
#include "service/rule_bits.h"

namespace hqosd {

namespace {

// The container of a child: words[0] is its level, value1 its identifier, value2 its kind, name1
// its name and name2 its FP.
Bytes Describe(const HQOS_SPSonPath& path, const std::vector<Step>& way) {
  HQOS_SPSon son{};
  const auto& [child, nesting] = way.back();
  son.words[0] = static_cast<uint32_t>(way.size());
  son.path = path;
  son.cfg.value1 = path.field[way.size()];
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

// What a listing asks for.
struct SonRequest {
  bool hasPath = false, hasObj = false, isWhole = true;
  HQOS_AppObj obj{};
  HQOS_SPSonPath start{};
  uint32_t count = 0;
};

SonRequest ReadRequest(const Payload& payload) {
  SonRequest request;
  hqos::TlvWalk walk(payload.value, payload.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    request.isWhole &= tlv.type != HQOS_TLV_APPOBJ || tlv.length >= hqos::kAppObj.size;
    request.hasPath |= tlv.type == HQOS_TLV_SONPATH && tlv.length >= hqos::kSonPath.size;
    request.hasObj |= tlv.type == HQOS_TLV_APPOBJ;
  }
  HQOS_msg_DecapBulkReq(payload.value, payload.length, &request.obj, &request.start,
                        &request.count);
  return request;
}

// The SP whose children are listed, HQOS_PATH_UNSET being the first; null when there is none.
const ObjectTable<SP>::Object* FindSP(const Model& model, uint16_t id) {
  if (id == HQOS_PATH_UNSET) return model.sps.Next(HQOS_ID_NONE);
  const auto sp = model.sps.All().find(id);
  return sp == model.sps.All().end() ? nullptr : &sp->second;
}

// Lists the children of an SP; `addMore` puts into each container what one listing has beside the
// others.
template <class AddMore>
Answer ListSons(const Model& model, const ObjectTable<SP>::Object& sp, const SonRequest& request,
                uint16_t type, const AddMore& addMore) {
  Block block(request.count);
  HQOS_SPSonPath path = request.start;
  path.field[0] = sp.id;
  while (NextSon(model, sp.value, path) != nullptr) {
    const std::vector<Step> way = WayTo(model, sp.value, path);
    Bytes container = Describe(path, way);
    addMore(container, way);
    if (!block.Add(type, container.data(), container.size())) break;
  }
  return block.Take();
}

// The same for a request that is well formed: `list` gets it with its SP.
template <class List>
Answer Listing(const Model& model, const Payload& payload, const List& list) {
  const SonRequest request = ReadRequest(payload);
  if (!request.hasPath || !request.isWhole) return TooShort();
  const uint16_t id = request.start.field[0];
  const auto* const sp = FindSP(model, id);
  if (sp != nullptr) return list(request, *sp);
  if (id == HQOS_PATH_UNSET) return {};
  return Refuse(HQOSD_NOT_FOUND, "no SP has the identifier " + std::to_string(id));
}

// Whether every rule on the way has a value that those above it leave.
bool HasValues(const std::vector<Step>& way) {
  for (const Step& step : way) {
    uint16_t min, max;
    const HQOS_MatchRule& rule = step.nesting->rule;
    if (HQOS_util_GetValueRangeByType(rule.type, &min, &max) != 0) continue;
    RuleBits bits(rule);
    for (const Step* above = &way.front(); above != &step; ++above) {
      const HQOS_MatchRule& upper = above->nesting->rule;
      if (upper.type == rule.type) Bitmap_And(bits.get(), RuleBits(upper).get(), bits.get());
    }
    if (Bitmap_IsEmpty(bits.get()) != 0) return false;
  }
  return true;
}

}  // namespace

Answer GetBulkSPSon(Model& model, const Payload& payload) {
  return Listing(model, payload, [&](const auto& request, const auto& sp) {
    return ListSons(model, sp, request, HQOS_BULK_SP_SON, [](Bytes&, const auto&) {});
  });
}

// Without an object all counters are zero.
Answer GetBulkSPSonStat(Model& model, const Payload& payload) {
  return Listing(model, payload, [&](const auto& request, const auto& sp) {
    Answer refusal;
    ApplyKey key{};
    if (request.hasObj && !FindKey(model, request.obj, key, refusal)) return refusal;
    if (request.hasObj && !IsApplied(model, sp, key)) return NotApplied(sp.name, key);
    if (request.hasObj && !model.counters->Refresh())
      return Refuse(HQOSD_NO_COUNTERS, "the counters cannot be read");
    const std::string place = request.hasObj ? Place(key) : "";
    return ListSons(model, sp, request, HQOS_BULK_SP_SON_STAT, [&](Bytes& container, auto& way) {
      HQOS_SPSonCounters counters{};
      if (request.hasObj) counters = model.counters->Read(place, Names(way));
      AppendRecord(container, HQOS_TLV_SONSTAT, hqos::kSonStat, counters);
    });
  });
}

Answer GetBulkSPSonDiag(Model& model, const Payload& payload) {
  return Listing(model, payload, [&](const auto& request, const auto& sp) {
    Answer refusal;
    ApplyKey key{};
    if (request.hasObj && !FindKey(model, request.obj, key, refusal)) return refusal;
    uint32_t whole = HQOSD_DIAG_NOT_APPLIED;
    if (request.hasObj && IsApplied(model, sp, key)) whole = Diagnose(model, key);
    return ListSons(model, sp, request, HQOS_BULK_SP_SON_DIAG, [&](Bytes& container, auto& way) {
      uint32_t why = whole;
      if (why == HQOSD_DIAG_IN_EFFECT && !HasValues(way)) why = HQOSD_DIAG_NO_VALUES;
      HQOS_SPSonDiag son{};
      son.diag[0] = why == HQOSD_DIAG_IN_EFFECT ? 1 : 0;
      son.diag[1] = why;
      AppendRecord(container, HQOS_TLV_SONDIAG, hqos::kSonDiag, son);
    });
  });
}

}  // namespace hqosd
