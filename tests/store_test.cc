// What the service keeps: written, read back, damaged, and when the disk fails.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "hqosd.h"
#include "service/store/dump.h"
#include "tests/store_fixture.h"

namespace {

using namespace wire;

TEST_F(StoreTest, IsReadBackAsItWas) {
  std::string last;
  for (int round = 0; round < 12; ++round) {
    for (int i = 0; i < 120; ++i) DoAtRandom();
    const std::string before = Snapshot();
    EXPECT_EQ(Open(), "");  // nothing was to be repaired
    ASSERT_EQ(Snapshot(), before);
    EXPECT_NE(before, last);  // something has been done
    last = before;
  }
}

TEST_F(StoreTest, IsNotChangedWhenTheDiskFails) {
  struct {
    int sync, write;
  } const cases[] = {{SQLITE_IOERR_FSYNC, SQLITE_OK}, {SQLITE_OK, SQLITE_FULL}};
  for (const auto& c : cases) {
    const FailingVfs vfs;
    Open();
    for (int i = 0; i < 100; ++i) DoAtRandom();
    Do(HQOS_lib_AddSP, "there", HQOS_ID_NONE);
    const std::string before = Snapshot();
    FailingVfs::syncResult = c.sync;
    FailingVfs::writeResult = c.write;
    testing::internal::CaptureStderr();
    for (int i = 0; i < 20; ++i) DoAtRandom();
    EXPECT_EQ(Do(HQOS_lib_AddSP, "never", HQOS_ID_NONE), uint32_t{HQOSD_NOT_STORED});
    EXPECT_EQ(Do(HQOS_lib_AddSP, "there", HQOS_ID_NONE), uint32_t{HQOSD_EXISTS});
    EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot write to the store"),
              std::string::npos);
    EXPECT_EQ(Snapshot(), before);
    // As it would be found by a service that starts now.
    for (const char* part : {"", "-wal"}) {
      std::filesystem::copy_file(file() + part, file() + "-copy" + part,
                                 std::filesystem::copy_options::overwrite_existing);
    }
    FailingVfs::syncResult = FailingVfs::writeResult = SQLITE_OK;
    EXPECT_EQ(Do(HQOS_lib_AddSP, "after", HQOS_ID_NONE), 0u);
    const std::string after = Snapshot();
    Open();
    EXPECT_EQ(Snapshot(), after);
    EXPECT_EQ(Do(HQOS_lib_DelSP, "after"), 0u);
    Open(file() + "-copy");
    EXPECT_EQ(Snapshot(), before);
    Open();
  }
}

// An index that goes from one interface to another, and more children than a record holds.
TEST_F(StoreTest, KeepsRunTimeStateApart) {
  const char* const none = nullptr;
  const HQOS_MatchRule rule = Rule(HQOS_MATCH_DOT1P, {{1, 1}});
  Do(HQOS_lib_AddSP, "sp", HQOS_ID_NONE);
  for (const char* fg : {"1", "2", "3", "4"}) Do(HQOS_lib_AddFG, fg, HQOS_ID_NONE);
  Do(HQOS_lib_AddSPNestFG, "sp", &rule, "1", none);
  for (const auto& [parent, child] : {std::pair("1", "2"), {"2", "3"}, {"3", "4"}}) {
    Do(HQOS_lib_AddFGNestFG, parent, &rule, child, none);
  }
  for (int i = 0; i < 100; ++i)
    Do(HQOS_lib_AddFGNestFC, "4", ("fc" + std::to_string(i)).c_str(), none);
  const HQOS_AppObj first{HQOS_APPOBJ_IFINDEX, 0, 1, "eth0"},
      second{HQOS_APPOBJ_IFINDEX, 0, 1, "eth9"};
  EXPECT_EQ(Do(HQOS_lib_ApplySP, &first, "sp"), 0u);
  interfaces_.all.erase("eth0");
  interfaces_.Add("eth9", 3);
  EXPECT_EQ(Do(HQOS_lib_ApplySP, &second, "sp"), 0u);
  for (int round = 0; round < 2; ++round) {
    std::vector<hqosd::StoredRecord> records;
    Close();
    std::string why;
    hqosd::OpenStore(file(), hqosd::Purpose::Read, why)->Read(records);
    size_t runs = 0, entries = 0;
    for (const auto& record : records) {
      runs += record.key.starts_with("IFRUN-");
      if (record.key.find("-L2-") == std::string::npos) continue;
      for (uint32_t at = 0, count = 0; at < record.value.size(); entries += count) {
        const auto* const value = &record.value[at];
        const auto room = static_cast<uint16_t>(record.value.size() - at);
        HQOS_LayerRun parent, children[64];
        ASSERT_EQ(HQOS_dbmtype_DecapLayer2Run(value, room, 64, &parent, children, &count), 0u);
        at += 4u + value[2] * 256u + value[3];
      }
    }
    EXPECT_EQ(runs, round == 0 ? 8u : 4u);
    EXPECT_EQ(entries, round == 0 ? 200u : 100u);
    EXPECT_EQ(Open(), "");
    EXPECT_EQ(Do(HQOS_lib_UndoApplySP, &first, "sp"), round == 0 ? 0u : uint32_t{HQOSD_NOT_FOUND});
  }
}

// Requests that come together are committed together; when that fails, none has been.
TEST_F(StoreTest, RefusesAllThatCameTogether) {
  const FailingVfs vfs;
  Open();
  hqosd::Transactor transactor{hqosd::Model()};
  const Bytes add = Message(1, 1, Tlv(3, Field("one", 32) + Hex("0001 0000")));
  const Bytes get = Message(1, 2, Tlv(1, Field("one", 32) + Hex("ffff 0000")));
  std::string why;
  auto store = hqosd::OpenStore(file() + "2", hqosd::Purpose::Serve, why);
  ASSERT_TRUE(store != nullptr && transactor.AttachStore(std::move(store))) << why;
  for (const bool fails : {true, false}) {
    FailingVfs::syncResult = fails ? SQLITE_IOERR_FSYNC : SQLITE_OK;
    std::vector<hqosd::Exchange> exchanges;
    for (const Bytes& request : {add, get}) {
      exchanges.push_back({request, transactor.Respond(request)});
      EXPECT_NE(exchanges.back().response.reply[9], 0x70);
    }
    testing::internal::CaptureStderr();
    transactor.Commit(exchanges);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(exchanges[0].response.reply[15], fails ? HQOSD_NOT_STORED & 0xFF : 0);
    if (fails) {
      EXPECT_EQ(exchanges[1].response.reply[15], HQOSD_NOT_FOUND & 0xFF);
    }
  }
}

// What a change of the store makes the service quarantine.
const struct {
  const char* sql;
  std::vector<const char*> quarantined;
} kDamages[] = {
    {"UPDATE record SET value = x'00' WHERE key = 'SP-cfg-b'",
     {"SP-cfg-b: the record does not decode", "SP-nest-b/FG b: SP b does not exist",
      "IFCFG-1-eth0: SP b does not exist"}},
    {"INSERT INTO record(key, value) SELECT 'SP-cfg-c', value FROM record WHERE key = 'SP-cfg-a'",
     {"SP-cfg-c: the record has another name than its key"}},
    {"UPDATE record SET value = x'0002000101' WHERE key = 'FP-cfg-b'",
     {"FP-cfg-b: the record does not decode",
      "SP-nest-b/FG b: kept without FP b, which does not exist"}},
    {"UPDATE record SET value = x'01' WHERE key = 'FP-run-a'",
     {"FP-run-a: the record is not that of the other records"}},
    {"DELETE FROM record WHERE key = 'DP-cfg-a'",
     {"FP-cfg-a: kept without DP a, which does not exist"}},
    {"INSERT INTO record(key, value) SELECT 'FG-nest-a' || char(10) || 'FG a', value FROM record "
     "WHERE key = 'SP-nest-a' || char(10) || 'FG a'",
     {"FG-nest-a/FG a: "}},
    {"DELETE FROM record WHERE key = 'FC-cfg-a'", {"FG-nest-a/FC a: the child does not exist"}},
    {"DELETE FROM record WHERE key LIKE 'FG-nest-b%'", {"FC-cfg-b: the FC is nested nowhere"}},
    {"UPDATE record SET value = x'03' WHERE key = 'APPLY-1-1-2'",
     {"APPLY-1-1-2: the record does not decode"}},
    {"INSERT INTO record(key, value) SELECT 'APPLY-9-0-2', CAST(substr(value, 1, 7) || x'09' || "
     "substr(value, 9) AS BLOB) FROM record WHERE key = 'APPLY-1-1-2'",
     {"APPLY-9-0-2: there is no such application object"}},
    {"UPDATE record SET value = CAST(substr(value, 1, 16) || 'x' || substr(value, 18) AS BLOB) "
     "WHERE key = 'APPLY-1-1-2'",
     {"APPLY-1-1-2: there is no such application object"}},
    {"INSERT INTO record(key, value) SELECT 'IFCFG-1-eth1', CAST(substr(value, 1, 19) || '1' || "
     "substr(value, 21) AS BLOB) FROM record WHERE key = 'IFCFG-1-eth0'",
     {"IFCFG-1-eth0: the record is not that of the other records"}},
    {"INSERT INTO record(key, value) VALUES('surprise', x'')",
     {"surprise: nothing is known of this key"}},
    {"UPDATE record SET value = x'03' WHERE key = 'IFRUN-3-1-L1-1'",
     {"IFRUN-3-1-L1-1: the record is not that of the other records"}},
    {"UPDATE record SET value = (SELECT value FROM record WHERE key = 'FP-run-b') "
     "WHERE key = 'FP-run-a'",
     {"FP-run-a: the record is not that of the other records"}},
    {"INSERT INTO record(key, value) SELECT 'SP-nest-a' || char(10) || 'x' || char(10) || 'FG "
     "a', value "
     "FROM record WHERE key = 'SP-nest-a' || char(10) || 'FG a'",
     {"SP-nest-a/x/FG a: the record has another name than its key"}},
    {"UPDATE record SET value = value || x'00' WHERE key = 'FG-cfg-a'",
     {"FG-cfg-a: the record is not that of the other records"}},
};

TEST_F(StoreTest, QuarantinesDamagedRecords) {
  const HQOS_AppObj slot{HQOS_APPOBJ_SLOT, 1, 2, {}}, eth{HQOS_APPOBJ_IFINDEX, 3, 1, "eth0"};
  const HQOS_MatchRule rule = Rule(HQOS_MATCH_DOT1P, {{1, 1}});
  const char* const none = nullptr;
  for (const char* n : {"a", "b"}) {
    Do(HQOS_lib_AddSP, n, HQOS_ID_NONE);
    Do(HQOS_lib_AddFG, n, HQOS_ID_NONE);
    Do(HQOS_lib_AddDP, n, HQOS_ID_NONE);
    Do(HQOS_lib_AddFP, n, HQOS_ID_NONE);
    Do(HQOS_lib_FPReferDP, n, n);
    Do(HQOS_lib_AddSPNestFG, n, &rule, n, n);
    Do(HQOS_lib_AddFGNestFC, n, n, none);
  }
  Do(HQOS_lib_ApplySP, &slot, "a");
  Do(HQOS_lib_ApplySP, &eth, "b");
  Close();  // the log is in the database then
  const std::string good = file() + ".good";
  std::filesystem::copy_file(file(), good);
  for (const auto& c : kDamages) {
    Close();
    std::filesystem::copy_file(good, file(), std::filesystem::copy_options::overwrite_existing);
    Sql(c.sql + std::string("; UPDATE record SET sum = row_sum(key, value);"
                            "DELETE FROM quarantine"));
    const std::string log = Open();
    for (const char* line : c.quarantined) {
      EXPECT_NE(log.find(std::string("quarantined ") + line), std::string::npos) << line << log;
    }
    EXPECT_EQ(Do(HQOS_lib_AddSP, "new", HQOS_ID_NONE), 0u);  // the rest serves on
    EXPECT_GE(Sql("SELECT count(value) FROM quarantine"),
              static_cast<int64_t>(c.quarantined.size()));
    const std::string before = Snapshot();
    EXPECT_EQ(Open(), "") << c.sql;  // once is enough
    EXPECT_EQ(Snapshot(), before);
  }
}

// Older services took names that are refused now.
TEST_F(StoreTest, KeepsAnOlderName) {
  Do(HQOS_lib_AddDP, "x", HQOS_ID_NONE);
  Close();
  Sql("UPDATE record SET key = 'DP-cfg-' || CAST(x'FF' AS TEXT), value = CAST(x'FF' || "
      "substr(value, 2) AS BLOB) WHERE key = 'DP-cfg-x';"
      "UPDATE record SET sum = row_sum(key, value)");
  EXPECT_EQ(Open(), "");
  testing::internal::CaptureStdout();
  EXPECT_EQ(hqosd::DumpStore(file(), {}), "");
  EXPECT_NE(testing::internal::GetCapturedStdout().find("\nDP-cfg-\\xff  {\"name\":\"\\\\xff\""),
            std::string::npos);
  EXPECT_EQ(Do(HQOS_lib_AddDP, "\xFF", HQOS_ID_NONE), uint32_t{HQOSD_BAD_NAME});
  EXPECT_EQ(Do(HQOS_lib_DelDP, "\xFF"), 0u);
  EXPECT_EQ(Do(HQOS_lib_DelDP, "\xFF"), uint32_t{HQOSD_NOT_FOUND});
}

// A lock that somebody else holds costs one short wait, however many commands there are.
TEST_F(StoreTest, IsNotWaitedForLong) {
  sqlite3* db = nullptr;
  sqlite3_open(file().c_str(), &db);
  sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Do(HQOS_lib_AddSP, "sp", HQOS_ID_NONE), uint32_t{HQOSD_NOT_STORED});
  EXPECT_EQ(text, "nothing is changed, the store fails: another process has locked it");
  EXPECT_EQ(Do(HQOS_lib_AddSP, "sp", HQOS_ID_NONE), uint32_t{HQOSD_NOT_STORED});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  EXPECT_EQ(Do(HQOS_lib_AddSP, "sp", HQOS_ID_NONE), 0u);
  // A lock against readers keeps a service from starting, and is no damage.
  Close();
  sqlite3_exec(db, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  std::string why;
  EXPECT_EQ(hqosd::OpenStore(file(), hqosd::Purpose::Serve, why), nullptr);
  EXPECT_EQ(why, "another process has locked it");
  sqlite3_close(db);
  EXPECT_EQ(Open(), "");
  EXPECT_EQ(Do(HQOS_lib_AddSP, "sp", HQOS_ID_NONE), uint32_t{HQOSD_EXISTS});
}

TEST_F(StoreTest, IsRefusedWhenItIsAnothersOrNewer) {
  std::string why;
  EXPECT_EQ(hqosd::OpenStore(file(), hqosd::Purpose::Serve, why), nullptr);
  EXPECT_EQ(why, "another service has it");
  Sql("UPDATE record SET value = CAST('3' AS BLOB) WHERE key = 'VERSION'; UPDATE record SET sum = "
      "row_sum(key, value)");
  Close();
  EXPECT_EQ(hqosd::OpenStore(file(), hqosd::Purpose::Serve, why), nullptr);
  EXPECT_EQ(why, "its version is 3, not 2");
}

}  // namespace
