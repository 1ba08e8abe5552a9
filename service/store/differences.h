// What changes in the store when one model takes the place of another.
#pragma once

#include <optional>

#include "service/store/rows.h"
#include "service/store/run_rows.h"

namespace hqosd {

class Differences {
 public:
  // Nothing else changes the models meanwhile; `from` is clean, and `to` is then.
  Differences(const Model& from, Model& to) : from_(from), to_(to) {}

  bool Step(const Slice& slice);  // true when all are found
  std::vector<Change>& Changes() { return changes_; }

 private:
  using Part = bool (Differences::*)(const Slice&);
  static const Part kParts[];

  template <auto table>
  bool RemovedObjects(const Slice& slice);
  template <auto table>
  bool ChangedObjects(const Slice& slice);
  template <auto table>
  bool RemovedNestings(const Slice& slice);
  template <auto table>
  bool ChangedNestings(const Slice& slice);
  template <auto table, class Use>
  bool WalkNestings(const Model& model, const Slice& slice, const Use& use);
  bool Applications(const Slice& slice);
  bool Classes(const Slice& slice);
  bool Runs(const Slice& slice);

  void Remove(std::string key) { changes_.push_back({std::move(key), std::nullopt, {}}); }

  const Model& from_;
  Model& to_;
  std::vector<Change> changes_;
  size_t part_ = 0;
  uint16_t at_ = HQOS_ID_NONE, childAt_ = HQOS_ID_NONE;  // the last ones that are compared
  std::optional<RunRows> runs_;
};

}  // namespace hqosd
