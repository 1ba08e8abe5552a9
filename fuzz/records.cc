// Every record of the database. The first byte chooses the record, the rest is its bytes. What was
// decoded is encoded and decoded again; where an encoder keeps less than the decoder reads, it is
// brought into the form that is kept first.
#include <cstring>
#include <vector>

#include "dbmtype/stored_rule.h"
#include "fuzz/guard.h"
#include "lib/apply.h"
#include "lib/dp_info.h"
#include "lib/named_info.h"
#include "lib/payload.h"
#include "lib/sp_info.h"
#include "platform/hqosd_store.h"
#include "service/tlvs.h"

namespace {

using fuzz::Require;
using hqosd::Bytes;

template <class Record>
Record Blank() {
  Record record;
  std::memset(&record, 0x5A, sizeof record);
  return record;
}

template <class Record>
bool IsBlank(const Record& record) {
  const auto blank = Blank<Record>();
  return std::memcmp(&record, &blank, sizeof record) == 0;
}

template <class Record>
void RequireSame(const Record& a, const Record& b) {
  Require(std::memcmp(&a, &b, sizeof a) == 0, "a record is read as it was written");
}

void KeepStored(HQOS_MatchRule& rule) {
  if (!hqos::HasStoredRanges(rule.type)) rule = hqos::EmptyRule(rule.type);
}

uint16_t Length(const Bytes& bytes) { return static_cast<uint16_t>(bytes.size()); }

// ---- Records of the library ---------------------------------------------------------------------

// Reads with a Decap function that leaves its output when it fails.
template <class Record, class Decap>
bool Decode(Decap decap, const uint8_t* data, size_t size, Record& record) {
  record = Blank<Record>();
  if (decap(data, static_cast<uint16_t>(size), &record) == 0) return true;
  Require(IsBlank(record), "a record that cannot be read leaves the output");
  return false;
}

void SonCfg(const uint8_t* data, size_t size) {
  HQOS_SonCfg record, again;
  if (!Decode(HQOS_dbmtype_DecapSonCfg, data, size, record)) return;
  KeepStored(record.rule);
  Bytes bytes(1024);
  uint32_t headers;
  bytes.resize(HQOS_dbmtype_EncapSonCfg(&record, 1024, &headers, bytes.data()));
  Require(Decode(HQOS_dbmtype_DecapSonCfg, bytes.data(), bytes.size(), again), "it is read");
  RequireSame(record, again);
}

void Layer1(const uint8_t* data, size_t size) {
  HQOS_LayerRun record, again;
  if (!Decode(HQOS_dbmtype_DecapLayer1Run, data, size, record)) return;
  KeepStored(record.rule);
  record.path.field[0] = record.path.field[5] = HQOS_PATH_UNSET;
  Bytes bytes(1024);
  uint32_t headers;
  bytes.resize(HQOS_dbmtype_EncapLayer1Run(&record, 1024, &headers, bytes.data()));
  Require(Decode(HQOS_dbmtype_DecapLayer1Run, bytes.data(), bytes.size(), again), "it is read");
  RequireSame(record, again);
}

struct Layer2Record {
  HQOS_LayerRun parent = Blank<HQOS_LayerRun>();
  std::vector<HQOS_LayerRun> entries;
  uint32_t count = 0x5A5A5A5A;
};

bool DecodeLayer2(const uint8_t* data, size_t size, uint32_t room, Layer2Record& record) {
  record.entries.assign(room, Blank<HQOS_LayerRun>());
  if (HQOS_dbmtype_DecapLayer2Run(data, static_cast<uint16_t>(size), room, &record.parent,
                                  record.entries.data(), &record.count) != 0) {
    Require(IsBlank(record.parent) && record.count == 0x5A5A5A5A, "outputs are left");
    for (const HQOS_LayerRun& entry : record.entries) Require(IsBlank(entry), "entries are left");
    return false;
  }
  Require(record.count <= room, "entries fit");
  constexpr HQOS_LayerRun kZero{};
  for (size_t i = record.count; i < room; ++i) RequireSame(record.entries[i], kZero);
  return true;
}

// The first byte is the room for entries.
void Layer2(const uint8_t* data, size_t size) {
  if (size == 0) return;
  Layer2Record record, again;
  const uint32_t room = data[0];
  if (!DecodeLayer2(data + 1, size - 1, room, record)) return;
  HQOS_LayerRun& parent = record.parent;
  parent.path.field[0] = parent.path.field[5] = HQOS_PATH_UNSET;
  if (parent.path.field[3] == HQOS_PATH_UNSET) {
    const HQOS_SPSonPath path = parent.path;
    parent = {};
    parent.path = path;
  }
  for (uint32_t i = 0; i < record.count; ++i) {
    HQOS_LayerRun& entry = record.entries[i];
    const uint16_t field5 = entry.path.field[5];
    entry.path = parent.path;
    entry.path.field[5] = field5;
    entry.rule = hqos::EmptyRule(HQOS_MATCH_NONE);
  }
  Bytes bytes(1024 + 4);
  uint32_t headers;
  bytes.resize(HQOS_dbmtype_EncapLayer2Run(&parent, record.entries.data(), record.count,
                                           Length(bytes), &headers, bytes.data()));
  Require(DecodeLayer2(bytes.data(), bytes.size(), room, again), "it is read");
  RequireSame(parent, again.parent);
  Require(again.count <= record.count && (record.count > 40 || again.count == record.count),
          "entries are left out when there is no room for them");
  for (uint32_t i = 0; i < again.count; ++i) RequireSame(record.entries[i], again.entries[i]);
}

void FPRun(const uint8_t* data, size_t size) {
  HQOS_FPRun record, again;
  if (!Decode(HQOS_dbmtype_DecapFPRun, data, size, record)) return;
  Bytes bytes(1024);
  bytes.resize(HQOS_dbmtype_EncapFPRun(&record, 1024, bytes.data()));
  Require(Decode(HQOS_dbmtype_DecapFPRun, bytes.data(), bytes.size(), again), "it is read");
  RequireSame(record, again);
}

// ---- Records of the service ---------------------------------------------------------------------

// `encode` gives the bytes of what was read.
template <class Record, class Encode>
void Stored(int (*read)(const uint8_t*, size_t, Record*), const uint8_t* data, size_t size,
            const Encode& encode) {
  auto record = Blank<Record>();
  if (read(data, size, &record) == 0) {
    Require(IsBlank(record), "a record that cannot be read leaves the output");
    return;
  }
  const Bytes bytes = encode(record);
  auto again = Blank<Record>();
  Require(read(bytes.data(), bytes.size(), &again) == 1, "it is read");
  RequireSame(record, again);
}

template <class Record, class Layout>
void Flat(int (*read)(const uint8_t*, size_t, Record*), const Layout& layout, const uint8_t* data,
          size_t size) {
  Stored(read, data, size, [&](const Record& r) { return hqosd::Encoded(layout, r); });
}

Bytes EncodeFPCfg(const HQOS_FPCfg& record) {
  Bytes bytes(1024);
  bytes.resize(HQOS_dbmtype_EncapFPCfg(&record, 1024, bytes.data()));
  return bytes;
}

Bytes EncodeApply(const HQOS_ApplyInfo& record) {
  Bytes bytes;
  HQOS_ObjPayload sp{{}, HQOS_ID_NONE};
  std::memcpy(sp.name, record.sp.name, sizeof sp.name);
  hqosd::AppendRecord(bytes, HQOS_TLV_APPOBJ, hqos::kAppObj, record.obj);
  hqosd::AppendRecord(bytes, HQOS_TLV_SPNAME, hqos::kObjPayload, sp);
  return bytes;
}

using Fn = void (*)(const uint8_t*, size_t);
constexpr Fn kRecords[] = {
    SonCfg,
    Layer1,
    Layer2,
    FPRun,
    [](auto* d, size_t n) { Flat(HQOSD_ReadSP, hqos::kSPBase, d, n); },
    [](auto* d, size_t n) { Flat(HQOSD_ReadFG, hqos::kNamedInfo<HQOS_FGInfo>, d, n); },
    [](auto* d, size_t n) { Flat(HQOSD_ReadFC, hqos::kNamedInfo<HQOS_FCInfo>, d, n); },
    [](auto* d, size_t n) { Flat(HQOSD_ReadDP, hqos::kDPInfo, d, n); },
    [](auto* d, size_t n) { Stored(HQOSD_ReadFPCfg, d, n, EncodeFPCfg); },
    [](auto* d, size_t n) { Stored(HQOSD_ReadApply, d, n, EncodeApply); },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  if (size == 0) return 0;
  kRecords[data[0] % std::size(kRecords)](guard.Bytes(data + 1, size - 1), size - 1);
  return 0;
}
