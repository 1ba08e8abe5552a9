// The reader of files with a state, and the transactions that they are. The input is such a file;
// it is tried as it is, and with the length and the number of commands that it really has.
#include "fuzz/guard.h"
#include "fuzz/invariants.h"
#include "service/requests/state.h"
#include "service/store/differences.h"
#include "tests/in_process.h"

namespace {

using fuzz::Require;
using hqosd::Model;
using Rows = std::map<std::string, hqosd::Bytes>;

// As many slices as there are steps.
const hqosd::Slice kShort{std::chrono::seconds(-1)};
const hqosd::Slice kWhole;

void Change(const Model& from, Model& to, Rows& rows) {
  hqosd::Differences differences(from, to);
  differences.Step(kShort);
  differences.Step(kWhole);
  for (hqosd::Change& change : differences.Changes()) {
    if (change.value)
      rows[change.key] = std::move(*change.value);
    else
      Require(rows.erase(change.key) == 1, "only what is there is removed:", change.key);
  }
}

// What the state gets to by the file; nothing when that is refused.
std::unique_ptr<hqosd::TransactionRun> Run(const Model& model, std::span<const uint8_t> bytes,
                                           hqosd::StateFile& file) try {
  hqosd::StateReader reader(bytes);
  reader.Step(kWhole, file);
  auto run = std::make_unique<hqosd::TransactionRun>(model, file);
  run->Step(kWhole);
  if (!run->Refusals().empty()) return nullptr;
  fuzz::CheckInvariants(run->Result());
  return run;
} catch (const hqosd::Refusal&) {
  return nullptr;
}

void Try(std::span<const uint8_t> bytes) {
  wire::FakeInterfaces interfaces;
  interfaces.Add("lo", 1);
  Model nothing;
  nothing.interfaces = &interfaces;
  hqosd::StateFile first, second, third;
  const auto before = Run(nothing, bytes, first);
  if (before == nullptr) return;
  Model& old = before->Result();
  Rows rows, all;
  Change(nothing, old, rows);
  const auto after = Run(old, bytes, second);
  if (after == nullptr) return;
  Change(old, after->Result(), rows);
  Model copy = after->Result().Copy();
  Change(nothing, copy, all);
  Require(rows == all, "the differences lead to the new rows");
  const hqosd::Bytes exported = hqosd::ExportState(after->Result(), 1);
  const auto restored = Run(nothing, exported, third);
  Require(restored != nullptr, "what is exported can be restored");
  Require(hqosd::ExportState(restored->Result(), 1) == exported, "and is the same then");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  uint8_t* const bytes = guard.Bytes(data, size);
  Try({bytes, size});
  hqos::StateHead head{};
  if (!Decode(hqos::kStateHead, bytes, size, head)) return 0;
  head.length = size;
  Encode(hqos::kStateHead, head, bytes);
  hqosd::StateFile file;
  try {
    hqosd::StateReader({bytes, size}).Step(kWhole, file);
  } catch (const hqosd::Refusal&) {
    head.commands = static_cast<uint32_t>(file.commands.size());
    Encode(hqos::kStateHead, head, bytes);
    Try({bytes, size});
  }
  return 0;
}
