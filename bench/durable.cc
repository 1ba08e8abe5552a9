// Durable commands a second, with 1 and with 16 clients, against a bare loop that commits the same
// record to an SQLite store with the same settings; both stores in the directory of the first
// argument, the service (HQOSD, by its path) started and ended by this program.
//   durable_bench DIR HQOSD [SECONDS]
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/service_tool.h"
#include "service/store.h"

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

double BareCommits(const std::string& file, double seconds) {
  std::string why;
  const auto store = hqosd::OpenStore(file, false, why);
  if (store == nullptr) std::exit(1);
  hqosd::Change configuration{"FP-cfg-fp0", hqosd::Bytes(56), ""},
      run{"FP-run-fp0", hqosd::Bytes(20), ""};
  const auto begin = std::chrono::steady_clock::now();
  uint64_t done = 0;
  for (; Seconds(begin) < seconds; ++done) {
    (*configuration.value)[0] = static_cast<uint8_t>(done);
    if (!store->Write({configuration, run}).empty()) std::exit(1);
  }
  return static_cast<double>(done) / Seconds(begin);
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
