// Rows of the run-time state of what is applied to interfaces, which follow from the model.
#include "service/store/run_rows.h"

#include "msg/records.h"
#include "service/model/hierarchy.h"
#include "service/store/records.h"
#include "service/store/schema.h"

namespace hqosd {

namespace {

// The run-time state of a node: its identifier, its kind, and the identifier of its FP.
HQOS_LayerRun NodeOf(const Model& model, const HQOS_SPSonPath& path, const PathNode& at,
                     uint16_t id) {
  HQOS_LayerRun run{path, id, at.child.kindNumber(), {}, at.nesting->rule};
  const auto* const fp = model.fps.Find(at.nesting->fp);
  const uint16_t fpId = fp == nullptr ? uint16_t{HQOS_ID_NONE} : fp->id;
  std::memcpy(run.hostData, &fpId, sizeof fpId);
  return run;
}

// A layer-2 record holds that many entries.
constexpr size_t kMaxEntries = 47;

void AppendLayer2(Bytes& to, const HQOS_LayerRun& parent,
                  const std::vector<HQOS_LayerRun>& entries) {
  for (size_t i = 0; i < entries.size(); i += kMaxEntries) {
    const size_t count = std::min(kMaxEntries, entries.size() - i);
    Bytes value(2048);
    uint32_t headers = 0;
    value.resize(HQOS_dbmtype_EncapLayer2Run(&parent, &entries[i], static_cast<uint32_t>(count),
                                             2048, &headers, value.data()));
    to.insert(to.end(), value.begin(), value.end());
  }
}

using Layers = RunRows::Layers;

std::string EndOf(const char* layer, const HQOS_SPSonPath& path) {
  if (path.field[2] == HQOS_PATH_UNSET) return fmt::format("{}-{}", layer, path.field[1]);
  return fmt::format("{}-{}-{}", layer, path.field[1], path.field[2]);
}

Layers LayersOf(const Model& model, const ObjectTable<SP>::Object& sp) {
  Layers layers{{"SP", Encoded(hqos::kSPBase, SPRecord(sp))}};
  HQOS_SPSonPath path;
  std::fill(std::begin(path.field), std::end(path.field), uint16_t{HQOS_PATH_UNSET});
  HQOS_LayerRun parent{};
  std::vector<HQOS_LayerRun> entries;
  const auto flush = [&] {
    if (!entries.empty()) AppendLayer2(layers[EndOf("L2", parent.path)], parent, entries);
    entries.clear();
  };
  while (NextSon(model, sp.value, path) != nullptr) {
    const std::vector<PathNode> nodes = PathTo(model, sp.value, path);
    const HQOS_LayerRun node = NodeOf(model, path, nodes.back(), path.field[nodes.size()]);
    if (nodes.size() == kLevels) {
      entries.push_back(node);
      continue;
    }
    flush();
    parent = node;
    uint32_t headers = 0;
    uint8_t value[512];
    const uint32_t length = HQOS_dbmtype_EncapLayer1Run(&node, sizeof value, &headers, value);
    Bytes& to = layers[EndOf("L1", path)];
    to.insert(to.end(), value, value + length);
  }
  flush();
  return layers;
}

// What the keys of an application's rows begin with.
std::string Prefix(const ApplyKey& key, uint32_t ifIndex) {
  char text[HQOS_DBKEY_SIZE];
  HQOS_dbmtype_EncapIfRunKey(1, key.param, ifIndex, text);
  const std::string whole(text);
  return whole.substr(0, whole.rfind('-') + 1);
}

}  // namespace

bool RunRows::Step(const Slice& slice, std::vector<Change>& changes) {
  for (auto run = at_ ? model_.dirtyRuns.upper_bound(*at_) : model_.dirtyRuns.begin();
       run != model_.dirtyRuns.end(); ++run) {
    if (slice.IsOver()) return false;
    if (run->first.type == HQOS_APPOBJ_IFINDEX) Collect(run->first, run->second);
    at_ = *run;
  }
  for (auto row = rows_.begin(); row != rows_.end(); row = rows_.erase(row)) {
    if (slice.IsOver()) return false;
    Take(row->first, row->second, changes);
  }
  return true;
}

void RunRows::Collect(const ApplyKey& key, uint32_t ifIndex) {
  const std::string prefix = Prefix(key, ifIndex);
  for (auto row = model_.storedRuns.lower_bound(prefix);
       row != model_.storedRuns.end() && row->first.starts_with(prefix); ++row) {
    rows_.try_emplace(row->first, nullptr);
  }
  const auto application = model_.applications.find(key);
  if (application == model_.applications.end() || application->second.ifIndex != ifIndex) return;
  const uint16_t sp = application->second.sp;
  auto layers = layersOf_.find(sp);
  if (layers == layersOf_.end()) {
    layers = layersOf_.emplace(sp, LayersOf(model_, model_.sps.All().at(sp))).first;
  }
  for (const auto& [end, value] : layers->second) rows_[prefix + end] = &value;
}

void RunRows::Take(const std::string& key, const Bytes* value, std::vector<Change>& changes) {
  if (value == nullptr) {
    model_.storedRuns.erase(key);
    changes.push_back({key, {}, {}});
    return;
  }
  const int64_t sum = RowSum(key, *value);
  const auto [stored, isNew] = model_.storedRuns.try_emplace(key, sum);
  if (!isNew && stored->second == sum) return;
  stored->second = sum;
  changes.push_back({key, *value, {}});
}

}  // namespace hqosd
