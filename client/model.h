// A hierarchy as files describe it: plain structs, by name. Whatever reads, compares or sends a
// hierarchy works on this one form.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hqos.h"

namespace client {

using Id = std::optional<uint16_t>;  // absent: the service chooses

enum class ChildKind { kFG, kFC };

// A child in its parent. `place` is its place in the list that it was read from.
struct Child {
  HQOS_MatchRule rule;  // in its shortest form; of type HQOS_MATCH_NONE for an FC
  std::string fp;       // empty: none
  uint32_t place = 0;
};
using Children = std::map<std::pair<ChildKind, std::string>, Child>;

struct SP {
  Id id;
  std::optional<uint32_t> unit;  // an HQOS_SPUnit; byte-count when it is not set
  Children children;
};

struct FG {
  Id id;
  Children children;
};

struct FP {
  Id id;
  std::optional<std::array<uint32_t, 3>> queue;
  std::optional<std::array<uint32_t, 4>> gts;
  std::optional<uint32_t> bandwidth;
  std::string dp;  // empty: none
};

struct DP {
  Id id;
  std::optional<uint32_t> weight;  // zero when it is not set, as each threshold is
  std::array<std::optional<HQOS_DPThreshold>, HQOS_DP_THRESHOLDS> thresholds;
};

// What an SP is applied to. Interfaces are known by name, slots and identifiers by number.
struct Target {
  uint32_t type;  // HQOS_AppObjType
  std::string interface;
  uint32_t number;
  uint32_t direction;                               // HQOS_Dir
  auto operator<=>(const Target&) const = default;  // NOLINT(modernize-use-nullptr)
};
struct Application {
  std::string sp;
  uint32_t place = 0;  // as a child's
};

struct Model {
  std::map<std::string, SP> sp;
  std::map<std::string, FG> fg;
  std::map<std::string, FP> fp;
  std::map<std::string, DP> dp;
  std::map<Target, Application> apply;
};

}  // namespace client
