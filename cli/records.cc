#include "cli/records.h"

#include <net/if.h>

#include <algorithm>
#include <array>

#include "cli/read.h"
#include "client/write_model.h"

namespace hqosctl {

namespace {

// The record of an object with its name before the rest.
template <class Object>
Output::Record Named(const char* name, const Object& object) {
  Output::Record record = {{"name", client::Utf8(name)}};
  record.update(client::RecordOf(object));
  return record;
}

}  // namespace

Output::Record SPRecord(const HQOS_SPInfo& sp) {
  Output::Record record = Named(sp.name, client::SP{sp.id, sp.value1, {}});
  record["children"] = sp.value2;
  return record;
}

Output::Record FPRecord(const HQOS_FPInfo& info) {
  client::FP fp;
  fp.id = info.id;
  if ((info.flags & HQOS_FPI_QUEUE) != 0) fp.queue = std::to_array(info.queue);
  if ((info.flags & HQOS_FPI_GTS) != 0) fp.gts = std::to_array(info.gts);
  if ((info.flags & HQOS_FPI_BANDWIDTH) != 0) fp.bandwidth = info.bandwidth;
  if ((info.flags & HQOS_FPI_DPREF) != 0) fp.dp = info.dpName;
  return Named(info.name, fp);
}

Output::Record DPRecord(const HQOS_DPInfo& info) {
  client::DP dp{info.id, info.weight, {}};
  std::copy(std::begin(info.thresholds), std::end(info.thresholds), dp.thresholds.begin());
  return Named(info.name, dp);
}

Output::Record ChildRecord(uint32_t kind, const char* name, const HQOS_MatchRule& rule,
                           const char* fp) {
  const client::ChildKind childKind = kind == kFC ? client::ChildKind::kFC : client::ChildKind::kFG;
  return client::RecordOf(client::Children::value_type({childKind, name}, {rule, fp}));
}

client::Target TargetOf(const HQOS_AppObj& obj) {
  return {obj.type, obj.name, obj.value, obj.param};
}

HQOS_AppObj ObjectOf(const client::Target& target) {
  HQOS_AppObj obj{};
  obj.type = target.type;
  obj.param = target.direction;
  obj.value =
      target.type == HQOS_APPOBJ_IFINDEX ? if_nametoindex(target.interface.c_str()) : target.number;
  target.interface.copy(obj.name, sizeof obj.name - 1);
  return obj;
}

Output::Record ApplyRecord(const HQOS_ApplyInfo& info) {
  return client::RecordOf(
      std::pair<const client::Target, client::Application>(TargetOf(info.obj), {info.sp.name, 0}));
}

void Descend(std::vector<std::string>& names, const HQOS_SPSon& son) {
  const size_t level = son.words[0];
  names.resize(level == 0 ? 0 : std::min(level - 1, names.size()));
  names.emplace_back(son.cfg.name1);
}

}  // namespace hqosctl
