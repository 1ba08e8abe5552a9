// From the model to the records of the store.
#pragma once

#include "service/model.h"
#include "service/store.h"

namespace hqosd {

// The records of all that has been noted as changed; the notes are gone then.
std::vector<Change> TakeChanges(Model& model);

std::string NestingRowKey(const NestingKey& key);
std::string ApplicationKey(const ApplyKey& key);
Bytes VersionValue();

}  // namespace hqosd
