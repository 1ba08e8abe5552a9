// Payloads that nest children and remove match rules, with their layouts.
#pragma once

#include "lib/match_rule.h"

// A child in its parent. What is not given is zero.
struct HQOS_NestPayload {
  char parentName[HQOS_NAME_SIZE];
  char childName[HQOS_NAME_SIZE];
  char extraName[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
};

// A rule of an SP or FG.
struct HQOS_MatchPayload {
  char name[HQOS_NAME_SIZE];
  HQOS_MatchRule rule;
};

namespace hqos {

inline constexpr auto kNestPayload = Table<132>(Row{0, 32, kText, &HQOS_NestPayload::parentName},
                                                Row{32, 32, kText, &HQOS_NestPayload::childName},
                                                Row{64, 32, kText, &HQOS_NestPayload::extraName},
                                                Row{96, 36, kMatchRule, &HQOS_NestPayload::rule});

inline constexpr auto kMatchPayload = Table<68>(Row{0, 32, kText, &HQOS_MatchPayload::name},
                                                Row{32, 36, kMatchRule, &HQOS_MatchPayload::rule});

}  // namespace hqos
