// From the model to the records of the store.
#pragma once

#include <span>

#include "service/model/model.h"
#include "service/store/store.h"

namespace hqosd {

// The changes of all that is dirty, which is clean then.
std::vector<Change> TakeChanges(Model& model);

// What the keys of an object's records begin with, before its name; and the value under one of
// them.
std::span<const char* const> Prefixes(Kind kind);
Bytes ValueOf(const Model& model, const ObjectTable<SP>::Object& sp, const char* prefix);
Bytes ValueOf(const Model& model, const ObjectTable<FG>::Object& fg, const char* prefix);
Bytes ValueOf(const Model& model, const ObjectTable<FC>::Object& fc, const char* prefix);
Bytes ValueOf(const Model& model, const ObjectTable<FP>::Object& fp, const char* prefix);
Bytes ValueOf(const Model& model, const ObjectTable<DP>::Object& dp, const char* prefix);

// The record of a nesting or an application; without a value when the model has none.
Change NestingChange(const Model& model, const NestingKey& key);
Change ApplicationChange(const Model& model, const ApplyKey& key);
Change ClassChange(const Model& model, const ApplyKey& key, const SonPath& path);

std::string NestingRowKey(const NestingKey& key);
std::string ApplicationKey(const ApplyKey& key);
// Keys of the classes of an application to an interface begin so; the path follows.
std::string ClassKeyPrefix(const ApplyKey& key);
Bytes VersionValue();

}  // namespace hqosd
