// A service in this process, with a store.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "hqosd.h"
#include "service/server/transactor.h"
#include "service/store/schema.h"
#include "tests/calls.h"
#include "tests/failing_vfs.h"
#include "tests/in_process.h"
#include "tests/rule_bytes.h"

namespace wire {

// The first six are those of the random commands.
constexpr const char* kNames[] = {"a", "b", "c", "d", "e", "f", "there", "never", "after"};

class StoreTest : public testing::Test, public Caller {
 protected:
  StoreTest() : dir_(testing::TempDir() + "hqos-store-" + std::to_string(getpid())) {
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
    transactor_ = std::make_unique<hqosd::Transactor>(std::move(model));
    std::string why;
    auto store = hqosd::OpenStore(store_file, hqosd::Purpose::Serve, why);
    EXPECT_NE(store, nullptr) << why;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(store != nullptr && transactor_->AttachStore(std::move(store)));
    return testing::internal::GetCapturedStderr();
  }
  void Close() { transactor_.reset(); }

  using Caller::Run;  // not that of testing::Test

  Bytes Respond(const Bytes& request) override {
    std::vector<hqosd::Exchange> exchanges{{request, transactor_->Respond(request)}};
    transactor_->Commit(exchanges);
    return exchanges[0].response.reply;
  }

  // The results of all queries for the objects of the random commands and a few more.
  std::string Snapshot() {
    std::string all;
    const auto add = [&all](const auto& bytes) { all.append(bytes.begin(), bytes.end()); };
    for (const char* name : kNames) {
      for (uint16_t query = 1; query <= 5; ++query) {
        add(Respond(Message(1, 2, Tlv(query, Field(name, 32) + Hex("ffff 0000")))));
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
    calls::With(random_() % calls::kCommands, [&]<class... P>(uint32_t (*command)(P...)) {
      if constexpr (calls::Call<P...>::kIsCommand) {
        calls::Call call(command, Arguments{random_}, [this](auto run) { return this->Run(run); });
        EXPECT_TRUE(call.status == 0 && call.Output().records[0].code != HQOSD_MALFORMED);
      }
    });
  }

  // Carries out the statements on the file; the number that a query returns.
  int64_t Sql(const std::string& sql) const {
    hqosd::Database db;
    int64_t number = 0;
    const auto take = [](void* to, int, char** columns, char**) {
      *static_cast<int64_t*>(to) = std::stoll(columns[0]);
      return 0;
    };
    EXPECT_TRUE(hqosd::OpenDatabase(file(), SQLITE_OPEN_READWRITE, db));
    EXPECT_EQ(sqlite3_exec(db.get(), sql.c_str(), take, &number, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db.get());
    return number;
  }

  FakeInterfaces interfaces_;

 private:
  struct Arguments {
    std::mt19937& random;

    uint32_t Below(uint32_t bound) const { return static_cast<uint32_t>(random() % bound); }
    void Fill(const char*& name) const { name = kNames[Below(6)]; }
    static void Fill(uint16_t& id) { id = HQOS_ID_NONE; }
    void Fill(uint32_t& number) const { number = Below(4); }
    void Fill(HQOS_DPThreshold& t) const { t = {1, 2, Below(9), Below(9)}; }
    void Fill(HQOS_MatchRule& rule) const {
      const auto value = static_cast<uint16_t>(Below(8));
      rule = Rule(HQOS_MATCH_DOT1P, {{value, value}});
    }
    void Fill(HQOS_AppObj& obj) const {
      obj = {HQOS_APPOBJ_SLOT, Below(4), HQOS_DIR_BOTH, {}};
      if (Below(2) != 0) obj = {HQOS_APPOBJ_IFINDEX, 3, Below(3), {}};
    }
  };

  std::string dir_;
  std::unique_ptr<hqosd::Transactor> transactor_;
  std::mt19937 random_{11};
};

}  // namespace wire
