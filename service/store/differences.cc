#include "service/store/differences.h"

#include "service/model/hierarchy.h"

namespace hqosd {

const Differences::Part Differences::kParts[] = {&Differences::RemovedObjects<&Model::sps>,
                                                 &Differences::RemovedObjects<&Model::fgs>,
                                                 &Differences::RemovedObjects<&Model::fcs>,
                                                 &Differences::RemovedObjects<&Model::dps>,
                                                 &Differences::RemovedObjects<&Model::fps>,
                                                 &Differences::RemovedNestings<&Model::sps>,
                                                 &Differences::RemovedNestings<&Model::fgs>,
                                                 &Differences::ChangedObjects<&Model::sps>,
                                                 &Differences::ChangedObjects<&Model::fgs>,
                                                 &Differences::ChangedObjects<&Model::fcs>,
                                                 &Differences::ChangedObjects<&Model::dps>,
                                                 &Differences::ChangedObjects<&Model::fps>,
                                                 &Differences::ChangedNestings<&Model::sps>,
                                                 &Differences::ChangedNestings<&Model::fgs>,
                                                 &Differences::Applications,
                                                 &Differences::Classes,
                                                 &Differences::Runs};

bool Differences::Step(const Slice& slice) {
  for (; part_ < std::size(kParts); ++part_, at_ = HQOS_ID_NONE) {
    if (!(this->*kParts[part_])(slice)) return false;
  }
  return true;
}

template <auto table>
bool Differences::RemovedObjects(const Slice& slice) {
  return Walk(from_.*table, at_, slice, [this](const auto& object) {
    const auto& present = std::as_const(to_).*table;
    if (present.Find(object.name) != nullptr) return;
    for (const char* const prefix : Prefixes(present.kKind)) Remove(prefix + object.name);
  });
}

template <auto table>
bool Differences::ChangedObjects(const Slice& slice) {
  return Walk(to_.*table, at_, slice, [this](const auto& object) {
    const auto& previous = from_.*table;
    const auto* const old = previous.Find(object.name);
    for (const char* const prefix : Prefixes(previous.kKind)) {
      Bytes value = ValueOf(to_, object, prefix);
      if (old != nullptr && ValueOf(from_, *old, prefix) == value) continue;
      changes_.push_back({prefix + object.name, std::move(value), {}});
    }
  });
}

// Calls `use` with the key of each nesting.
template <auto table, class Use>
bool Differences::WalkNestings(const Model& model, const Slice& slice, const Use& use) {
  const auto& parents = model.*table;
  const auto isCut = [&](const auto& parent) {
    const Children& children = parent.value.children;
    auto child = childAt_ == HQOS_ID_NONE ? children.begin() : children.upper_bound(childAt_);
    for (; child != children.end(); ++child) {
      if (slice.IsOver()) return true;
      const Child one = ChildOf(model, child->first);
      use(NestingKey{parents.kKind, parent.name, one.kind, *one.name});
      childAt_ = child->first;
    }
    childAt_ = HQOS_ID_NONE;
    return false;
  };
  for (const auto* parent = parents.Next(at_); parent != nullptr; parent = parents.Next(at_)) {
    if (slice.IsOver() || isCut(*parent)) return false;
    at_ = parent->id;
  }
  return true;
}

template <auto table>
bool Differences::RemovedNestings(const Slice& slice) {
  return WalkNestings<table>(from_, slice, [this](const NestingKey& key) {
    Change change = NestingChange(to_, key);
    if (!change.value) changes_.push_back(std::move(change));
  });
}

template <auto table>
bool Differences::ChangedNestings(const Slice& slice) {
  return WalkNestings<table>(to_, slice, [this](const NestingKey& key) {
    Change change = NestingChange(to_, key);
    if (NestingChange(from_, key).value != change.value) changes_.push_back(std::move(change));
  });
}

bool Differences::Applications(const Slice&) {
  const auto compare = [this](const ApplyKey& key) {
    Change change = ApplicationChange(to_, key);
    if (ApplicationChange(from_, key).value != change.value) changes_.push_back(std::move(change));
  };
  for (const auto& [key, application] : to_.applications) compare(key);
  for (const auto& [key, application] : from_.applications) {
    if (!to_.applications.contains(key)) compare(key);
  }
  return true;
}

bool Differences::Classes(const Slice&) {
  const auto compare = [this](const ApplyKey& key, const Application& application) {
    for (const auto& [path, one] : application.classes) {
      Change change = ClassChange(to_, key, path);
      const bool isSame = ClassChange(from_, key, path).value == change.value;
      if (!isSame) changes_.push_back(std::move(change));
    }
  };
  for (const auto& [key, application] : std::as_const(to_).applications) compare(key, application);
  for (const auto& [key, application] : from_.applications) {
    const auto now = to_.applications.find(key);
    for (const auto& [path, one] : application.classes) {
      if (now != to_.applications.end() && now->second.classes.contains(path)) continue;
      changes_.push_back(ClassChange(to_, key, path));
    }
  }
  return true;
}

// The run-time state follows from all other records: when they are the same it is the same.
bool Differences::Runs(const Slice& slice) {
  if (!runs_) {
    to_.ClearDirty();
    if (changes_.empty()) return true;
    to_.storedRuns = from_.storedRuns;
    for (const auto* const all : {&from_.applications, &std::as_const(to_).applications}) {
      for (const auto& [key, application] : *all) {
        to_.dirtyRuns.emplace(key, application.ifIndex);
      }
    }
    runs_.emplace(to_);
  }
  if (!runs_->Step(slice, changes_)) return false;
  to_.ClearDirty();
  return true;
}

}  // namespace hqosd
