// What the service keeps: written, read back, damaged, and when the disk fails.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/hqosd.h"
#include "platform/stlv.h"
#include "service/keeper.h"
#include "tests/failing_vfs.h"
#include "tests/in_process.h"

namespace {

using hqosd::Keeper;
using wire::Bytes;
using wire::operator+;

class Kept : public testing::Test {
 protected:
  Kept() : dir_(testing::TempDir() + "hqos-store-" + std::to_string(getpid())) {
    std::filesystem::remove_all(dir_);
    interfaces_.Add("eth0", 3);
    interfaces_.Add("eth1", 4);
    Open();
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string file() const { return dir_ + "/hqosd.db"; }

  // Opens the store, as a service that starts does; what is wrong is in the log.
  bool Open() { return Open(file()); }
  bool Open(const std::string& store_file) {
    keeper_.reset();
    hqosd::Model model;
    model.interfaces = &interfaces_;
    keeper_ = std::make_unique<Keeper>(std::move(model));
    std::string why;
    auto store = hqosd::OpenStore(store_file, false, why);
    EXPECT_NE(store, nullptr) << why;
    return store != nullptr && keeper_->KeepIn(std::move(store));
  }

  void Close() { keeper_.reset(); }

  wire::FakeInterfaces interfaces_;

  template <class Call>
  uint32_t Run(Call call) {
    wire::Script script;
    script.answer = [this](const Bytes& request) {
      std::vector<hqosd::Exchange> exchanges{{request, keeper_->Respond(request, true)}};
      keeper_->Commit(exchanges);
      return exchanges[0].reply;
    };
    wire::Seen seen;
    return wire::Play(script, seen, call);
  }
  template <class Command, class... Arguments>
  uint32_t Do(Command command, Arguments... arguments) {
    HQOS_Result result{};
    const uint32_t status = Run([&] { return command(arguments..., &result); });
    return status != 0 ? status : result.code;
  }

  // Everything that queries can tell.
  std::string Snapshot() {
    std::string all;
    const auto add = [&all](const auto& record) {
      all.append(reinterpret_cast<const char*>(&record), sizeof record);
    };
    HQOS_FGInfo fg{};
    for (fg.id = 0xFFFF; Run([&] { return HQOS_lib_GetNextFG(fg.id, &fg); }) == 0;) add(fg);
    List<HQOS_FPInfo>(HQOS_lib_GetBulkFP, [&](const HQOS_FPInfo& fp) { add(fp); });
    List<HQOS_DPInfo>(HQOS_lib_GetBulkDP, [&](const HQOS_DPInfo& dp) { add(dp); });
    HQOS_SPInfo sp{};
    for (sp.id = 0xFFFF; Run([&] { return HQOS_lib_GetNextSP(sp.id, &sp); }) == 0;) {
      add(sp);
      HQOS_SPSonPath start{{sp.id, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}};
      std::vector<HQOS_SPSon> sons(HQOS_BULK_SPSON_MAX);
      uint32_t n = 0;
      do {
        Run([&] { return HQOS_lib_GetBulkSPSon(&start, 0, &n, sons.data()); });
        for (uint32_t i = 0; i < n; ++i) add(sons[i]);
        if (n != 0) start = sons[n - 1].path;
      } while (n != 0);
    }
    HQOS_ApplyInfo info{};
    const auto next = [&] {
      return HQOS_lib_GetNextIfApplyStat(0, info.obj.name, info.obj.param, &info);
    };
    while (Run(next) == 0) add(info);
    for (uint32_t slot = 0; slot < 4; ++slot) {
      const HQOS_AppObj obj{HQOS_APPOBJ_SLOT, slot, 2, {}};
      if (Run([&] { return HQOS_lib_GetApplyStat(&obj, &info); }) == 0) add(info);
    }
    return all;
  }

  std::string SnapshotOf(const std::string& other) {
    EXPECT_TRUE(Open(other));
    std::string all = Snapshot();
    EXPECT_TRUE(Open());
    return all;
  }

  // A random command on a few objects; most of them are accepted at some time.
  void DoAtRandom() {
    const auto name = [this](const char* kind) { return kind + std::to_string(random_() % 6); };
    const uint32_t numbers[] = {uint32_t(random_()), 2, 3, 4};
    const auto value = static_cast<uint16_t>(random_() % 8);
    HQOS_MatchRule rule{HQOS_MATCH_DOT1P, {}};
    memset(rule.ranges, 0xFF, sizeof rule.ranges);
    rule.ranges[0] = {value, value};
    const std::string sp = name("sp"), fg = name("fg"), other = name("fg"), fp = name("fp");
    const std::string dp = name("dp"), fc = name("fc");
    const char* const maybeFP = random_() % 2 != 0 ? fp.c_str() : nullptr;
    HQOS_AppObj slot{HQOS_APPOBJ_SLOT, uint32_t(random_() % 4), 2, {}};
    HQOS_AppObj eth{HQOS_APPOBJ_IFINDEX, 3, uint32_t(random_() % 3), "eth0"};
    const std::vector<std::function<uint32_t()>> commands = {
        [&] { return Do(HQOS_lib_AddSP, sp.c_str(), HQOS_ID_NONE); },
        [&] { return Do(HQOS_lib_DelSP, sp.c_str()); },
        [&] { return Do(HQOS_lib_SetSPUnit, sp.c_str(), value % 2u); },
        [&] { return Do(HQOS_lib_ResetSPUnit, sp.c_str()); },
        [&] { return Do(HQOS_lib_AddFG, fg.c_str(), HQOS_ID_NONE); },
        [&] { return Do(HQOS_lib_DelFG, fg.c_str()); },
        [&] { return Do(HQOS_lib_AddFP, fp.c_str(), HQOS_ID_NONE); },
        [&] { return Do(HQOS_lib_DelFP, fp.c_str()); },
        [&] { return Do(HQOS_lib_AddDP, dp.c_str(), HQOS_ID_NONE); },
        [&] { return Do(HQOS_lib_DelDP, dp.c_str()); },
        [&] { return Do(HQOS_lib_AddDPWeight, dp.c_str(), numbers[0]); },
        [&] { return Do(HQOS_lib_DelDPWeight, dp.c_str()); },
        [&] {
          return Do(HQOS_lib_AddDPThreshold, dp.c_str(), value % 3u,
                    HQOS_DPThreshold{value, 2, 3, numbers[0]});
        },
        [&] { return Do(HQOS_lib_DelDPThreshold, dp.c_str(), value % 3u); },
        [&] { return Do(HQOS_lib_AddQueue, fp.c_str(), numbers); },
        [&] { return Do(HQOS_lib_AddGTS, fp.c_str(), numbers); },
        [&] { return Do(HQOS_lib_DelGTS, fp.c_str()); },
        [&] { return Do(HQOS_lib_AddBandwidth, fp.c_str(), numbers); },
        [&] { return Do(HQOS_lib_FPReferDP, fp.c_str(), dp.c_str()); },
        [&] { return Do(HQOS_lib_DelFPReferDP, fp.c_str()); },
        [&] { return Do(HQOS_lib_AddSPNestFG, sp.c_str(), &rule, fg.c_str(), maybeFP); },
        [&] { return Do(HQOS_lib_AddSPNestFG, sp.c_str(), &rule, other.c_str(), maybeFP); },
        [&] { return Do(HQOS_lib_AddFGNestFG, fg.c_str(), &rule, other.c_str(), maybeFP); },
        [&] { return Do(HQOS_lib_AddFGNestFC, fg.c_str(), fc.c_str(), maybeFP); },
        [&] { return Do(HQOS_lib_DelFGNestFC, fg.c_str(), fc.c_str()); },
        [&] { return Do(HQOS_lib_DelSPMatch, sp.c_str(), &rule); },
        [&] { return Do(HQOS_lib_DelFGMatch, fg.c_str(), &rule); },
        [&] { return Do(HQOS_lib_ApplySP, &slot, sp.c_str()); },
        [&] { return Do(HQOS_lib_ApplySP, &eth, sp.c_str()); },
        [&] { return Do(HQOS_lib_UndoApplySP, &slot, sp.c_str()); },
        [&] { return Do(HQOS_lib_UndoApplySP, &eth, sp.c_str()); },
    };
    commands[random_() % commands.size()]();
  }

  // Records set aside, with their values.
  size_t CountAside() {
    sqlite3* db = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_open(file().c_str(), &db);
    sqlite3_prepare_v2(db, "SELECT count(value) FROM set_aside", -1, &select, nullptr);
    EXPECT_EQ(sqlite3_step(select), SQLITE_ROW);
    const auto count = static_cast<size_t>(sqlite3_column_int64(select, 0));
    sqlite3_finalize(select);
    sqlite3_close(db);
    return count;
  }

  void Sql(const std::string& sql) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(file().c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    sqlite3_close(db);
  }

 private:
  template <class Info>
  void List(uint32_t (*query)(uint16_t, uint32_t, uint32_t*, Info*),
            const std::function<void(const Info&)>& add) {
    std::vector<Info> infos(HQOS_BULK_FP_MAX);
    uint16_t start = 0xFFFF;
    uint32_t n = 0;
    do {
      Run([&] { return query(start, 0, &n, infos.data()); });
      for (uint32_t i = 0; i < n; ++i) add(infos[i]);
      if (n != 0) start = infos[n - 1].id;
    } while (n != 0);
  }

  std::string dir_;
  std::unique_ptr<Keeper> keeper_;
  std::mt19937 random_{11};
};

TEST_F(Kept, IsReadBackAsItWas) {
  for (int round = 0; round < 12; ++round) {
    for (int i = 0; i < 120; ++i) DoAtRandom();
    const std::string before = Snapshot();
    testing::internal::CaptureStderr();
    ASSERT_TRUE(Open());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  // nothing was to be mended
    ASSERT_EQ(Snapshot(), before);
    EXPECT_GT(before.size(), 500u);
  }
}

TEST_F(Kept, IsNotChangedWhenTheDiskFails) {
  struct {
    int sync, write;
  } const cases[] = {{SQLITE_IOERR_FSYNC, SQLITE_OK}, {SQLITE_OK, SQLITE_FULL}};
  for (const auto& c : cases) {
    const wire::FailingVfs vfs;
    ASSERT_TRUE(Open());
    for (int i = 0; i < 100; ++i) DoAtRandom();
    Do(HQOS_lib_AddSP, "there", HQOS_ID_NONE);
    const std::string before = Snapshot();
    wire::FailingVfs::syncResult = c.sync;
    wire::FailingVfs::writeResult = c.write;
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
    wire::FailingVfs::syncResult = wire::FailingVfs::writeResult = SQLITE_OK;
    EXPECT_EQ(Do(HQOS_lib_AddSP, "after", HQOS_ID_NONE), 0u);
    const std::string after = Snapshot();
    ASSERT_TRUE(Open());
    EXPECT_EQ(Snapshot(), after);
    EXPECT_EQ(Do(HQOS_lib_DelSP, "after"), 0u);
    EXPECT_EQ(SnapshotOf(file() + "-copy"), before);
  }
}

// An index that goes from one interface to another, and more children than a record holds.
TEST_F(Kept, KeepsRunTimeStateApart) {
  const char* const none = nullptr;
  HQOS_MatchRule rule{HQOS_MATCH_DOT1P, {}};
  memset(rule.ranges, 0xFF, sizeof rule.ranges);
  rule.ranges[0] = {1, 1};
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
    hqosd::OpenStore(file(), true, why)->Read(records);
    size_t runs = 0, entries = 0;
    for (const auto& record : records) {
      runs += record.key.starts_with("IFRUN-");
      if (!record.key.ends_with("-L2")) continue;
      uint16_t type, length;
      const uint8_t* inner;
      for (uint32_t at = 0, taken; at < record.value.size(); at += taken) {
        HQOS_LayerRun parent, children[64];
        uint32_t count = 0;
        taken = STLV_Get(&record.value[at], static_cast<uint16_t>(record.value.size() - at), &type,
                         &length, &inner);
        ASSERT_NE(taken, 0u);
        HQOS_dbmtype_DecapLayer2Run(&record.value[at], static_cast<uint16_t>(taken), 64, &parent,
                                    children, &count);
        entries += count;
      }
    }
    EXPECT_EQ(runs, round == 0 ? 6u : 3u);
    EXPECT_EQ(entries, round == 0 ? 200u : 100u);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(Open());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Do(HQOS_lib_UndoApplySP, &first, "sp"), round == 0 ? 0u : uint32_t{HQOSD_NOT_FOUND});
  }
}

// Requests that come together are committed together; when that fails, none has been.
TEST_F(Kept, RefusesAllThatCameTogether) {
  const wire::FailingVfs vfs;
  ASSERT_TRUE(Open());
  hqosd::Keeper keeper{hqosd::Model()};
  const Bytes add =
      wire::Message(1, 1, wire::Tlv(3, wire::Field("one", 32) + wire::Hex("0001 0000")));
  const Bytes get =
      wire::Message(1, 2, wire::Tlv(1, wire::Field("one", 32) + wire::Hex("ffff 0000")));
  std::string why;
  auto store = hqosd::OpenStore(file() + "2", false, why);
  ASSERT_TRUE(store != nullptr && keeper.KeepIn(std::move(store))) << why;
  for (const bool fails : {true, false}) {
    wire::FailingVfs::syncResult = fails ? SQLITE_IOERR_FSYNC : SQLITE_OK;
    std::vector<hqosd::Exchange> exchanges;
    for (const Bytes& request : {add, get}) {
      exchanges.push_back({request, keeper.Respond(request, true)});
      EXPECT_NE(exchanges.back().reply[9], 0x70);
    }
    testing::internal::CaptureStderr();
    keeper.Commit(exchanges);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(exchanges[0].reply[15], fails ? HQOSD_NOT_STORED & 0xFF : 0);
    if (fails) {
      EXPECT_EQ(exchanges[1].reply[15], HQOSD_NOT_FOUND & 0xFF);
    }
  }
}

TEST_F(Kept, SetsDamagedRecordsAside) {
  const HQOS_AppObj slot{HQOS_APPOBJ_SLOT, 1, 2, {}}, eth{HQOS_APPOBJ_IFINDEX, 3, 1, "eth0"};
  HQOS_MatchRule rule{HQOS_MATCH_DOT1P, {}};
  memset(rule.ranges, 0xFF, sizeof rule.ranges);
  rule.ranges[0] = {1, 1};
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
  const struct {
    const char* sql;
    std::vector<const char*> aside;
  } cases[] = {
      {"UPDATE record SET value = x'00' WHERE key = 'SP-cfg-b'",
       {"SP-cfg-b: the record does not decode", "SP-nest-b/FG b: SP b does not exist",
        "IFCFG-1-eth0: SP b does not exist"}},
      {"INSERT INTO record SELECT 'SP-cfg-c', value FROM record WHERE key = 'SP-cfg-a'",
       {"SP-cfg-c: the record has another name than its key"}},
      {"UPDATE record SET value = x'0002000101' WHERE key = 'FP-cfg-b'",
       {"FP-cfg-b: the record does not decode"}},
      {"UPDATE record SET value = x'01' WHERE key = 'FP-run-a'",
       {"FP-run-a: the record is not that of the other records"}},
      {"DELETE FROM record WHERE key = 'DP-cfg-a'",
       {"FP-cfg-a: DP a does not exist", "SP-nest-a/FG a: FP a does not exist"}},
      {"INSERT INTO record SELECT 'FG-nest-a' || char(10) || 'FG a', value FROM record "
       "WHERE key = 'SP-nest-a' || char(10) || 'FG a'",
       {"FG-nest-a/FG a: "}},
      {"DELETE FROM record WHERE key = 'FC-cfg-a'", {"FG-nest-a/FC a: the child does not exist"}},
      {"DELETE FROM record WHERE key LIKE 'FG-nest-b%'", {"FC-cfg-b: the FC is nested nowhere"}},
      {"UPDATE record SET value = x'03' WHERE key = 'APPLY-1-1-2'",
       {"APPLY-1-1-2: the record does not decode"}},
      {"INSERT INTO record SELECT 'APPLY-9-0-2', CAST(substr(value, 1, 7) || x'09' || "
       "substr(value, 9) AS BLOB) FROM record WHERE key = 'APPLY-1-1-2'",
       {"APPLY-9-0-2: there is no such application object"}},
      {"UPDATE record SET value = CAST(substr(value, 1, 16) || 'x' || substr(value, 18) AS BLOB) "
       "WHERE key = 'APPLY-1-1-2'",
       {"APPLY-1-1-2: there is no such application object"}},
      {"INSERT INTO record SELECT 'IFCFG-1-eth1', CAST(substr(value, 1, 19) || '1' || "
       "substr(value, 21) AS BLOB) FROM record WHERE key = 'IFCFG-1-eth0'",
       {"IFCFG-1-eth0: the record is not that of the other records"}},
      {"INSERT INTO record VALUES('surprise', x'')", {"surprise: nothing is known of this key"}},
      {"UPDATE record SET value = x'03' WHERE key = 'IFRUN-3-1-L1'",
       {"IFRUN-3-1-L1: the record is not that of the other records"}},
      {"UPDATE record SET value = (SELECT value FROM record WHERE key = 'FP-run-b') "
       "WHERE key = 'FP-run-a'",
       {"FP-run-a: the record is not that of the other records"}},
      {"INSERT INTO record SELECT 'SP-nest-a' || char(10) || 'x' || char(10) || 'FG a', value "
       "FROM record WHERE key = 'SP-nest-a' || char(10) || 'FG a'",
       {"SP-nest-a/x/FG a: the record has another name than its key"}},
      {"UPDATE record SET value = value || x'00' WHERE key = 'FG-cfg-a'",
       {"FG-cfg-a: the record is not that of the other records"}},
  };
  Close();  // the log is in the database then
  const std::string good = file() + ".good";
  std::filesystem::copy_file(file(), good);
  for (const auto& c : cases) {
    Close();
    std::filesystem::copy_file(good, file(), std::filesystem::copy_options::overwrite_existing);
    Sql(c.sql + std::string("; DELETE FROM set_aside"));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(Open()) << c.sql;
    const std::string log = testing::internal::GetCapturedStderr();
    for (const char* line : c.aside) {
      EXPECT_NE(log.find(std::string("set aside ") + line), std::string::npos) << line << log;
    }
    EXPECT_EQ(Do(HQOS_lib_AddSP, "new", HQOS_ID_NONE), 0u);  // the rest serves on
    EXPECT_GE(CountAside(), c.aside.size());
    const std::string before = Snapshot();
    testing::internal::CaptureStderr();
    Open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << c.sql;  // once is enough
    EXPECT_EQ(Snapshot(), before);
  }
}

TEST_F(Kept, IsRefusedWhenItIsAnothersOrNewer) {
  std::string why;
  EXPECT_EQ(hqosd::OpenStore(file(), false, why), nullptr);
  EXPECT_EQ(why, "another service has it");
  Sql("UPDATE record SET value = '2' WHERE key = 'VERSION'");
  Close();
  EXPECT_EQ(hqosd::OpenStore(file(), false, why), nullptr);
  EXPECT_EQ(why, "its version is 2, not 1");
}

}  // namespace
