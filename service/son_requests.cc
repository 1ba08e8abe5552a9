// Queries that list children.
#include "lib/bulk_request.h"
#include "lib/fg_son.h"
#include "lib/sp_son.h"
#include "lib/words.h"
#include "msg/tlv.h"
#include "service/block.h"
#include "service/hierarchy.h"

namespace hqosd {

namespace {

constexpr uint32_t kFG = 1, kFC = 2;  // the kind of a child, in its record

// The container of a child: words[0] is its level, value1 its identifier, value2 its kind, name1
// its name and name2 its FP.
Bytes Describe(const Model& model, const HQOS_SPSonPath& path, const Nesting& nesting) {
  HQOS_SPSon son{};
  uint32_t level = kLevels;
  while (path.field[level] == HQOS_PATH_UNSET) --level;
  const Child child = ChildOf(model, path.field[level]);
  son.words[0] = level;
  son.path = path;
  son.cfg.value1 = path.field[level];
  son.cfg.value2 = child.isFC() ? kFC : kFG;
  CopyName(*child.name, son.cfg.name1);
  CopyName(nesting.fp, son.cfg.name2);
  son.cfg.rule = nesting.rule;
  Bytes container;
  AppendRecord(container, HQOS_TLV_SONPATH, hqos::kSonPath, son.path);
  AppendRecord(container, HQOS_TLV_SONCFG, hqos::kSonCfg, son.cfg);
  AppendRecord(container, HQOS_TLV_WORDS, hqos::kWords<HQOS_SPSon>, son);
  return container;
}

bool HasPath(const Payload& payload) {
  hqos::TlvWalk walk(payload.value, payload.length);
  for (hqos::Tlv tlv; walk.Next(tlv);) {
    if (tlv.type == HQOS_TLV_SONPATH && tlv.length >= hqos::kSonPath.size) return true;
  }
  return false;
}

// Lists the children of an SP; `addMore` puts into each container what one listing has beside the
// others.
template <class AddMore>
Answer ListSPSons(const Model& model, const Payload& payload, uint16_t type,
                  const AddMore& addMore) {
  if (!HasPath(payload)) return TooShort();
  HQOS_AppObj obj{};
  HQOS_SPSonPath path{};
  uint32_t count = 0;
  HQOS_msg_DecapBulkReq(payload.value, payload.length, &obj, &path, &count);
  Answer answer;
  if (path.field[0] == HQOS_PATH_UNSET) {
    const auto* const first = model.sps.Next(HQOS_ID_NONE);
    if (first == nullptr) return answer;
    path.field[0] = first->id;
  }
  const auto sp = model.sps.All().find(path.field[0]);
  if (sp == model.sps.All().end()) {
    return Refuse(HQOSD_NOT_FOUND, "no SP has the identifier " + std::to_string(path.field[0]));
  }
  Block block(answer, count);
  while (const Nesting* const nesting = NextSon(model, sp->second.value, path)) {
    Bytes container = Describe(model, path, *nesting);
    addMore(container);
    if (!block.Add(type, container.data(), container.size())) break;
  }
  return answer;
}

}  // namespace

Answer GetBulkSPSon(Model& model, const Payload& payload) {
  return ListSPSons(model, payload, HQOS_BULK_SP_SON, [](Bytes&) {});
}

// Nothing is applied yet, so nothing is counted and there is nothing to diagnose: all is zero.
Answer GetBulkSPSonStat(Model& model, const Payload& payload) {
  return ListSPSons(model, payload, HQOS_BULK_SP_SON_STAT, [](Bytes& container) {
    AppendRecord(container, HQOS_TLV_SONSTAT, hqos::kSonStat, HQOS_SPSonCounters{});
  });
}

Answer GetBulkSPSonDiag(Model& model, const Payload& payload) {
  return ListSPSons(model, payload, HQOS_BULK_SP_SON_DIAG, [](Bytes& container) {
    AppendRecord(container, HQOS_TLV_SONDIAG, hqos::kSonDiag, HQOS_SPSonDiag{});
  });
}

// A key is the FG's identifier, the child's, and HQOS_ID_NONE. Both queries take HQOS_ID_NONE for
// the parent as the first there is.
Answer GetBulkFGSon(Model& model, const Payload& payload) {
  HQOS_FGSonRequest request{};
  if (!Read(payload, hqos::kFGSonRequest, request)) return TooShort();
  const uint16_t parentId = request.start.field[0];
  const auto* const fg =
      parentId == HQOS_ID_NONE ? model.fgs.Next(HQOS_ID_NONE) : model.fgs.Find(parentId);
  if (fg == nullptr && parentId == HQOS_ID_NONE) return {};
  if (fg == nullptr) {
    return Refuse(HQOSD_NOT_FOUND, "no FG has the identifier " + std::to_string(parentId));
  }
  Answer answer;
  Block block(answer, request.count);
  const Children& children = fg->value.children;
  const uint16_t after = request.start.field[1];
  auto next = after == HQOS_ID_NONE ? children.begin() : children.upper_bound(after);
  for (; next != children.end(); ++next) {
    const auto& [id, nesting] = *next;
    const Child child = ChildOf(model, id);
    HQOS_FGSon son{};
    son.key = {{fg->id, id, HQOS_ID_NONE}};
    son.word = child.isFC() ? kFC : kFG;
    CopyName(*child.name, son.name1);
    CopyName(nesting.fp, son.name2);
    son.rule = nesting.rule;
    uint8_t value[hqos::kFGSon.size];
    Encode(hqos::kFGSon, son, value);
    if (!block.Add(HQOS_BULK_FG_SON, value, sizeof value)) break;
  }
  return answer;
}

}  // namespace hqosd
