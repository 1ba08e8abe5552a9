#include "service/store/restore.h"

#include <cstdio>

#include "service/store/load.h"

namespace hqosd {

namespace {

// Why the records would not be taken as they are at the key; "" when they would.
std::string WhyUnfit(const std::vector<StoredRecord>& records, const std::string& key) {
  Model model;
  for (const Change& change : Load(records, model)) {
    if (change.key == key && !change.quarantine.empty()) return change.quarantine;
  }
  return "";
}

// The records with the value at the key.
std::vector<StoredRecord> With(std::vector<StoredRecord> records, const std::string& key,
                               const Bytes& value) {
  std::erase_if(records, [&key](const StoredRecord& record) { return record.key == key; });
  records.push_back({key, value});
  return records;
}

}  // namespace

bool CheckStore(Store& store) {
  std::vector<StoredRecord> records;
  std::vector<QuarantinedRecord> quarantine;
  const std::string why = store.Read(records, &quarantine);
  if (!why.empty()) {
    std::printf("the store cannot be used: %s\n", why.c_str());
    return false;
  }
  const std::string damage = store.Damage();
  if (!damage.empty())
    std::printf("the store is damaged: %s; what can be read of it:\n", damage.c_str());
  Model model;
  const std::vector<Change> repairs = Load(records, model);
  std::printf("%zu records: %zu SPs, %zu FGs, %zu FCs, %zu FPs, %zu DPs, %zu applications\n",
              records.size(), model.sps.All().size(), model.fgs.All().size(),
              model.fcs.All().size(), model.fps.All().size(), model.dps.All().size(),
              model.applications.size());
  for (const Change& change : repairs) {
    const char* const what =
        change.quarantine.empty() ? "not up to date" : change.quarantine.c_str();
    std::printf("%s: %s\n", PrintableKey(change.key).c_str(), what);
  }
  for (const QuarantinedRecord& record : quarantine) {
    std::printf("in quarantine since %s: %s: %s\n", record.since.c_str(),
                PrintableKey(record.key).c_str(), record.reason.c_str());
  }
  return repairs.empty() && damage.empty();
}

bool RestoreRecords(Store& store, const std::vector<std::string>& keys) {
  std::vector<StoredRecord> records;
  std::vector<QuarantinedRecord> quarantine;
  std::string why = store.Read(records, &quarantine);
  std::vector<Change> changes;
  std::vector<std::string> restored;
  bool all = why.empty();
  for (const std::string& wanted : keys) {
    std::string unfit = why.empty() ? "it is not in quarantine" : why;
    for (const QuarantinedRecord& record : quarantine) {
      if (PrintableKey(record.key) != wanted) continue;
      const std::vector<StoredRecord> candidate = With(records, record.key, record.value);
      unfit = WhyUnfit(candidate, record.key);
      if (!unfit.empty()) continue;
      records = candidate;
      changes.push_back({record.key, record.value, {}});
      restored.push_back(record.key);
      break;
    }
    std::printf("%s: %s\n", wanted.c_str(), unfit.empty() ? "restored" : unfit.c_str());
    all = all && unfit.empty();
  }
  if (!changes.empty()) {
    // What follows from the restored records is written too, so that the next start repairs
    // nothing.
    Model model;
    for (const Change& repair : Load(records, model)) changes.push_back(repair);
    why = store.Write(changes);
    if (why.empty()) why = store.Restored(restored);
    if (!why.empty()) std::printf("the store cannot be written: %s\n", why.c_str());
  }
  return all && why.empty();
}

}  // namespace hqosd
