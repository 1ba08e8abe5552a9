// Rows of the run-time state of what is applied to interfaces.
#pragma once

#include <optional>

#include "service/model/model.h"
#include "service/model/slice.h"
#include "service/store/store.h"

namespace hqosd {

// Takes the rows of the applications whose run-time state is dirty, as far as they differ from what
// was taken before.
class RunRows {
 public:
  // Nothing else changes the model meanwhile.
  explicit RunRows(Model& model) : model_(model) {}

  bool Step(const Slice& slice, std::vector<Change>& changes);  // true when all are taken

  // The rows of an SP, by the end of their keys: the SP, and the nodes of levels 1 to 4 and those
  // of level 4 that have children, a row for each two first identifiers of their paths. So a change
  // of the hierarchy rewrites a part of it.
  using Layers = std::map<std::string, Bytes>;

 private:
  void Collect(const ApplyKey& key, uint32_t ifIndex);
  void Take(const std::string& key, const Bytes* value, std::vector<Change>& changes);

  Model& model_;
  std::optional<std::pair<ApplyKey, uint32_t>> at_;  // the last one that is collected
  std::map<uint16_t, Layers> layersOf_;  // by SP: they are the same wherever it is applied
  // An index may have moved from one interface to another: what is deleted for the one must not be
  // what is written for the other.
  std::map<std::string, const Bytes*> rows_;
};

}  // namespace hqosd
