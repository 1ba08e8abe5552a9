// What was acknowledged outlives a service that is killed.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hqos.h"
#include "hqosd.h"
#include "tests/process.h"

namespace {

using process::Service;

// A client that creates and deletes FPs of its own, one after the other, until the service is gone.
struct Worker {
  std::string prefix;
  std::set<std::string> acknowledged;
  std::string open;  // the one whose command has not been answered
  unsigned next = 0;

  void Run() {
    for (;; ++next) {
      HQOS_Result result{};
      const bool add = next % 4 != 3 || acknowledged.empty();
      open = add ? prefix + std::to_string(next) : *acknowledged.begin();
      const uint32_t status = add ? HQOS_lib_AddFP(open.c_str(), HQOS_ID_NONE, &result)
                                  : HQOS_lib_DelFP(open.c_str(), &result);
      if (status != 0) return;
      EXPECT_EQ(result.code, 0u) << result.text;
      add ? (void)acknowledged.insert(open) : (void)acknowledged.erase(open);
      open.clear();
    }
  }
};

std::set<std::string> StoredFPs() {
  std::set<std::string> names;
  std::vector<HQOS_FPInfo> block(HQOS_BULK_FP_MAX);
  uint16_t start = HQOS_ID_NONE;
  for (uint32_t n = 1; n != 0;) {
    EXPECT_EQ(HQOS_lib_GetBulkFP(start, 0, &n, block.data()), 0u);
    for (uint32_t i = 0; i < n; ++i) names.insert(block[i].name);
    if (n != 0) start = block[n - 1].id;
  }
  return names;
}

TEST(Crash, LosesAndInventsNothing) {
  Service service({"--store", "@/store"});
  const char* const wanted = std::getenv("HQOS_CRASHES");
  const int crashes = wanted != nullptr ? std::atoi(wanted) : 12;
  std::mt19937 random(3);
  std::vector<Worker> workers(8);
  for (size_t i = 0; i < workers.size(); ++i) workers[i].prefix = std::string(1, char('a' + i));
  size_t known = 0;
  for (int crash = 0; crash < crashes; ++crash) {
    std::vector<std::thread> threads;
    for (Worker& worker : workers) threads.emplace_back([&worker] { worker.Run(); });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60'000));
    service.Signal(SIGKILL);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(service.Wait(), 128 + SIGKILL);
    service.Start();

    std::set<std::string> stored = StoredFPs();
    known = 0;
    for (Worker& worker : workers) {
      if (!worker.open.empty()) {  // done or not: both are right
        stored.contains(worker.open) ? (void)worker.acknowledged.insert(worker.open)
                                     : (void)worker.acknowledged.erase(worker.open);
      }
      worker.open.clear();
      for (const std::string& name : worker.acknowledged) EXPECT_EQ(stored.erase(name), 1u) << name;
      known += worker.acknowledged.size();
      ++worker.next;
    }
    EXPECT_TRUE(stored.empty()) << *stored.begin();
    EXPECT_EQ(service.Log().find("quarantined"), std::string::npos);
  }
  EXPECT_GT(known, 0u);
  RecordProperty("fps", static_cast<int>(known));
}

// Creates a store with one SP, and ends its service.
void MakeStore(Service& service) {
  HQOS_Result result;
  HQOS_lib_AddSP("gold", 1, &result);
  service.Signal(SIGTERM);
  service.Wait();
}

// As another user, for whom the directory is read-only, whether the file is or not.
TEST(Crash, ServesAStoreThatCanOnlyBeRead) {
  const std::string why = process::WhyNotAsNobody();
  if (geteuid() == 0 && !why.empty()) GTEST_SKIP() << why;
  using std::filesystem::perms;
  for (const auto mode : {static_cast<perms>(0444), static_cast<perms>(0666)}) {
    Service service({"--store", "@/store"});
    MakeStore(service);
    const std::string dir = service.dir() + "/run", store = service.dir() + "/store";
    std::filesystem::create_directories(dir);
    std::filesystem::permissions(dir, perms::all | perms::sticky_bit);
    std::filesystem::permissions(store, mode);
    std::filesystem::permissions(service.dir(), static_cast<perms>(0555));
    const std::string run = "HQOS_RUNTIME_DIR=" + dir + " ";
    const std::string as = geteuid() == 0 ? process::kAsNobody : "";
    const process::Outcome outcome =
        process::Run({"/bin/sh", "-c",
                      run + as + HQOSD " --store " + store + " & service=$!; export " + run +
                          "; for i in 1 2 3 4 5 6 7 8 9; do sleep 0.1; " + as + HQOSCTL +
                          " sp show && break; done; " + as + HQOSCTL + " sp add tin; " + as +
                          HQOSCTL + " sp show; kill $service"});
    std::filesystem::permissions(service.dir(), perms::owner_all);
    EXPECT_TRUE(
        outcome.out.ends_with("NAME  ID  UNIT\ngold   1  byte-count\nNAME  ID  UNIT\n"
                              "gold   1  byte-count\n"))
        << outcome.out;
    EXPECT_NE(outcome.err.find("hqosctl: nothing is changed, the store fails: "), std::string::npos)
        << outcome.err;
  }
}

TEST(Crash, CheckReportsWhatIsThere) {
  Service service({"--store", "@/store"});
  for (const char* end : {"", "-wal", "-shm", "-reserve"}) {
    EXPECT_EQ(std::filesystem::status(service.dir() + "/store" + end).permissions(),
              static_cast<std::filesystem::perms>(0600));
  }
  MakeStore(service);
  const std::string store = service.dir() + "/store";
  const process::Outcome check = process::Run({HQOSD, "--check", "--store", store});
  EXPECT_EQ(check.status, 0);
  EXPECT_EQ(check.out, "3 records: 1 SPs, 0 FGs, 0 FCs, 0 FPs, 0 DPs, 0 applications\n");
  EXPECT_EQ(process::Run({HQOSD, "--check", "--store", store + "-none"}).status, 1);
  const process::Outcome dump = process::Run({HQOSCTL, "db", "dump", store});
  EXPECT_EQ(dump.out,
            "KEY          RECORD\n"
            "REVISION     {\"revision\":1}\n"
            "SP-cfg-gold  {\"name\":\"gold\",\"id\":1,\"unit\":0}\n"
            "VERSION      {\"version\":\"2\"}\n");
  EXPECT_NE(process::Run({HQOSD, "--store", "/proc/none/store"}).err.find("cannot open the store"),
            std::string::npos);
}

}  // namespace
