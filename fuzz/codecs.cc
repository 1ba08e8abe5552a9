// Everything that is decoded and can be encoded again: FPs, bulk requests, records and keys of the
// database, view names. The first byte chooses the kind, the rest is its bytes or its text. What
// was decoded is encoded and decoded again; where an encoder keeps less than the decoder reads, it
// is brought into the form that is kept first.
#include <cstring>
#include <memory>
#include <vector>

#include "dbmtype/records.h"
#include "fuzz/guard.h"
#include "msg/records.h"
#include "service/model/tlvs.h"
#include "service/store/records.h"

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
bool IsSame(const Record& a, const Record& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// `decode` returns whether the bytes are a record, `keep` brings one into the form that is kept,
// `encode` writes it into 1,500 bytes and returns how many it took.
template <class Record, class Decode, class Keep, class Encode>
void RoundTrip(const uint8_t* data, size_t size, Decode decode, Keep keep, Encode encode) {
  auto record = Blank<Record>(), again = Blank<Record>();
  if (!decode(data, static_cast<uint16_t>(size), record)) {
    Require(IsSame(record, Blank<Record>()), "a record that cannot be read leaves the output");
    return;
  }
  keep(record);
  Bytes bytes(HQOS_MSG_MAX);
  bytes.resize(encode(record, bytes.data()));
  Require(decode(bytes.data(), static_cast<uint16_t>(bytes.size()), again), "it is read");
  Require(IsSame(record, again), "a record is read as it was written");
}

void KeepStored(HQOS_MatchRule& rule) {
  if (!hqos::HasStoredRanges(rule.type)) rule = hqos::EmptyRule(rule.type);
}

// ---- Records of the library ---------------------------------------------------------------------

template <class Record, auto decap, auto encap, class Keep>
void Stored(const uint8_t* data, size_t size, Keep keep) {
  uint32_t headers;
  RoundTrip<Record>(
      data, size, [](auto* d, uint16_t n, Record& r) { return decap(d, n, &r) == 0; }, keep,
      [&](const Record& r, uint8_t* out) { return encap(&r, 1024, &headers, out); });
}

void SonCfg(const uint8_t* data, size_t size) {
  Stored<HQOS_SonCfg, HQOS_dbmtype_DecapSonCfg, HQOS_dbmtype_EncapSonCfg>(
      data, size, [](HQOS_SonCfg& r) { KeepStored(r.rule); });
}

void Layer1(const uint8_t* data, size_t size) {
  Stored<HQOS_LayerRun, HQOS_dbmtype_DecapLayer1Run, HQOS_dbmtype_EncapLayer1Run>(
      data, size, [](HQOS_LayerRun& r) {
        KeepStored(r.rule);
        r.path.field[0] = r.path.field[5] = HQOS_PATH_UNSET;
      });
}

constexpr uint32_t kEntries = 64;  // more than a record holds

struct Layer2Record {
  HQOS_LayerRun parent, entries[kEntries];
  uint32_t count;
};

void KeepLayer2(Layer2Record& r) {
  r.parent.path.field[0] = r.parent.path.field[5] = HQOS_PATH_UNSET;
  if (r.parent.path.field[3] == HQOS_PATH_UNSET) {
    const HQOS_SPSonPath path = r.parent.path;
    r.parent = {};
    r.parent.path = path;
  }
  for (uint32_t i = 0; i < kEntries; ++i) {
    const uint16_t field5 = r.entries[i].path.field[5];
    if (i >= 40) r.entries[i] = {}, r.count = std::min(r.count, 40u);  // so many always fit
    if (i >= r.count) continue;
    r.entries[i].path = r.parent.path;
    r.entries[i].path.field[5] = field5;
    r.entries[i].rule = hqos::EmptyRule(HQOS_MATCH_NONE);
  }
}

void Layer2(const uint8_t* data, size_t size) {
  uint32_t headers;
  RoundTrip<Layer2Record>(
      data, size,
      [](const uint8_t* d, uint16_t n, Layer2Record& r) {
        const bool isRead =
            HQOS_dbmtype_DecapLayer2Run(d, n, kEntries, &r.parent, r.entries, &r.count) == 0;
        Require(!isRead || r.count <= kEntries, "entries fit");
        constexpr HQOS_LayerRun kZero{};
        for (uint32_t i = r.count; isRead && i < kEntries; ++i) {
          Require(IsSame(r.entries[i], kZero), "the other entries are zero");
        }
        return isRead;
      },
      KeepLayer2,
      [&](const Layer2Record& r, uint8_t* out) {
        return HQOS_dbmtype_EncapLayer2Run(&r.parent, r.entries, r.count, 1028, &headers, out);
      });
}

void FPRun(const uint8_t* data, size_t size) {
  RoundTrip<HQOS_FPRun>(
      data, size,
      [](auto* d, uint16_t n, auto& r) { return HQOS_dbmtype_DecapFPRun(d, n, &r) == 0; },
      [](auto&) {}, [](auto& r, uint8_t* out) { return HQOS_dbmtype_EncapFPRun(&r, 1024, out); });
}

void FPInfo(const uint8_t* data, size_t size) {
  RoundTrip<HQOS_FPInfo>(
      data, size, [](auto* d, uint16_t n, auto& r) { return HQOS_msg_DecapFPInfo(d, n, &r), true; },
      [](auto&) {},
      [](auto& r, uint8_t* out) { return HQOS_msg_EncapFPInfo(&r, 104 + 5 * 4, out); });
}

struct BulkRequest {
  HQOS_AppObj obj;
  HQOS_SPSonPath start;
  uint32_t count;
};

// Where the record has nothing, what is set before stays.
void Bulk(const uint8_t* data, size_t size) {
  RoundTrip<BulkRequest>(
      data, size,
      [](auto* d, uint16_t n, BulkRequest& r) {
        r.obj = {HQOS_APPOBJ_SYSTEM, 0, 0, {}};
        return HQOS_msg_DecapBulkReq(d, n, &r.obj, &r.start, &r.count) == 0;
      },
      [](auto&) {},
      [](auto& r, uint8_t* out) {
        return HQOS_msg_EncapBulkReq(&r.obj, &r.start, r.count, HQOS_MSG_MAX, out);
      });
}

// A head takes as many bytes as it says, at most 8, and leaves the rest.
void Head(const uint8_t* msg, size_t size) {
  if (size == 0) return;
  uint8_t head[HQOS_MSGHEAD_LEN];
  std::memset(head, 0x5A, sizeof head);
  const uint32_t status = HQOS_msg_DecapMsgHead(msg, static_cast<uint32_t>(size), head);
  Require((status == 0) == (msg[0] <= size), "a head is whole");
  for (size_t i = 0; i < sizeof head; ++i) {
    Require(head[i] == (status == 0 && i < msg[0] ? msg[i] : 0x5A), "a head is copied");
  }
}

// ---- Records of the service ---------------------------------------------------------------------

template <auto read, class Record, class Encode>
void Own(const uint8_t* data, size_t size, Encode encode) {
  RoundTrip<Record>(
      data, size, [](auto* d, uint16_t n, Record& r) { return read(d, n, r); }, [](auto&) {},
      encode);
}

template <auto read, class Record, class Layout>
void Flat(const Layout& layout, const uint8_t* data, size_t size) {
  Own<read, Record>(data, size, [&](const Record& r, uint8_t* out) {
    Encode(layout, r, out);
    return Layout::size;
  });
}

size_t EncodeApply(const HQOS_ApplyInfo& record, uint8_t* out) {
  Bytes bytes;
  HQOS_ObjPayload sp{{}, HQOS_ID_NONE};
  std::memcpy(sp.name, record.sp.name, sizeof sp.name);
  hqosd::AppendRecord(bytes, HQOS_TLV_APPOBJ, hqos::kAppObj, record.obj);
  hqosd::AppendRecord(bytes, HQOS_TLV_SPNAME, hqos::kObjPayload, sp);
  std::memcpy(out, bytes.data(), bytes.size());
  return bytes.size();
}

// ---- Texts --------------------------------------------------------------------------------------

// What a text holds: texts in room of exactly the sizes that the header gives, numbers, a rule.
struct Parts {
  std::unique_ptr<char[]> text[2];
  uint32_t number[2] = {0x5A, 0x5A};
  HQOS_MatchRule rule{HQOS_MATCH_NONE, {}};

  explicit Parts(const size_t (&sizes)[2]) {
    for (int i = 0; i < 2; ++i) text[i] = std::make_unique<char[]>(sizes[i]);
  }
  std::string Text(int i) const { return text[i].get(); }
};

constexpr struct {
  size_t sizes[2];
  bool (*read)(const char* text, Parts& parts);
  std::string (*write)(const Parts& parts);
} kTexts[] = {
    {{1, 1},
     [](const char* text, Parts& p) {
       return HQOS_dbmtype_DecapIfRunKey(1, text, &p.number[1], &p.number[0]), true;
     },
     [](const Parts& p) {
       char key[HQOS_DBKEY_SIZE];
       HQOS_dbmtype_EncapIfRunKey(p.number[0] % 4, p.number[1], p.number[0], key);
       return std::string(key);
     }},
    {{HQOS_APPOBJ_NAME_SIZE, 1},
     [](const char* text, Parts& p) {
       return HQOS_dbmtype_DecapIfCfgKey(text, p.text[0].get(), &p.number[0]), true;
     },
     [](const Parts& p) { return "IFCFG-" + std::to_string(p.number[0]) + "-" + p.Text(0); }},
    {{HQOS_NAME_SIZE, 1},
     [](const char* text, Parts& p) {
       return HQOS_dbmtype_DecapNestKey(1, text, p.text[0].get()) == 1;
     },
     [](const Parts& p) { return "SP-nest-" + p.Text(0); }},
    {{HQOS_NAME_SIZE, 1},
     [](const char* text, Parts& p) {
       return HQOS_dbmtype_DecapNestKey(2, text, p.text[0].get()) == 1;
     },
     [](const Parts& p) { return "FG-nest-" + p.Text(0); }},
    {{HQOS_NAME_SIZE, 1},
     [](const char* text, Parts& p) {
       return HQOS_util_GetNameByCmdView(text, p.text[0].get()) == 0;
     },
     [](const Parts& p) { return "a-b-" + p.Text(0); }},
    {{HQOS_VIEW_OBJ_SIZE, HQOS_NAME_SIZE},
     [](const char* text, Parts& p) {
       return HQOS_util_GetObjByCmdView(text, p.text[0].get(), p.text[1].get()) == 0;
     },
     [](const Parts& p) { return "a-" + p.Text(0) + "-" + p.Text(1); }},
    {{HQOS_VIEW_OBJ_SIZE, HQOS_SUBVIEW_NAME_SIZE},
     [](const char* text, Parts& p) {
       return HQOS_util_GetInfoBySubCmdView(text, p.text[0].get(), p.text[1].get(), &p.rule) == 0 &&
              p.rule.type <= 9999;
     },
     [](const Parts& p) {
       char rule[HQOS_MATCHRULE_STR_SIZE];
       HQOS_util_MatchRuleToStr(&p.rule, rule);
       return "a-" + p.Text(0) + "-" + p.Text(1) + "-" + rule;
     }},
};

void CheckText(size_t kind, const char* text) {
  const auto& codec = kTexts[kind];
  Parts parts(codec.sizes), again(codec.sizes);
  if (!codec.read(text, parts)) return;
  Require(codec.read(codec.write(parts).c_str(), again), "it is read");
  Require(IsSame(parts.number, again.number) && IsSame(parts.rule, again.rule), "numbers are kept");
  for (int i = 0; i < 2; ++i) {
    Require(std::strstr(text, parts.Text(i).c_str()) != nullptr, "it is part of the text");
    Require(parts.Text(i) == again.Text(i), "a text is read as it was written");
  }
}

using Fn = void (*)(const uint8_t*, size_t);
constexpr Fn kRecords[] = {
    SonCfg,
    Layer1,
    Layer2,
    FPRun,
    [](auto* d, size_t n) { Flat<hqosd::DecodeSP, HQOS_SPInfo>(hqos::kSPBase, d, n); },
    [](auto* d, size_t n) {
      Flat<hqosd::DecodeFG, HQOS_FGInfo>(hqos::kNamedInfo<HQOS_FGInfo>, d, n);
    },
    [](auto* d, size_t n) {
      Flat<hqosd::DecodeFC, HQOS_FCInfo>(hqos::kNamedInfo<HQOS_FCInfo>, d, n);
    },
    [](auto* d, size_t n) { Flat<hqosd::DecodeDP, HQOS_DPInfo>(hqos::kDPInfo, d, n); },
    [](auto* d, size_t n) {
      Own<hqosd::DecodeFPCfg, HQOS_FPCfg>(
          d, n, [](auto& r, uint8_t* out) { return HQOS_dbmtype_EncapFPCfg(&r, 1024, out); });
    },
    [](auto* d, size_t n) { Own<hqosd::DecodeApply, HQOS_ApplyInfo>(d, n, EncodeApply); },
    FPInfo,
    Head,
    Bulk,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  if (size == 0) return 0;
  const size_t kind = data[0] % (std::size(kRecords) + std::size(kTexts));
  if (kind < std::size(kRecords)) {
    kRecords[kind](guard.Bytes(data + 1, size - 1), size - 1);
  } else {
    CheckText(kind - std::size(kRecords), guard.Text(data + 1, size - 1));
  }
  return 0;
}
