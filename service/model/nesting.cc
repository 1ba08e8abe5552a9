#include "service/model/nesting.h"

#include "dbmtype/records.h"
#include "service/model/objects.h"
#include "service/model/rule_bits.h"

namespace hqosd {

namespace {

template <class Table>
Parent GetParent(Table& table, const std::string& name) {
  auto& object = Get(table, name);
  return {Table::kKind, object.name, object.id, &object.value.children};
}

// Brings a rule into its shortest form: ascending ranges that neither overlap nor touch. Refused
// when it has no values, or others than its type has. `label` says whose rule it is.
void Normalise(HQOS_MatchRule& rule, const std::string& label) {
  if (rule.type == HQOS_MATCH_GROUP) {
    rule = hqos::EmptyRule(HQOS_MATCH_GROUP);
    return;
  }
  uint16_t min, max;
  if (HQOS_util_GetValueRangeByType(rule.type, &min, &max) != 0) {
    Refuse(HQOSD_RULE, "{}: there is no match type {}", label, rule.type);
  }
  const char* const type = HQOS_util_GetMatchTypeStr(rule.type);
  if (rule.ranges[0].low == HQOS_RANGE_UNUSED) Refuse(HQOSD_RULE, "{}: {}: no values", label, type);
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) break;
    if (range.low > range.high || range.low < min || range.high > max) {
      Refuse(HQOSD_RULE, "{}: {}: the values are {} to {}, not {} to {}", label, type, min, max,
             range.low, range.high);
    }
  }
  HQOS_util_Bitmap2MatchRule(RuleBits(rule).get(), rule.type, &rule);
}

// A rule may be beside those of its siblings if all are of one type and have no value in common;
// one of them may be a group instead.
void CheckSiblings(const Model& model, const Parent& parent, const HQOS_MatchRule& rule,
                   const std::string& label) {
  const bool isGroup = rule.type == HQOS_MATCH_GROUP;
  for (const auto& [id, sibling] : *parent.children) {
    const uint32_t type = sibling.rule.type;
    if (type == HQOS_MATCH_NONE || (type == HQOS_MATCH_GROUP) != isGroup) continue;
    if (HQOS_util_MatchRuleCompare(&rule, &sibling.rule) == HQOS_REL_DISJOINT) continue;
    const Child child = ChildOf(model, id);
    const std::string other = Label(child.kind, *child.name);
    if (isGroup) Refuse(HQOSD_RULE, "{}: {} is the group already", label, other);
    if (type != rule.type) {
      Refuse(HQOSD_RULE, "{}: {} has a rule of another match type", label, other);
    }
    Refuse(HQOSD_RULE, "{}: the rule overlaps that of {}", label, other);
  }
}

// What every nesting must meet: the child is not there yet, its FP exists.
void CheckNesting(Model& model, const Parent& parent, uint16_t childId, const std::string& fp,
                  const std::string& label) {
  if (parent.children->contains(childId)) Refuse(HQOSD_NESTED, "{} is nested already", label);
  if (!fp.empty()) Get(model.fps, fp);
}

void CheckLimit(const Model& model, const Parent& parent, uint16_t childId,
                const std::string& label) {
  if (FitsLimit(model, parent, childId)) return;
  Refuse(HQOSD_TOO_MANY, "{} would make more than {} children at all depths", label,
         kMaxDescendants);
}

// Whether the rule given with a removal is that of the nesting, or none is given.
bool IsRuleOf(const HQOS_MatchRule& given, const Nesting& nesting) try {
  if (given.type == 0 || given.type == HQOS_MATCH_NONE) return true;
  HQOS_MatchRule rule = given;
  Normalise(rule, "");
  return HQOS_util_MatchRuleCompare(&rule, &nesting.rule) == HQOS_REL_EQUAL;
} catch (const Refusal&) {
  return false;
}

template <class Table>
void UnnestChild(Model& model, const Parent& parent, Table& children, const std::string& name,
                 const HQOS_MatchRule& rule) {
  const auto& child = Get(children, name);
  const std::string label = NestingLabel(Table::kKind, child.name, parent.kind, parent.name);
  const auto nesting = parent.children->find(child.id);
  if (nesting == parent.children->end()) Refuse(HQOSD_NOT_FOUND, "{} is not nested", label);
  if (!IsRuleOf(rule, nesting->second)) Refuse(HQOSD_RULE, "{} has another rule", label);
  Unnest(model, parent, child.id);
}

// FCs get the highest identifier that neither an FC nor an FG has; HQOS_ID_NONE when there is none.
uint16_t FreeFCId(Model& model) {
  const auto isTaken = [&](uint16_t id) { return !OwnerOf(model, model.fcs, id).empty(); };
  while (model.fcIdHint > 0 && isTaken(model.fcIdHint)) --model.fcIdHint;
  return isTaken(model.fcIdHint) ? uint16_t{HQOS_ID_NONE} : model.fcIdHint;
}

}  // namespace

Parent GetSPParent(Model& model, const std::string& name) { return GetParent(model.sps, name); }
Parent GetFGParent(Model& model, const std::string& name) { return GetParent(model.fgs, name); }

void NestFG(Model& model, const Parent& parent, const std::string& child, HQOS_MatchRule rule,
            const std::string& fp) {
  const auto& fg = Get(model.fgs, child);
  const std::string label = NestingLabel(Kind::FG, fg.name, parent.kind, parent.name);
  CheckNesting(model, parent, fg.id, fp, label);
  Normalise(rule, label);
  CheckSiblings(model, parent, rule, label);
  if (!FitsBelow(model, parent.isSP() ? uint16_t{HQOS_ID_NONE} : parent.id, fg.id)) {
    Refuse(HQOSD_TOO_DEEP, "{} would make a cycle or more than five levels", label);
  }
  CheckLimit(model, parent, fg.id, label);
  Nest(model, parent, fg.id, {rule, fp});
}

void NestFC(Model& model, const Parent& parent, const std::string& child, const std::string& fp) {
  const auto* const existing = model.fcs.Find(child);
  if (existing == nullptr) CheckName(Kind::FC, child);
  const uint16_t id = existing != nullptr ? existing->id : FreeFCId(model);
  if (id == HQOS_ID_NONE) {
    Refuse(HQOSD_ID_TAKEN, "{}: no identifier is free", Label(Kind::FC, child));
  }
  const std::string label = NestingLabel(Kind::FC, child, parent.kind, parent.name);
  CheckNesting(model, parent, id, fp, label);
  if (!FitsBelow(model, parent.id, id)) {
    Refuse(HQOSD_TOO_DEEP, "{} would make more than five levels", label);
  }
  CheckLimit(model, parent, id, label);
  if (existing == nullptr) model.fcs.Add(child, id);
  Nest(model, parent, id, {hqos::EmptyRule(HQOS_MATCH_NONE), fp});
}

void UnnestFG(Model& model, const Parent& parent, const std::string& child,
              const HQOS_MatchRule& rule) {
  UnnestChild(model, parent, model.fgs, child, rule);
}

void UnnestFC(Model& model, const Parent& parent, const std::string& child,
              const HQOS_MatchRule& rule) {
  UnnestChild(model, parent, model.fcs, child, rule);
}

void UnnestByRule(Model& model, const Parent& parent, HQOS_MatchRule rule) {
  const std::string label = Label(parent.kind, parent.name);
  Normalise(rule, label);
  for (const auto& [id, nesting] : *parent.children) {
    if (HQOS_util_MatchRuleCompare(&rule, &nesting.rule) != HQOS_REL_EQUAL) continue;
    Unnest(model, parent, id);
    return;
  }
  Refuse(HQOSD_NOT_FOUND, "{} has no child with that rule", label);
}

}  // namespace hqosd
