// A service in this process that keeps what it has in a store.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/hqosd.h"
#include "service/keeper.h"
#include "tests/failing_vfs.h"
#include "tests/in_process.h"
#include "tests/rule_bytes.h"

namespace wire {

class Kept : public testing::Test, public Caller {
 protected:
  Kept() : dir_(testing::TempDir() + "hqos-store-" + std::to_string(getpid())) {
    std::filesystem::remove_all(dir_);
    interfaces_.Add("eth0", 3);
    interfaces_.Add("eth1", 4);
    Open();
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string file() const { return dir_ + "/hqosd.db"; }

  // Opens the store, as a service that starts does, and returns what that logs.
  std::string Open() { return Open(file()); }
  std::string Open(const std::string& store_file) {
    Close();
    hqosd::Model model;
    model.interfaces = &interfaces_;
    keeper_ = std::make_unique<hqosd::Keeper>(std::move(model));
    std::string why;
    auto store = hqosd::OpenStore(store_file, false, why);
    EXPECT_NE(store, nullptr) << why;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(store != nullptr && keeper_->KeepIn(std::move(store)));
    return testing::internal::GetCapturedStderr();
  }
  void Close() { keeper_.reset(); }

  using Caller::Run;  // not that of testing::Test

  Bytes Respond(const Bytes& request) override {
    std::vector<hqosd::Exchange> exchanges{{request, keeper_->Respond(request, true)}};
    keeper_->Commit(exchanges);
    return exchanges[0].reply;
  }

  // Everything that queries can tell of the objects of the random commands and a few more.
  std::string Snapshot() {
    std::string all;
    const auto add = [&all](const auto& bytes) { all.append(bytes.begin(), bytes.end()); };
    for (const char* name : {"0", "1", "2", "3", "4", "5", "there", "never", "after"}) {
      const char* const kinds[] = {"sp", "fg", "fc", "dp", "fp"};
      for (uint16_t query = 1; query <= 5; ++query) {
        const std::string object = (*name <= '9' ? kinds[query - 1] : "") + std::string(name);
        add(Respond(Message(1, 2, Tlv(query, Field(object, 32) + Hex("ffff 0000")))));
      }
    }
    HQOS_SPInfo sp{};
    std::vector<HQOS_SPSon> sons(HQOS_BULK_SPSON_MAX);
    for (sp.id = 0xFFFF; Run([&] { return HQOS_lib_GetNextSP(sp.id, &sp); }) == 0;) {
      HQOS_SPSonPath start{{sp.id, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}};
      for (uint32_t n = 1; n != 0; start = sons[n == 0 ? 0 : n - 1].path) {
        Run([&] { return HQOS_lib_GetBulkSPSon(&start, 0, &n, sons.data()); });
        all.append(reinterpret_cast<const char*>(sons.data()), n * sizeof sons[0]);
      }
    }
    for (const char* object : {"00000001 00000000", "00000001 00000001", "00000001 00000002",
                               "00000001 00000003", "00000004 00000003"}) {
      for (const char* direction : {"00000000", "00000001", "00000002"}) {
        add(Respond(Message(1, 2, Tlv(6, Hex(object) + Hex(direction) + Bytes(48)))));
      }
    }
    return all;
  }

  // A random command on a few objects; most of them are accepted at some time.
  void DoAtRandom() {
    const auto name = [this](const std::string& kind) {
      return Field(kind + std::to_string(random_() % 6), 32);
    };
    const auto number = [this](unsigned below) {  // four bytes
      return Bytes{0, 0, 0, static_cast<uint8_t>(random_() % below)};
    };
    const Bytes sp = name("sp"), fg = name("fg"), fc = name("fc"), fp = name("fp"), dp = name("dp");
    const Bytes other = name("fg"), maybeFP = random_() % 2 != 0 ? fp : Bytes(32);
    const Bytes id = Hex("ffff 0000"), v = number(8), low{v[2], v[3]};
    const Bytes rule = Hex("00000002") + low + low + Bytes(28, 0xFF);
    const Bytes ofFP = Tlv(1, fp + Bytes(4)), ofSP = Tlv(5, sp + id);
    const Bytes slot = Tlv(7, Hex("00000001") + number(4) + Hex("00000002") + Bytes(48)) + ofSP;
    const Bytes eth = Tlv(7, Hex("00000004 00000003") + number(3) + Bytes(48)) + ofSP;
    const Bytes v4 = v + v + v + v, v3 = number(2) + v + v;
    const std::pair<uint16_t, Bytes> commands[] = {
        {HQOS_CMD_ADD_SP, sp + id},
        {HQOS_CMD_DEL_SP, sp + id},
        {HQOS_CMD_SET_SP_UNIT, sp + number(2)},
        {HQOS_CMD_RESET_SP_UNIT, sp + id},
        {HQOS_CMD_ADD_FG, fg + id},
        {HQOS_CMD_DEL_FG, fg + id},
        {HQOS_CMD_ADD_FP, fp + id},
        {HQOS_CMD_DEL_FP, fp + id},
        {HQOS_CMD_ADD_DP, dp + id},
        {HQOS_CMD_DEL_DP, dp + id},
        {HQOS_CMD_ADD_DP_WEIGHT, dp + v},
        {HQOS_CMD_DEL_DP_WEIGHT, dp + id},
        {HQOS_CMD_ADD_DP_THRESHOLD, dp + number(3) + v3},
        {HQOS_CMD_DEL_DP_THRESHOLD, dp + number(3) + Bytes(12)},
        {HQOS_CMD_ADD_QUEUE, ofFP + Tlv(HQOS_FPTLV_QUEUE, v3)},
        {HQOS_CMD_ADD_GTS, ofFP + Tlv(HQOS_FPTLV_GTS, v4)},
        {HQOS_CMD_DEL_GTS, fp + id},
        {HQOS_CMD_ADD_BANDWIDTH, ofFP + Tlv(HQOS_FPTLV_BANDWIDTH, v)},
        {HQOS_CMD_FP_REFER_DP, ofFP + Tlv(HQOS_FPTLV_DPREF, dp + Bytes(4))},
        {HQOS_CMD_DEL_FP_REFER_DP, fp + id},
        {HQOS_CMD_ADD_SP_NEST_FG, sp + fg + maybeFP + rule},
        {HQOS_CMD_ADD_SP_NEST_FG, sp + other + maybeFP + rule},
        {HQOS_CMD_ADD_FG_NEST_FG, fg + other + maybeFP + rule},
        {HQOS_CMD_ADD_FG_NEST_FC, fg + fc + maybeFP + Bytes(36)},
        {HQOS_CMD_DEL_FG_NEST_FC, fg + fc + Bytes(68)},
        {HQOS_CMD_DEL_SP_MATCH, sp + rule},
        {HQOS_CMD_DEL_FG_MATCH, fg + rule},
        {HQOS_CMD_APPLY_SP, slot},
        {HQOS_CMD_APPLY_SP, eth},
        {HQOS_CMD_UNDO_APPLY_SP, slot},
        {HQOS_CMD_UNDO_APPLY_SP, eth},
    };
    const auto& [code, payload] = commands[random_() % std::size(commands)];
    const Bytes reply = Respond(Message(1, 1, Tlv(code, payload)));
    EXPECT_NE(reply.at(15), HQOSD_MALFORMED & 0xFF) << code;
  }

  // Carries out the statements on the file; the number that a query returns.
  int64_t Sql(const std::string& sql) const {
    sqlite3* db = nullptr;
    int64_t number = 0;
    const auto take = [](void* to, int, char** columns, char**) {
      *static_cast<int64_t*>(to) = std::stoll(columns[0]);
      return 0;
    };
    EXPECT_EQ(sqlite3_open(file().c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), take, &number, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    sqlite3_close(db);
    return number;
  }

  FakeInterfaces interfaces_;

 private:
  std::string dir_;
  std::unique_ptr<hqosd::Keeper> keeper_;
  std::mt19937 random_{11};
};

}  // namespace wire
