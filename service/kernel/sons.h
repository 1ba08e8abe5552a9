// The children of an SP at every depth, with what a plan needs of each.
#pragma once

#include <vector>

#include "service/kernel/plan.h"

namespace hqosd::kernel {

struct Son {
  SonPath path;
  size_t level;   // 0: the SP itself
  size_t parent;  // position among the sons; of the SP 0
  Kind kind;
  const std::string* name;
  const HQOS_MatchRule* rule = nullptr;         // null: the SP
  const ObjectTable<FP>::Object* fp = nullptr;  // null: none
  bool hasChildren = false;
  size_t rest = 0;  // the first of its children that takes what the others leave; 0: none

  // A setting of its FP; null: none.
  const uint32_t* Gts() const { return Has(HQOS_FPI_GTS) ? fp->value.settings.gts : nullptr; }
  const uint32_t* Queue() const { return Has(HQOS_FPI_QUEUE) ? fp->value.settings.queue : nullptr; }
  bool IsWeighted() const { return Queue() != nullptr && Queue()[1] == 1; }
  bool Has(uint32_t flag) const { return fp != nullptr && (fp->value.settings.flags & flag) != 0; }

  Branch::Takes Takes() const {
    if (kind == Kind::FC) return Queue() != nullptr ? Branch::Takes::Priority : Branch::Takes::Rest;
    return rule->type == HQOS_MATCH_GROUP ? Branch::Takes::Rest : Branch::Takes::Values;
  }
  // Whether it needs a leaf for frames that none of its children takes.
  bool NeedsOwnLeaf() const { return hasChildren && rest == 0; }
};

// The SP, then its children depth first, siblings by identifier.
std::vector<Son> SonsOf(const Model& model, const SPObject& sp);

}  // namespace hqosd::kernel
