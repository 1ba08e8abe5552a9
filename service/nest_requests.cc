// Commands that nest FGs and FCs, and remove match rules.
#include "msg/records.h"
#include "service/hierarchy.h"
#include "service/objects.h"
#include "service/rule_bits.h"

namespace hqosd {

namespace {

// The parent of that kind and name; when there is none, `refusal` says so.
template <class Table>
Parent FindParent(Table& table, const char* kind, const std::string& name, Answer& refusal) {
  auto* const object = FindObject(table, kind, name, refusal);
  if (object == nullptr) return {kind, name, 0, nullptr};
  return {kind, object->name, object->id, &object->value.children};
}

std::string Place(const char* kind, const std::string& child, const Parent& parent) {
  return Title(kind, child) + " below " + Title(parent.kind, parent.name);
}

Answer TooMany(const char* kind, const std::string& child, const Parent& parent) {
  return Refuse(HQOSD_TOO_MANY, Place(kind, child, parent) + " would make more than " +
                                    std::to_string(kMostSons) + " children at all depths");
}

// Brings a rule into its shortest form: ascending ranges that neither overlap nor touch. Refused
// when it has no values, or others than its type has.
Answer Normalise(HQOS_MatchRule& rule) {
  if (rule.type == HQOS_MATCH_GROUP) {
    rule = EmptyRule(HQOS_MATCH_GROUP);
    return {};
  }
  uint16_t min, max;
  if (HQOS_util_GetValueRangeByType(rule.type, &min, &max) != 0) {
    return Refuse(HQOSD_RULE, "there is no match type " + std::to_string(rule.type));
  }
  const std::string title = HQOS_util_GetMatchTypeStr(rule.type);
  if (rule.ranges[0].low == HQOS_RANGE_UNUSED) return Refuse(HQOSD_RULE, title + ": no values");
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) break;
    if (range.low > range.high || range.low < min || range.high > max) {
      return Refuse(HQOSD_RULE, title + ": the values are " + std::to_string(min) + " to " +
                                    std::to_string(max) + ", not " + std::to_string(range.low) +
                                    " to " + std::to_string(range.high));
    }
  }
  HQOS_util_Bitmap2MatchRule(RuleBits(rule).get(), rule.type, &rule);
  return {};
}

// Whether the rule may stand beside those of its siblings: all of one type and without a value in
// common; one of them may be a group instead.
Answer CheckSiblings(const Model& model, const Parent& parent, const HQOS_MatchRule& rule) {
  const bool isGroup = rule.type == HQOS_MATCH_GROUP;
  for (const auto& [id, sibling] : *parent.children) {
    const uint32_t type = sibling.rule.type;
    if (type == HQOS_MATCH_NONE || (type == HQOS_MATCH_GROUP) != isGroup) continue;
    if (HQOS_util_MatchRuleCompare(&rule, &sibling.rule) == HQOS_REL_DISJOINT) continue;
    const Child child = ChildOf(model, id);
    const std::string title = Title(child.kind, *child.name);
    if (isGroup) return Refuse(HQOSD_RULE, title + " is the group already");
    if (type != rule.type) return Refuse(HQOSD_RULE, title + " has a rule of another match type");
    return Refuse(HQOSD_RULE, "the rule overlaps that of " + title);
  }
  return {};
}

// What every nesting must meet: the child is not there yet, its FP exists.
Answer CheckNesting(Model& model, const Parent& parent, const char* kind, uint16_t childId,
                    const HQOS_NestPayload& request) {
  if (parent.children->contains(childId)) {
    return Refuse(HQOSD_NESTED, Place(kind, request.childName, parent) + " is nested already");
  }
  Answer refusal;
  if (request.extraName[0] != '\0') {
    FindObject(model.fps, "FP", std::string(request.extraName), refusal);
  }
  return refusal;
}

template <class Table>
Answer NestFG(Model& model, Table& parents, const char* kind, const Payload& payload) {
  HQOS_NestPayload request{};
  if (!Read(payload, hqos::kNestPayload, request)) return TooShort();
  Answer answer;
  const Parent parent = FindParent(parents, kind, request.parentName, answer);
  if (parent.children == nullptr) return answer;
  const auto* const child = FindObject(model.fgs, "FG", std::string(request.childName), answer);
  if (child == nullptr) return answer;
  answer = CheckNesting(model, parent, "FG", child->id, request);
  if (answer.code != 0) return answer;
  answer = Normalise(request.rule);
  if (answer.code == 0) answer = CheckSiblings(model, parent, request.rule);
  if (answer.code != 0) {
    answer.text = Place("FG", child->name, parent) + ": " + answer.text;
    return answer;
  }
  if (!FitsBelow(model, parent.isSP() ? uint16_t{HQOS_ID_NONE} : parent.id, child->id)) {
    return Refuse(HQOSD_TOO_DEEP, Place("FG", child->name, parent) +
                                      " would make a cycle or more than five levels");
  }
  if (!HasRoomFor(model, parent, child->id)) return TooMany("FG", child->name, parent);
  Nest(model, parent, child->id, {request.rule, request.extraName});
  return {};
}

// Whether the rule given with a removal is that of the nesting, or none is given.
bool IsRuleOf(const HQOS_MatchRule& given, const Nesting& nesting) {
  if (given.type == 0 || given.type == HQOS_MATCH_NONE) return true;
  HQOS_MatchRule rule = given;
  return Normalise(rule).code == 0 &&
         HQOS_util_MatchRuleCompare(&rule, &nesting.rule) == HQOS_REL_EQUAL;
}

// Removes the nesting of a child of either kind.
template <class Table, class ChildTable>
Answer UnnestChild(Model& model, Table& parents, const char* kind, ChildTable& childTable,
                   const char* childKind, const Payload& payload) {
  HQOS_NestPayload request{};
  if (!Read(payload, hqos::kNestPayload, request)) return TooShort();
  Answer refusal;
  const Parent parent = FindParent(parents, kind, request.parentName, refusal);
  if (parent.children == nullptr) return refusal;
  const auto* const child =
      FindObject(childTable, childKind, std::string(request.childName), refusal);
  if (child == nullptr) return refusal;
  const auto nesting = parent.children->find(child->id);
  if (nesting == parent.children->end()) {
    return Refuse(HQOSD_NOT_FOUND, Place(childKind, child->name, parent) + " is not nested");
  }
  if (!IsRuleOf(request.rule, nesting->second)) {
    return Refuse(HQOSD_RULE, Place(childKind, child->name, parent) + " has another rule");
  }
  Unnest(model, parent, child->id);
  return {};
}

// Removes the nesting that has the rule.
template <class Table>
Answer DelMatch(Model& model, Table& parents, const char* kind, const Payload& payload) {
  HQOS_MatchPayload request{};
  if (!Read(payload, hqos::kMatchPayload, request)) return TooShort();
  Answer answer;
  const Parent parent = FindParent(parents, kind, request.name, answer);
  if (parent.children == nullptr) return answer;
  answer = Normalise(request.rule);
  if (answer.code != 0) {
    answer.text = Title(kind, parent.name) + ": " + answer.text;
    return answer;
  }
  for (const auto& [id, nesting] : *parent.children) {
    if (HQOS_util_MatchRuleCompare(&request.rule, &nesting.rule) != HQOS_REL_EQUAL) continue;
    Unnest(model, parent, id);
    return {};
  }
  return Refuse(HQOSD_NOT_FOUND, Title(kind, parent.name) + " has no child with that rule");
}

// FCs get the highest identifier that neither an FC nor an FG has; HQOS_ID_NONE when there is none.
uint16_t FreeFCId(Model& model) {
  const auto isTaken = [&](uint16_t id) {
    return model.fcs.Find(id) != nullptr || model.fgs.Find(id) != nullptr;
  };
  while (model.fcIdHint > 0 && isTaken(model.fcIdHint)) --model.fcIdHint;
  return isTaken(model.fcIdHint) ? uint16_t{HQOS_ID_NONE} : model.fcIdHint;
}

}  // namespace

Answer AddSPNestFG(Model& model, const Payload& payload) {
  return NestFG(model, model.sps, "SP", payload);
}
Answer AddFGNestFG(Model& model, const Payload& payload) {
  return NestFG(model, model.fgs, "FG", payload);
}
Answer DelSPNestFG(Model& model, const Payload& payload) {
  return UnnestChild(model, model.sps, "SP", model.fgs, "FG", payload);
}
Answer DelFGNestFG(Model& model, const Payload& payload) {
  return UnnestChild(model, model.fgs, "FG", model.fgs, "FG", payload);
}
Answer DelFGNestFC(Model& model, const Payload& payload) {
  return UnnestChild(model, model.fgs, "FG", model.fcs, "FC", payload);
}
Answer DelSPMatch(Model& model, const Payload& payload) {
  return DelMatch(model, model.sps, "SP", payload);
}
Answer DelFGMatch(Model& model, const Payload& payload) {
  return DelMatch(model, model.fgs, "FG", payload);
}

Answer AddFGNestFC(Model& model, const Payload& payload) {
  HQOS_NestPayload request{};
  if (!Read(payload, hqos::kNestPayload, request)) return TooShort();
  Answer answer;
  const Parent parent = FindParent(model.fgs, "FG", request.parentName, answer);
  if (parent.children == nullptr) return answer;
  const std::string name = request.childName;
  if (!IsUsableName(name)) return BadName("FC", name);
  const auto* const existing = model.fcs.Find(name);
  const uint16_t id = existing != nullptr ? existing->id : FreeFCId(model);
  if (id == HQOS_ID_NONE) {
    return Refuse(HQOSD_ID_TAKEN, Title("FC", name) + ": no identifier is free");
  }
  answer = CheckNesting(model, parent, "FC", id, request);
  if (answer.code != 0) return answer;
  if (!FitsBelow(model, parent.id, id)) {
    return Refuse(HQOSD_TOO_DEEP, Place("FC", name, parent) + " would make more than five levels");
  }
  if (!HasRoomFor(model, parent, id)) return TooMany("FC", name, parent);
  if (existing == nullptr) model.fcs.Add(name, id);
  Nest(model, parent, id, {EmptyRule(HQOS_MATCH_NONE), request.extraName});
  return {};
}

}  // namespace hqosd
