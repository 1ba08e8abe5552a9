// Durable commands a second, with 1 and with 16 clients, against a bare loop that commits the same
// record to an SQLite store with the same settings; both stores in the directory of the first
// argument, the service (HQOSD, by its path) started and ended by this program.
//   durable_bench DIR HQOSD [SECONDS]
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/service_tool.h"

namespace {

// Commands that changed a bandwidth, a second.
double Commands(int clients, double seconds) {
  std::atomic<bool> stop = false;
  std::atomic<uint64_t> done = 0;
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(clients));
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = "fp" + std::to_string(i);
      HQOS_Result result{};
      for (uint32_t value = 1; !stop; ++value, ++done) {
        Check(HQOS_lib_AddBandwidth(name.c_str(), &value, &result), result);
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  return static_cast<double>(done) / Seconds(begin);
}

// Puts the two records of an FP in one transaction, with prepared statements and nothing else.
double BareCommits(const std::string& file, double seconds) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  const auto execute = [db](const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) std::exit(1);
  };
  execute(
      "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE IF NOT EXISTS "
      "record(key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;");
  sqlite3_stmt* put = nullptr;
  sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO record VALUES(?1, ?2)", -1, &put, nullptr);
  const auto step = [put](const char* key, const uint8_t* value, uint32_t length) {
    sqlite3_bind_text(put, 1, key, -1, SQLITE_STATIC);
    sqlite3_bind_blob(put, 2, value, static_cast<int>(length), SQLITE_STATIC);
    if (sqlite3_step(put) != SQLITE_DONE || sqlite3_reset(put) != SQLITE_OK) std::exit(1);
  };
  HQOS_FPCfg cfg{"fp0", 0, HQOS_FPI_BANDWIDTH, {}, {}, {}, 0};
  HQOS_FPRun run{0, HQOS_FPI_BANDWIDTH, 0, 0, {}, {}, 0};
  const auto begin = std::chrono::steady_clock::now();
  uint32_t done = 0;
  for (; Seconds(begin) < seconds; ++done) {
    uint8_t value[256];
    cfg.bandwidth = run.bandwidth = done;
    execute("BEGIN IMMEDIATE");
    step("FP-cfg-fp0", value, HQOS_dbmtype_EncapFPCfg(&cfg, sizeof value, value));
    step("FP-run-fp0", value, HQOS_dbmtype_EncapFPRun(&run, sizeof value, value));
    execute("COMMIT");
  }
  const double rate = done / Seconds(begin);
  sqlite3_finalize(put);
  sqlite3_close(db);
  return rate;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string dir = argv[1];
  const double seconds = argc > 3 ? std::strtod(argv[3], nullptr) : 3;
  std::filesystem::create_directories(dir);
  setenv("HQOS_RUNTIME_DIR", dir.c_str(), 1);
  std::string store = dir + "/service.db", option = "--store";
  char* arguments[] = {argv[2], option.data(), store.data(), nullptr};
  pid_t pid;
  if (posix_spawn(&pid, argv[2], nullptr, nullptr, arguments, environ) != 0) return 1;
  HQOS_Result result{};
  while (HQOS_lib_AddDP("up", HQOS_ID_NONE, &result) != 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  for (int i = 0; i < 16; ++i) {
    HQOS_lib_AddFP(("fp" + std::to_string(i)).c_str(), HQOS_ID_NONE, &result);
  }
  for (int round = 0; round < 3; ++round) {
    const double one = Commands(1, seconds), many = Commands(16, seconds);
    const double bare = BareCommits(dir + "/bare.db", seconds);
    std::printf("1 client %.0f/s, 16 clients %.0f/s, bare commits %.0f/s: ratios %.2f and %.2f\n",
                one, many, bare, one / bare, many / bare);
  }
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  return 0;
}
