// From the model to the records of the store.
#pragma once

#include "service/model/model.h"
#include "service/store/store.h"

namespace hqosd {

// The records of all that is dirty, which is clean then.
std::vector<Change> TakeChanges(Model& model);

// The changes that make the records of `to` of those of `from`; both are clean then.
std::vector<Change> Differences(Model& from, Model& to);

std::string NestingRowKey(const NestingKey& key);
std::string ApplicationKey(const ApplyKey& key);
Bytes VersionValue();

}  // namespace hqosd
