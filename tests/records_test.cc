// Database keys and records. Records are persisted: their bytes are written out here by hand.
#include "tests/records.h"

#include <gtest/gtest.h>

#include <string>

#include "hqos.h"
#include "tests/rule_bytes.h"

namespace {

using namespace wire;

const std::string kLong(60, 'n');

TEST(Keys, OfRunRecordsAreWrittenAndRead) {
  const struct {
    uint32_t layer, second, first;
    const char* key;
  } cases[] = {{1, 7, 100, "IFRUN-100-7-SP"},
               {2, 7, 100, "IFRUN-100-7-L1"},
               {0, 0, 0, "IFRUN-0-0-L2"},
               {99, 0xFFFFFFFF, 0xFFFFFFFE, "IFRUN-4294967294-4294967295-L2"}};
  for (const auto& c : cases) {
    char key[HQOS_DBKEY_SIZE];
    EXPECT_EQ(HQOS_dbmtype_EncapIfRunKey(c.layer, c.second, c.first, key), strlen(c.key));
    EXPECT_STREQ(key, c.key);
    uint32_t second = 1, first = 1;
    HQOS_dbmtype_DecapIfRunKey(c.layer, c.key, &second, &first);
    EXPECT_EQ(second, c.second);
    EXPECT_EQ(first, c.first);
  }
  uint32_t second = 1, first = 1;
  HQOS_dbmtype_DecapIfRunKey(1, "IFRUN-5", &second, &first);
  EXPECT_EQ(first, 5u);
  EXPECT_EQ(second, 0u);
}

TEST(Keys, OfConfigurationAreRead) {
  const struct {
    std::string key, name;
    uint32_t number;
  } cases[] = {{"IFCFG-4294967295-" + kLong, kLong.substr(0, 47), 0xFFFFFFFF},
               {"IFCFG-3-a b", "a", 3},
               {"IFCFG-3", "", 3},
               {"IFRUN-3-a", "", 0}};
  for (const auto& c : cases) {
    char name[HQOS_APPOBJ_NAME_SIZE] = "before";
    uint32_t number = 99;
    HQOS_dbmtype_DecapIfCfgKey(c.key.c_str(), name, &number);
    EXPECT_EQ(name, c.name) << c.key;
    EXPECT_EQ(number, c.number) << c.key;
  }
  const struct {
    uint32_t kind;
    std::string key, name;
    int result;
  } nests[] = {{1, "SP-nest-gold\r\n", "gold", 1},
               {2, "SP-nest-gold", "before", 0},
               {0, "FG-nest-a b-c\ny", "a b-c", 1},
               {1, "SP-nest-\nx", "before", 0},
               {1, "SP-nest-" + kLong, kLong.substr(0, 31), 1},
               {1, "SP-nest-", "before", -1},
               {1, "SP-n", "before", -1}};
  for (const auto& c : nests) {
    char name[HQOS_NAME_SIZE] = "before";
    EXPECT_EQ(HQOS_dbmtype_DecapNestKey(c.kind, c.key.c_str(), name), c.result) << c.key;
    EXPECT_EQ(name, c.name) << c.key;
  }
}

// A record written by `encap(record, room, &outLen, out)`, whose length is checked.
template <class Encap, class Record>
Bytes Written(Encap encap, const Record& record, uint16_t room = 300) {
  Bytes out(room);
  uint32_t outLen = 0;
  out.resize(encap(&record, room, &outLen, out.data()));
  EXPECT_EQ(outLen, 8u);
  return out;
}

// What `decap(record, length, &read)` returns, and what it reads.
template <class Record, class Decap>
std::pair<uint32_t, Record> Read(Decap decap, const Bytes& record) {
  std::pair<uint32_t, Record> result(0, Filled<Record>(kBefore));
  result.first = decap(record.data(), static_cast<uint16_t>(record.size()), &result.second);
  return result;
}

// Rules as children and nodes keep them: without ranges where the type has no values.
const Bytes kRanges = Tlv(10, Bytes(kRuleBytes.begin() + 4, kRuleBytes.end()));
HQOS_MatchRule OfType(uint32_t type) {
  HQOS_MatchRule rule = kRule;
  rule.type = type;
  return rule;
}
bool HasRanges(uint32_t type) { return type != 1 && type != 6 && type != 7; }
Bytes RangesOf(uint32_t type) { return HasRanges(type) ? kRanges : Bytes(); }
HQOS_MatchRule KeptOf(uint32_t type) { return HasRanges(type) ? OfType(type) : Rule(type, {}); }

// ---- Children -----------------------------------------------------------------------------------

HQOS_SonCfg Son(const HQOS_MatchRule& rule) { return {0x0102, 0x0304, "one", "two", rule}; }
Bytes Fixed(uint8_t type) {
  return Tlv(1, Hex("0201 0403") + Field("one", 32) + Field("two", 32) + Bytes{type, 0, 0, 0});
}

TEST(SonCfg, IsStoredAndRead) {
  for (const uint8_t type : Bytes{0, 1, 2, 6, 7, 8}) {
    const Bytes bytes = Tlv(1, Fixed(type) + RangesOf(type));
    EXPECT_EQ(Written(HQOS_dbmtype_EncapSonCfg, Son(OfType(type))), bytes);
    const auto [status, read] = Read<HQOS_SonCfg>(HQOS_dbmtype_DecapSonCfg, bytes);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(Same(read, Son(KeptOf(type)))) << int{type};
    Bytes out(300);
    uint32_t outLen = 0;
    const HQOS_SonCfg son = Son(OfType(type));
    EXPECT_EQ(HQOS_dbmtype_EncapSonCfg(&son, static_cast<uint16_t>(bytes.size() - 1), &outLen,
                                       out.data()),
              0u);
  }
}

TEST(SonCfg, IsReadFromWhateverComes) {
  const Bytes fixed = Fixed(2);
  const struct {
    const char* what;
    Bytes record;
    HQOS_SonCfg expected;
  } cases[] = {
      {"other outer type", Tlv(77, fixed + kRanges) + Hex("ff"), Son(kRule)},
      {"ranges first", Tlv(1, kRanges + fixed), Son(Rule(2, {}))},
      {"strangers", Tlv(1, Tlv(9, {}) + fixed + Tlv(8, Bytes(99)) + kRanges), Son(kRule)},
      {"short ranges", Tlv(1, fixed + Tlv(10, Bytes(31))), Son(Rule(2, {}))},
      {"names without NUL",
       Tlv(1, Tlv(1, Hex("0201 0403") + kFullName + kFullName + Hex("02000000"))),
       {0x0102, 0x0304, WIRE_NAME, WIRE_NAME, Rule(2, {})}},
      {"short fixed part", Tlv(1, Tlv(1, Bytes(71, 1))), {}},
  };
  for (const auto& c : cases) {
    const auto [status, read] = Read<HQOS_SonCfg>(HQOS_dbmtype_DecapSonCfg, c.record);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(Same(read, c.expected)) << c.what;
  }
}

// ---- Layers -------------------------------------------------------------------------------------

HQOS_LayerRun NodeRun(HQOS_SPSonPath path, const HQOS_MatchRule& rule) {
  auto run = Filled<HQOS_LayerRun>(0);
  run.path = path, run.value16 = 0x0102, run.value32 = 0x11121314, run.rule = rule;
  for (uint8_t i = 0; i < 8; ++i) run.hostData[i] = static_cast<uint8_t>(i + 0x21);
  return run;
}
Bytes Node(uint8_t type) {
  return Tlv(8, Hex("0102 0000 11121314 2122232425262728") + Bytes{0, 0, 0, type});
}
Bytes Child(const std::string& level) {
  return Tlv(9, Hex(level) + Hex("0102 11121314 2122232425262728"));
}
constexpr uint16_t kNone = 0xFFFF;
const HQOS_SPSonPath kPath{{9, 1, 2, 3, 4, 5}}, kReadPath{{kNone, 1, 2, 3, 4, kNone}};
const Bytes kPathTlv = Tlv(7, Hex("0001 0002 0003 0004"));

TEST(LayerRun, OfLayer1IsStoredAndRead) {
  for (const uint8_t type : Bytes{0, 1, 2, 6, 7}) {
    const Bytes bytes = Tlv(4, kPathTlv + Node(type) + RangesOf(type));
    EXPECT_EQ(Written(HQOS_dbmtype_EncapLayer1Run, NodeRun(kPath, OfType(type))), bytes);
    const auto [status, read] = Read<HQOS_LayerRun>(HQOS_dbmtype_DecapLayer1Run, bytes);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(Same(read, NodeRun(kReadPath, KeptOf(type))));
  }
}

struct Layer2 {
  HQOS_LayerRun parent, entries[3];
  uint32_t status, count = 99;
  explicit Layer2(const Bytes& record, uint32_t max = 3) {
    memset(&parent, kBefore, sizeof parent);
    memset(entries, kBefore, sizeof entries);
    status = HQOS_dbmtype_DecapLayer2Run(record.data(), static_cast<uint16_t>(record.size()), max,
                                         &parent, entries, &count);
  }
};
Bytes WrittenLayer2(const HQOS_LayerRun& parent, const std::vector<HQOS_LayerRun>& entries) {
  const auto encap = [&](auto* run, uint16_t room, uint32_t* outLen, uint8_t* out) {
    return HQOS_dbmtype_EncapLayer2Run(run, entries.data(), static_cast<uint32_t>(entries.size()),
                                       room, outLen, out);
  };
  return Written(encap, parent, 1500);
}
HQOS_LayerRun Entry(uint16_t level) { return NodeRun({{kNone, 1, 2, 3, 4, level}}, Rule(7, {})); }

TEST(LayerRun, OfLayer2IsStoredAndRead) {
  const HQOS_LayerRun parent = NodeRun(kPath, OfType(6)), child = NodeRun(kPath, kRule);
  const HQOS_LayerRun stranger = NodeRun({{1, 1, 1, 1, 1, 0x0506}}, kRule);
  const Bytes bytes = Tlv(5, kPathTlv + Node(6) + kRanges + Child("0506") + Child("0005"));
  EXPECT_EQ(WrittenLayer2(parent, {stranger, child}), bytes);
  const Layer2 read(bytes);
  EXPECT_TRUE(Same(read.parent, NodeRun(kReadPath, OfType(6))));
  ASSERT_EQ(read.count, 2u);
  EXPECT_TRUE(Same(read.entries[0], Entry(0x0506)));
  EXPECT_TRUE(Same(read.entries[1], Entry(5)));
  EXPECT_TRUE(Same(read.entries[2], Filled<HQOS_LayerRun>(0)));
  const Layer2 one(bytes, 1);
  EXPECT_EQ(one.count, 1u);
  EXPECT_EQ(one.entries[1].value16, 0xEEEE);

  // Without field 3 the node itself is not stored.
  const Bytes half = Tlv(5, Tlv(7, Hex("0001 0002 ffff 0004")) + Child("0506"));
  EXPECT_EQ(WrittenLayer2(NodeRun({{9, 1, 2, kNone, 4, 5}}, kRule), {stranger}), half);
  const Layer2 bare(half);
  EXPECT_EQ(bare.entries[0].path.field[3], kNone);
  EXPECT_TRUE(Same(bare.parent.rule, {}));
  // What does not fit into 1024 bytes is left out: 12 + 24 + 36 and 47 entries of 20 do.
  EXPECT_EQ(WrittenLayer2(child, std::vector(60, child)).size(), 4u + 72 + 47 * 20);
}

TEST(LayerRun, OfLayer2IsReadFromWhateverComes) {
  const Layer2 strange(Tlv(77, Child("0001") + kPathTlv + Tlv(9, Bytes(15)) + Tlv(1, {}) +
                                   Tlv(7, Bytes(7)) + Tlv(8, Bytes(19)) + Child("0005")));
  ASSERT_EQ(strange.count, 2u);
  EXPECT_EQ(strange.entries[0].path.field[1], 0);  // the path came later
  EXPECT_TRUE(Same(strange.entries[1], Entry(5)));
  EXPECT_EQ(strange.parent.value16, 0);
  EXPECT_EQ(Layer2(Tlv(5, {})).count, 0u);
  EXPECT_EQ(Layer2(Hex("0005 0001")).count, 99u);
}

// ---- FPs ----------------------------------------------------------------------------------------

// The settings, and their bytes followed by the reference.
template <class Record>
void FillSettings(Record& record, uint32_t flags) {
  if (flags & 1) {
    for (uint32_t i = 0; i < 4; ++i) record.gts[i] = 0x11121314 + i * 0x10101010;
  }
  if (flags & 4) {
    for (uint32_t i = 0; i < 3; ++i) record.queue[i] = 0x51525354 + i * 0x10101010;
  }
  if (flags & 8) record.bandwidth = 0x81828384;
}
Bytes Settings(uint32_t flags, const Bytes& reference) {
  const Bytes none;
  return (flags & 1 ? Tlv(3, Hex("11121314 21222324 31323334 41424344")) : none) +
         (flags & 4 ? Tlv(4, Hex("51525354 61626364 71727374")) : none) +
         (flags & 8 ? Tlv(5, Hex("81828384")) : none) + (flags & 2 ? Tlv(6, reference) : none);
}

TEST(FPRecords, AreStoredAsTheirFlagsSay) {
  const std::string dirty("dp\0dirt", 7);
  for (uint32_t flags = 0; flags < 32; ++flags) {
    auto cfg = Filled<HQOS_FPCfg>(0);
    FillSettings(cfg, 15);
    memset(cfg.name, 'n', sizeof cfg.name);
    dirty.copy(cfg.dpName, dirty.size());
    cfg.id = 0x0102, cfg.flags = flags;
    Bytes out(300);
    out.resize(HQOS_dbmtype_EncapFPCfg(&cfg, 300, out.data()));
    EXPECT_EQ(out, Tlv(2, Tlv(2, Field(std::string(31, 'n'), 32) + Hex("0102 0000")) +
                              Settings(flags, Field(dirty, 32))));

    auto run = Filled<HQOS_FPRun>(0);
    run.id = 0x0102, run.flags = flags, run.value16 = 0x0304;
    HQOS_FPRun expected = run;
    FillSettings(run, 15), run.dpId = 0x1234;
    out.resize(300);
    out.resize(HQOS_dbmtype_EncapFPRun(&run, 300, out.data()));
    EXPECT_EQ(out, Tlv(3, Tlv(2, Hex("0102 0304")) + Settings(flags, Hex("00001234"))));
    expected.flags = flags & 15;
    FillSettings(expected, flags);
    if (flags & 2) expected.dpId = 0x1234;
    const auto [status, read] = Read<HQOS_FPRun>(HQOS_dbmtype_DecapFPRun, out);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(Same(read, expected)) << flags;
  }
  // Of the reference the low half alone is read.
  const Bytes high = Tlv(3, Tlv(2, Hex("0102 0304")) + Settings(15, Hex("ffff1234")));
  EXPECT_EQ(Read<HQOS_FPRun>(HQOS_dbmtype_DecapFPRun, high).second.dpId, 0x1234);
}

TEST(Records, AreReadNeverBeyondTheirEnd) {
  const Bytes records[] = {Tlv(1, Fixed(2) + kRanges), Tlv(4, kPathTlv + Node(2) + kRanges),
                           Tlv(5, kPathTlv + Node(2) + kRanges + Child("0001")),
                           Tlv(3, Tlv(2, Hex("0102 0304")) + Settings(15, Bytes(4)))};
  for (const Bytes& whole : records) {
    for (const Bytes& record : Damaged(whole)) {
      const auto [status, fp] = Read<HQOS_FPRun>(HQOS_dbmtype_DecapFPRun, record);
      EXPECT_EQ(Read<HQOS_SonCfg>(HQOS_dbmtype_DecapSonCfg, record).first, status);
      EXPECT_EQ(Read<HQOS_LayerRun>(HQOS_dbmtype_DecapLayer1Run, record).first, status);
      EXPECT_EQ(Layer2(record).status, status);
      if (record.size() == whole.size()) continue;
      EXPECT_EQ(status, uint32_t{HQOS_ERR_FAILED});
      EXPECT_TRUE(IsUntouched(fp));
    }
  }
}

}  // namespace
