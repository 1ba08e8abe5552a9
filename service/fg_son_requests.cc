// The query that lists the children of FGs.
#include "msg/records.h"
#include "service/block.h"
#include "service/hierarchy.h"

namespace hqosd {

// A key is the FG's identifier, the child's, and HQOS_ID_NONE. HQOS_ID_NONE for the
// parent is the first FG there is.
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
  Block block(request.count);
  const Children& children = fg->value.children;
  const uint16_t after = request.start.field[1];
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
    uint8_t value[hqos::kFGSon.size];
    Encode(hqos::kFGSon, son, value);
    if (!block.Add(HQOS_BULK_FG_SON, value, sizeof value)) break;
  }
  return block.Take();
}

}  // namespace hqosd
