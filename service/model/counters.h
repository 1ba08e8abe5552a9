// Where the counters of children come from.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hqos.h"

namespace hqosd {

struct Model;

class CounterSource {
 public:
  virtual ~CounterSource() = default;
  // Updates the counters; false when none are available.
  virtual bool Refresh(const Model&) { return true; }
  // The counters of a child, by the names on the way to it, where its SP is applied ("interface
  // eth0 outbound"); zeros for one that it does not know.
  virtual HQOS_SPSonCounters Read(const std::string& place, const std::vector<std::string>& path) {
    (void)place, (void)path;
    return {};
  }
};

// Counters that all are zero.
std::unique_ptr<CounterSource> NoCounters();

// Those of a JSON file, which is read again when it has changed: an array of
//   {"place": "interface eth0 outbound", "path": ["data", "web"], "stat32": [...], "stat64": [...]}
// Counters that are not given are zero.
std::unique_ptr<CounterSource> FileCounters(const std::string& file);

}  // namespace hqosd
