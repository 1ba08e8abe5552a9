// Database keys and records. Records are persisted: their bytes are written out here by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "hqos.h"
#include "tests/rule_bytes.h"

namespace {

using wire::Bytes;
using wire::Field;
using wire::Hex;
using wire::kRule;
using wire::kRuleBytes;
using wire::Tlv;
using wire::operator+;

template <class Record>
bool Same(const Record& a, const Record& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

// A record all of whose bytes, padding too, are zero, then filled in by `fill`.
template <class Record, class Fill>
Record Filled(Fill fill) {
  Record record;
  memset(&record, 0, sizeof record);
  fill(record);
  return record;
}

HQOS_MatchRule Empty(uint32_t type) {
  HQOS_MatchRule rule{type, {}};
  memset(rule.ranges, 0xFF, sizeof rule.ranges);
  return rule;
}
const Bytes kRanges = Tlv(10, Bytes(kRuleBytes.begin() + 4, kRuleBytes.end()));

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
    for (const uint32_t layer : {c.layer, 2u}) {
      uint32_t second = 1, first = 1;
      HQOS_dbmtype_DecapIfRunKey(layer, c.key, &second, &first);
      EXPECT_EQ(second, c.second);
      EXPECT_EQ(first, c.first);
    }
  }
  uint32_t second = 1, first = 1;
  HQOS_dbmtype_DecapIfRunKey(1, "IFRUN-5", &second, &first);
  EXPECT_EQ(first, 5u);
  EXPECT_EQ(second, 0u);
}

TEST(Keys, OfConfigurationAreRead) {
  const std::string longName(60, 'n');
  const struct {
    std::string key, name;
    uint32_t number;
  } cases[] = {{"IFCFG-3-abc", "abc", 3},
               {"IFCFG-4294967295-" + longName, longName.substr(0, 47), 0xFFFFFFFF},
               {"IFCFG-3-a b", "a", 3},
               {"IFCFG-3", "", 3},
               {"IFRUN-3-a", "", 0},
               {"", "", 0}};
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
               {2, "SP-nest-gold", "", 0},
               {2, "FG-nest-a b-c", "a b-c", 1},
               {0, "FG-nest-x\ny", "x", 1},
               {1, "SP-nest-\nx", "", 0},
               {1, "SP-nest-" + longName, longName.substr(0, 31), 1},
               {1, "SP-nest-", "", -1},
               {1, "SP-n", "", -1},
               {1, "", "", -1}};
  for (const auto& c : nests) {
    char name[HQOS_NAME_SIZE] = "before";
    EXPECT_EQ(HQOS_dbmtype_DecapNestKey(c.kind, c.key.c_str(), name), c.result) << c.key;
    EXPECT_EQ(name, c.name) << c.key;
  }
}

// ---- Children -----------------------------------------------------------------------------------

HQOS_SonCfg Son(const HQOS_MatchRule& rule) {
  return Filled<HQOS_SonCfg>([&](HQOS_SonCfg& son) {
    son.value1 = 0x0102, son.value2 = 0x0304, son.rule = rule;
    memcpy(son.name1, "one", 3), memcpy(son.name2, "two", 3);
  });
}
Bytes Fixed(uint8_t type) {
  return Tlv(1, Hex("0201 0403") + Field("one", 32) + Field("two", 32) + Bytes{type, 0, 0, 0});
}

TEST(SonCfg, IsStoredAndRead) {
  for (const uint8_t type : Bytes{0, 1, 2, 6, 7, 8}) {
    HQOS_MatchRule rule = kRule;
    rule.type = type;
    const HQOS_SonCfg son = Son(rule);
    const bool hasRanges = type != 1 && type != 6 && type != 7;
    const Bytes expected = Tlv(1, Fixed(type) + (hasRanges ? kRanges : Bytes()));
    Bytes out(300);
    uint32_t outLen = 0;
    out.resize(HQOS_dbmtype_EncapSonCfg(&son, 300, &outLen, out.data()));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(outLen, 8u);
    HQOS_SonCfg read;
    memset(&read, 0xEE, sizeof read);
    EXPECT_EQ(HQOS_dbmtype_DecapSonCfg(out.data(), static_cast<uint16_t>(out.size()), &read), 0u);
    EXPECT_TRUE(Same(read, Son(hasRanges ? rule : Empty(type)))) << int{type};
    EXPECT_EQ(HQOS_dbmtype_EncapSonCfg(&son, static_cast<uint16_t>(expected.size() - 1), &outLen,
                                       out.data()),
              0u);
  }
}

TEST(SonCfg, IsReadFromWhateverComes) {
  const Bytes fixed = Fixed(2);
  const HQOS_SonCfg none = Filled<HQOS_SonCfg>([](HQOS_SonCfg&) {});
  const struct {
    const char* what;
    Bytes record;
    HQOS_SonCfg expected;
  } cases[] = {
      {"other outer type", Tlv(77, fixed + kRanges) + Hex("ff"), Son(kRule)},
      {"ranges first", Tlv(1, kRanges + fixed), Son(Empty(2))},
      {"strangers", Tlv(1, Tlv(9, {}) + fixed + Tlv(8, Bytes(99)) + kRanges), Son(kRule)},
      {"short ranges", Tlv(1, fixed + Tlv(10, Bytes(31))), Son(Empty(2))},
      {"short fixed part", Tlv(1, Tlv(1, Bytes(71, 1))), none},
      {"nothing", Tlv(1, {}), none},
  };
  for (const auto& c : cases) {
    HQOS_SonCfg read;
    memset(&read, 0xEE, sizeof read);
    EXPECT_EQ(
        HQOS_dbmtype_DecapSonCfg(c.record.data(), static_cast<uint16_t>(c.record.size()), &read),
        0u);
    EXPECT_TRUE(Same(read, c.expected)) << c.what;
  }
}

// ---- Layers -------------------------------------------------------------------------------------

HQOS_LayerRun NodeRun(HQOS_SPSonPath path, const HQOS_MatchRule& rule) {
  return Filled<HQOS_LayerRun>([&](HQOS_LayerRun& run) {
    run.path = path, run.value16 = 0x0102, run.value32 = 0x11121314, run.rule = rule;
    for (uint8_t i = 0; i < 8; ++i) run.hostData[i] = static_cast<uint8_t>(i + 0x21);
  });
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
    HQOS_MatchRule rule = kRule;
    rule.type = type;
    const bool hasRanges = type != 1 && type != 6 && type != 7;
    const HQOS_LayerRun run = NodeRun(kPath, rule);
    Bytes out(300);
    uint32_t outLen = 0;
    out.resize(HQOS_dbmtype_EncapLayer1Run(&run, 300, &outLen, out.data()));
    EXPECT_EQ(out, Tlv(4, kPathTlv + Node(type) + (hasRanges ? kRanges : Bytes())));
    EXPECT_EQ(outLen, 8u);
    HQOS_LayerRun read;
    memset(&read, 0xEE, sizeof read);
    EXPECT_EQ(HQOS_dbmtype_DecapLayer1Run(out.data(), static_cast<uint16_t>(out.size()), &read),
              0u);
    EXPECT_TRUE(Same(read, NodeRun(kReadPath, hasRanges ? rule : Empty(type))));
  }
}

struct Layer2 {
  HQOS_LayerRun parent, entries[3];
  uint32_t status, count = 99;
  explicit Layer2(const Bytes& record, uint32_t most = 3) {
    memset(&parent, 0xEE, sizeof parent);
    memset(entries, 0xEE, sizeof entries);
    status = HQOS_dbmtype_DecapLayer2Run(record.data(), static_cast<uint16_t>(record.size()), most,
                                         &parent, entries, &count);
  }
};
HQOS_LayerRun Entry(uint16_t level) { return NodeRun({{kNone, 1, 2, 3, 4, level}}, Empty(7)); }

TEST(LayerRun, OfLayer2IsStoredAndRead) {
  HQOS_MatchRule group = kRule;
  group.type = 6;
  const HQOS_LayerRun parent = NodeRun(kPath, group);
  const HQOS_LayerRun entries[] = {NodeRun({{1, 1, 1, 1, 1, 0x0506}}, kRule),
                                   NodeRun(kPath, kRule)};
  Bytes out(300);
  uint32_t outLen = 0;
  out.resize(HQOS_dbmtype_EncapLayer2Run(&parent, entries, 2, 300, &outLen, out.data()));
  EXPECT_EQ(out, Tlv(5, kPathTlv + Node(6) + kRanges + Child("0506") + Child("0005")));
  EXPECT_EQ(outLen, 8u);
  const Layer2 read(out);
  EXPECT_EQ(read.status, 0u);
  EXPECT_TRUE(Same(read.parent, NodeRun(kReadPath, group)));
  ASSERT_EQ(read.count, 2u);
  EXPECT_TRUE(Same(read.entries[0], Entry(0x0506)));
  EXPECT_TRUE(Same(read.entries[1], Entry(5)));
  EXPECT_TRUE(Same(read.entries[2], Filled<HQOS_LayerRun>([](HQOS_LayerRun&) {})));
  const Layer2 one(out, 1);
  EXPECT_EQ(one.count, 1u);
  EXPECT_EQ(one.entries[1].value16, 0xEEEE);

  // Without field 3 the node itself is not stored.
  const HQOS_LayerRun half = NodeRun({{9, 1, 2, kNone, 4, 5}}, kRule);
  out.resize(300);
  out.resize(HQOS_dbmtype_EncapLayer2Run(&half, entries, 1, 300, &outLen, out.data()));
  EXPECT_EQ(out, Tlv(5, Tlv(7, Hex("0001 0002 ffff 0004")) + Child("0506")));
  const Layer2 bare(out);
  EXPECT_EQ(bare.entries[0].path.field[3], kNone);
  EXPECT_EQ(bare.parent.rule.type, 0u);
  EXPECT_EQ(bare.parent.rule.ranges[0].low, 0u);
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
  // What does not fit into 1024 bytes: 12 + 24 + 36 and 47 entries of 20.
  const HQOS_LayerRun parent = NodeRun(kPath, kRule);
  const std::vector<HQOS_LayerRun> many(60, parent);
  Bytes out(1500);
  uint32_t outLen = 0;
  EXPECT_EQ(HQOS_dbmtype_EncapLayer2Run(&parent, many.data(), 60, 1500, &outLen, out.data()),
            4u + 72 + 47 * 20);
}

// ---- FPs ----------------------------------------------------------------------------------------

const Bytes kGTS = Tlv(3, Hex("11121314 21222324 31323334 41424344"));
const Bytes kQueue = Tlv(4, Hex("51525354 61626364 71727374"));
const Bytes kBandwidth = Tlv(5, Hex("81828384"));

template <class Record>
void FillSettings(Record& record) {
  const uint32_t gts[] = {0x11121314, 0x21222324, 0x31323334, 0x41424344};
  const uint32_t queue[] = {0x51525354, 0x61626364, 0x71727374};
  memcpy(record.gts, gts, sizeof gts);
  memcpy(record.queue, queue, sizeof queue);
  record.bandwidth = 0x81828384;
}

// The settings of those flags, and the reference behind them.
Bytes Parts(uint32_t flags, const Bytes& reference) {
  const Bytes none;
  return (flags & 1 ? kGTS : none) + (flags & 4 ? kQueue : none) + (flags & 8 ? kBandwidth : none) +
         (flags & 2 ? Tlv(6, reference) : none);
}

TEST(FPRecords, AreStoredAsTheirFlagsSay) {
  const std::string dirty("dp\0dirt", 7);
  for (uint32_t flags = 0; flags < 32; ++flags) {
    const auto cfg = Filled<HQOS_FPCfg>([&](HQOS_FPCfg& c) {
      FillSettings(c);
      memset(c.name, 'n', sizeof c.name);
      dirty.copy(c.dpName, dirty.size());
      c.id = 0x0102, c.flags = flags;
    });
    Bytes out(300);
    out.resize(HQOS_dbmtype_EncapFPCfg(&cfg, 300, out.data()));
    EXPECT_EQ(out, Tlv(2, Tlv(2, Field(std::string(31, 'n'), 32) + Hex("0102 0000")) +
                              Parts(flags, Field(dirty, 32))));
    const auto run = Filled<HQOS_FPRun>([&](HQOS_FPRun& r) {
      FillSettings(r);
      r.id = 0x0102, r.flags = flags, r.value16 = 0x0304, r.dpId = 0x1234;
    });
    out.resize(300);
    out.resize(HQOS_dbmtype_EncapFPRun(&run, 300, out.data()));
    EXPECT_EQ(out, Tlv(3, Tlv(2, Hex("0102 0304")) + Parts(flags, Hex("00001234"))));
    HQOS_FPRun read;
    memset(&read, 0xEE, sizeof read);
    EXPECT_EQ(HQOS_dbmtype_DecapFPRun(out.data(), static_cast<uint16_t>(out.size()), &read), 0u);
    const auto expected = Filled<HQOS_FPRun>([&](HQOS_FPRun& r) {
      r.id = 0x0102, r.flags = flags & 15, r.value16 = 0x0304;
      if (flags & 1) memcpy(r.gts, run.gts, sizeof r.gts);
      if (flags & 2) r.dpId = 0x1234;
      if (flags & 4) memcpy(r.queue, run.queue, sizeof r.queue);
      if (flags & 8) r.bandwidth = run.bandwidth;
    });
    EXPECT_TRUE(Same(read, expected)) << flags;
  }
}

TEST(Records, AreReadNeverBeyondTheirEnd) {
  const Bytes run = Tlv(3, Tlv(2, Hex("0102 0304")) + Parts(15, Hex("ffff1234")));
  const Bytes records[] = {Tlv(1, Fixed(2) + kRanges), Tlv(4, kPathTlv + Node(2) + kRanges),
                           Tlv(5, kPathTlv + Node(2) + kRanges + Child("0001")), run};
  for (const Bytes& whole : records) {
    for (const Bytes& record : wire::Damaged(whole)) {
      const auto length = static_cast<uint16_t>(record.size());
      const bool cut = record.size() < whole.size();
      HQOS_SonCfg son;
      HQOS_LayerRun layer;
      HQOS_FPRun fp;
      memset(&fp, 0xEE, sizeof fp);
      const uint32_t a = HQOS_dbmtype_DecapSonCfg(record.data(), length, &son);
      const uint32_t b = HQOS_dbmtype_DecapLayer1Run(record.data(), length, &layer);
      const uint32_t c = HQOS_dbmtype_DecapFPRun(record.data(), length, &fp);
      EXPECT_EQ(a, b);
      EXPECT_EQ(a, c);
      EXPECT_EQ(a, Layer2(record).status);
      if (!cut) continue;
      EXPECT_EQ(a, uint32_t{HQOS_ERR_FAILED});
      EXPECT_EQ(fp.id, 0xEEEE);
    }
  }
  HQOS_FPRun fp;  // the low half of the reference
  EXPECT_EQ(HQOS_dbmtype_DecapFPRun(run.data(), static_cast<uint16_t>(run.size()), &fp), 0u);
  EXPECT_EQ(fp.dpId, 0x1234);
}

}  // namespace
