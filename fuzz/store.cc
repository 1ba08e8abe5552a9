// The records of a store, as a service that starts finds them. The input is a sequence of records:
// the length of the key in a byte, the key, the length of the value in two bytes, the low one
// first, and the value.
#include "fuzz/invariants.h"
#include "fuzz/require.h"
#include "service/store/load.h"
#include "service/store/rows.h"

namespace {

using Rows = std::map<std::string, hqosd::Bytes>;

// Takes up to `length` bytes of the input.
hqosd::Bytes Take(const uint8_t*& data, size_t& size, size_t length) {
  length = std::min(length, size);
  hqosd::Bytes taken(data, data + length);
  data += length;
  size -= length;
  return taken;
}

Rows ReadRows(const uint8_t* data, size_t size) {
  Rows rows;
  while (size != 0) {
    const size_t keyLength = Take(data, size, 1)[0];
    const hqosd::Bytes key = Take(data, size, keyLength);
    hqosd::Bytes length = Take(data, size, 2);
    length.resize(2);
    rows[std::string(key.begin(), key.end())] = Take(data, size, length[0] + 256u * length[1]);
  }
  return rows;
}

std::vector<hqosd::Change> LoadRows(const Rows& rows, hqosd::Model& model) {
  std::vector<hqosd::StoredRecord> records;
  for (const auto& [key, value] : rows) records.push_back({key, value});
  return hqosd::Load(records, model);
}

void Repair(const std::vector<hqosd::Change>& repairs, Rows& rows) {
  for (const hqosd::Change& change : repairs) {
    fuzz::Require(change.quarantine.empty() || rows.contains(change.key),
                  "a quarantined record was there:", change.key);
    rows.erase(change.key);
    if (change.value) rows[change.key] = *change.value;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Rows rows = ReadRows(data, size);
  hqosd::Model model;
  Repair(LoadRows(rows, model), rows);
  fuzz::CheckInvariants(model);
  fuzz::Require(hqosd::TakeChanges(model).empty(), "what was loaded has not changed");
  hqosd::Model again;
  const std::vector<hqosd::Change> more = LoadRows(rows, again);
  if (!more.empty()) fuzz::Require(false, "the repaired records are sound:", more[0].key);
  fuzz::CheckInvariants(again);
  return 0;
}
