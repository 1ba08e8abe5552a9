// Two models side by side.
#pragma once

#include <string>
#include <vector>

#include "client/model.h"
#include "client/write_model.h"

namespace client {

// One difference: of a whole object or application, or with `key` of a setting or child of one that
// both have. Values are as in files; null where there is none.
struct Change {
  enum Op { kRemove, kAdd, kChange } op;
  const char* kind;  // "sp", "fg", "fp", "dp", "apply"
  std::string name;
  std::string key;  // "bandwidth", "fg voice"; "" for the whole
  Record before, after;
};

// What makes `to` of `from`; what goes comes first.
std::vector<Change> Differences(const Model& from, const Model& to);

// Gives every object without an identifier the one that it has in `running`, unless the model gives
// that to another. Those that are left without one get a new one from the service.
void FillIn(Model& model, const Model& running);

// The running model with what the file names, key by key, in place of its own. Identifiers are
// those of the file.
Model Merge(Model running, const Model& file);

}  // namespace client
