#include "service/server/history.h"

#include "service/store/records.h"

namespace hqosd {

namespace {

constexpr size_t kMaxStates = 50;
constexpr size_t kMaxBytes = 16 << 20;  // of all states, compressed
constexpr int kLevel = 1;               // the fastest
constexpr size_t kPiece = 256 << 10;    // of an export, compressed at once

// Bytes of a compressed export in one row. SQLite compares whole rows when it searches, so that a
// long one would make every write slow.
constexpr size_t kPartSize = 900;

// A state's record, whose export is in rows of their own.
struct Length {
  uint64_t value;
};
constexpr auto kLength = hqos::Table<8>(hqos::Field{0, 8, hqos::kBigEndian, &Length::value});
std::string KeyOf(uint64_t revision) { return fmt::format("{}{:020}", kKeyHistory, revision); }
std::string PartKeyOf(uint64_t revision, size_t part) {
  return fmt::format("{}{:020}-{:05}", kKeyHistoryPart, revision, part);
}

}  // namespace

KeptExport::~KeptExport() { deflateEnd(&stream_); }

bool KeptExport::Step(const Slice& slice) {
  if (plain_.empty()) {
    if (!export_.Step(slice)) return false;
    plain_ = export_.Take(revision_);
    if (deflateInit(&stream_, kLevel) != Z_OK) throw std::bad_alloc();
    compressed_.resize(deflateBound(&stream_, plain_.size()));
    stream_.next_in = plain_.data();
    stream_.next_out = compressed_.data();
    stream_.avail_out = static_cast<uInt>(compressed_.size());
  }
  for (int result = Z_OK; result != Z_STREAM_END;) {
    if (slice.IsOver()) return false;
    const size_t left = plain_.size() - stream_.total_in;
    stream_.avail_in = static_cast<uInt>(std::min(left, kPiece));
    result = deflate(&stream_, left <= kPiece ? Z_FINISH : Z_NO_FLUSH);
  }
  compressed_.resize(stream_.total_out);
  compressed_.shrink_to_fit();
  return true;
}

void History::Load(const std::vector<StoredRecord>& records) {
  *this = {};
  for (const StoredRecord& record : records) {
    if (!record.isSound) continue;
    const uint8_t* const value = record.value.data();
    const size_t size = record.value.size();
    hqos::Revision stored{};
    PendingState waiting{};
    Kept kept{};
    Length length{};
    if (record.key == kKeyRevision && Decode(hqos::kRevision, value, size, stored)) {
      revision = stored.value;
    } else if (record.key == kKeyPending && Decode(kPendingState, value, size, waiting)) {
      pending = waiting;
    } else if (record.key.starts_with(kKeyHistory) &&
               Decode(hqos::kKeptState, value, size, kept.what) &&
               Decode(kLength, value + hqos::kKeptState.size, size - hqos::kKeptState.size,
                      length) &&
               length.value <= hqos::kMaxStateFile) {
      kept.length = length.value;
      kept.file.assign(value + hqos::kKeptState.size + kLength.size, value + size);
      kept_[kept.what.revision] = std::move(kept);
    } else if (record.key.starts_with(kKeyHistoryPart)) {  // after all records of states
      const std::string number = record.key.substr(sizeof kKeyHistoryPart - 1);
      const auto found = kept_.find(std::strtoull(number.c_str(), nullptr, 10));
      if (found == kept_.end()) continue;
      found->second.file.insert(found->second.file.end(), value, value + size);
    }
  }
}

Bytes History::Export(uint64_t wanted) const {
  const auto found = kept_.find(wanted);
  if (found == kept_.end()) Refuse(HQOSD_NOT_FOUND, "the history has no revision {}", wanted);
  Bytes file(found->second.length);
  uLongf size = file.size();
  const Bytes& from = found->second.file;
  if (uncompress(file.data(), &size, from.data(), from.size()) != Z_OK || size != file.size()) {
    Refuse(HQOSD_NOT_FOUND, "revision {} of the history cannot be read", wanted);
  }
  return file;
}

Bytes History::List() const {
  Bytes list;
  for (const auto& [number, kept] : kept_) {
    const Bytes entry = Encoded(hqos::kKeptState, kept.what);
    list.insert(list.end(), entry.begin(), entry.end());
  }
  return list;
}

void History::Keep(KeptExport& present, const hqos::KeptState& what, std::vector<Change>& changes) {
  Kept& kept = kept_[what.revision] = {what, present.length(), present.Take()};
  Bytes value = Encoded(hqos::kKeptState, what);
  const Bytes length = Encoded(kLength, Length{kept.length});
  value.insert(value.end(), length.begin(), length.end());
  changes.push_back({KeyOf(what.revision), std::move(value), {}});
  for (size_t at = 0; at < kept.file.size(); at += kPartSize) {
    const auto part =
        std::span(kept.file).subspan(at).first(std::min(kPartSize, kept.file.size() - at));
    changes.push_back(
        {PartKeyOf(what.revision, at / kPartSize), Bytes(part.begin(), part.end()), {}});
  }
  size_t total = 0;
  for (const auto& [number, state] : kept_) total += state.file.size();
  while (kept_.size() > 1 && (kept_.size() > kMaxStates || total > kMaxBytes)) {
    total -= kept_.begin()->second.file.size();
    RemoveOldest(changes);
  }
}

void History::RemoveOldest(std::vector<Change>& changes) {
  const auto oldest = kept_.begin();
  changes.push_back({KeyOf(oldest->first), std::nullopt, {}});
  for (size_t at = 0; at < oldest->second.file.size(); at += kPartSize) {
    changes.push_back({PartKeyOf(oldest->first, at / kPartSize), std::nullopt, {}});
  }
  kept_.erase(oldest);
}

std::vector<Change> History::Rows(bool wasPending) const {
  std::vector<Change> rows{{kKeyRevision, Encoded(hqos::kRevision, hqos::Revision{revision}), {}}};
  if (pending) {
    rows.push_back({kKeyPending, Encoded(kPendingState, *pending), {}});
  } else if (wasPending) {
    rows.push_back({kKeyPending, std::nullopt, {}});
  }
  return rows;
}

}  // namespace hqosd
