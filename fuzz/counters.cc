// The JSON file of the service's counters.
#include <nlohmann/json.hpp>

#include "fuzz/memory_file.h"
#include "service/model/model.h"

namespace {

using fuzz::Require;
using nlohmann::json;

template <class Number, size_t N>
void CheckNumbers(const json& entry, const char* key, const Number (&numbers)[N]) {
  const json given = entry.value(key, json::array());
  for (size_t i = 0; i < N; ++i) {
    const uint64_t expected = i < given.size() ? given[i].get<uint64_t>() : 0;
    Require(numbers[i] == expected, "a counter is that of the file, or zero");
  }
}

// Of entries for the same child the last counts.
void CheckEntries(const json& all, hqosd::CounterSource& counters) {
  std::map<std::pair<std::string, std::vector<std::string>>, json> entries;
  for (const json& entry : all) entries[{entry["place"], entry["path"]}] = entry;
  for (const auto& [child, entry] : entries) {
    const HQOS_SPSonCounters read = counters.Read(child.first, child.second);
    CheckNumbers(entry, "stat32", read.stat32);
    CheckNumbers(entry, "stat64", read.stat64);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::MemoryFile file;
  file.Write(data, size);
  const auto counters = hqosd::FileCounters(file.Name());
  const hqosd::Model model;
  if (!counters->Refresh(model)) {
    Require(!counters->Refresh(model), "a file that cannot be read stays so");
    return 0;
  }
  Require(counters->Refresh(model), "a file that has been read stays so");
  CheckEntries(json::parse(data, data + size), *counters);
  return 0;
}
