// Objects as records of JSON, in the words of the file of a hierarchy.
#pragma once

#include "cli/output.h"
#include "client/model.h"
#include "hqos.h"

namespace hqosctl {

Output::Record SPRecord(const HQOS_SPInfo& sp);
Output::Record FPRecord(const HQOS_FPInfo& fp);
Output::Record DPRecord(const HQOS_DPInfo& dp);

// A child: its kind as the service gives it, its name, rule and FP.
Output::Record ChildRecord(uint32_t kind, const char* name, const HQOS_MatchRule& rule,
                           const char* fp);
inline Output::Record ChildRecord(const HQOS_SPSon& son) {
  return ChildRecord(son.cfg.value2, son.cfg.name1, son.cfg.rule, son.cfg.name2);
}

// Between places as the library and as files have them. The index of an interface may be 0.
client::Target TargetOf(const HQOS_AppObj& obj);
HQOS_AppObj ObjectOf(const client::Target& target);

// An application: "sp", "interface" (or "slot", "id", "system"), "direction".
Output::Record ApplyRecord(const HQOS_ApplyInfo& info);

// Makes the names on the way down to the last child those for the next, in the service's order.
void Descend(std::vector<std::string>& names, const HQOS_SPSon& son);

}  // namespace hqosctl
