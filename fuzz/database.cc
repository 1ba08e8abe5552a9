// The file of a store, damaged: the input is a sequence of changes, each a page and a place in it
// in two bytes each and the byte that is written there; 0xFFFF for the place fills the page with
// it. The service always starts, serves only records that were stored, and repairs the store for
// good.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz/invariants.h"
#include "fuzz/require.h"
#include "service/store/load.h"
#include "service/store/rows.h"
#include "service/store/schema.h"

namespace {

namespace fs = std::filesystem;
using hqosd::Bytes;
using hqosd::OpenStore;
using hqosd::Purpose;

constexpr size_t kPage = 512;  // the smallest: few records fill many pages

// A directory for one input; in memory if possible, where nothing waits for a disk.
class Directory {
 public:
  Directory() {
    const fs::path base =
        access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
    dir_ = base / ("hqos-database-" + std::to_string(getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  ~Directory() { fs::remove_all(dir_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  std::string File() const { return dir_ / "store.db"; }

 private:
  fs::path dir_;
};

std::vector<hqosd::StoredRecord> Read(hqosd::Store& store) {
  std::vector<hqosd::StoredRecord> records;
  const std::string why = store.Read(records);
  if (!why.empty()) fuzz::Require(false, "an open store is read:", why);
  return records;
}

// A store of 60 FGs, and its bytes.
std::string MakeStore(std::map<std::string, Bytes>& rows) {
  const Directory dir;
  const std::string file = dir.File();
  hqosd::Database empty;
  fuzz::Require(hqosd::OpenDatabase(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, empty) &&
                    hqosd::Execute(empty.get(), "PRAGMA page_size = 512; VACUUM"),
                "a database is made");
  empty.reset();
  std::string why;
  auto store = OpenStore(file, Purpose::Serve, why);
  hqosd::Model model;
  for (uint16_t i = 0; i < 60; ++i) model.fgs.Add("fg" + std::to_string(i), i);
  std::vector<hqosd::Change> changes = hqosd::TakeChanges(model);
  changes.push_back({"VERSION", hqosd::VersionValue(), {}});
  fuzz::Require(store != nullptr && store->Write(changes).empty(), "a store is made");
  for (const auto& record : Read(*store)) rows[record.key] = record.value;
  store.reset();
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void Damage(std::string& bytes, const uint8_t* data, size_t size) {
  for (; size >= 5; data += 5, size -= 5) {
    const size_t page = (data[0] * 256u + data[1]) % (bytes.size() / kPage) * kPage;
    const size_t at = data[2] * 256u + data[3];
    if (at == 0xFFFF) {
      std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(page), kPage, data[4]);
    } else {
      bytes[page + at % kPage] = static_cast<char>(data[4]);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::map<std::string, Bytes> rows;
  static const std::string good = MakeStore(rows);
  const Directory dir;
  const std::string file = dir.File();
  std::string bytes = good, why;
  Damage(bytes, data, size);
  std::ofstream(file, std::ios::binary) << bytes;

  auto store = OpenStore(file, Purpose::Serve, why);
  if (store == nullptr) fuzz::Require(why.starts_with("its version is"), "it starts:", why);
  if (store == nullptr) return 0;
  hqosd::Model model;
  const auto records = Read(*store);
  const auto repairs = hqosd::Load(records, model);
  fuzz::CheckInvariants(model);
  for (const auto& record : records) {
    const bool isKnown = rows.contains(record.key) && rows.at(record.key) == record.value;
    fuzz::Require(isKnown || !record.isSound, "a sound record was stored:", record.key);
  }
  fuzz::Require(store->Write(repairs).empty(), "a store is repaired");
  hqosd::Model again;
  fuzz::Require(hqosd::Load(Read(*store), again).empty(), "once is enough");
  return 0;
}
