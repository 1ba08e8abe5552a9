// FPs with four settings each from a file, as one transaction: how long it takes with a durable
// store, and again with nothing to do; showing them; the longest wait of a query meanwhile, and the
// memory of hqosd. In the same run `nft -f`, which is not durable, in a namespace of its own.
//   config_bench [FPS]
#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>

#include "bench/service_tool.h"
#include "client/write_model.h"
#include "tests/namespace.h"
#include "tests/process.h"

namespace {

using Clock = std::chrono::steady_clock;

void WriteModel(const std::string& file, uint32_t fps) {
  client::Model model;
  model.dp["dp"].weight = 9;
  for (uint32_t i = 0; i < fps; ++i) {
    client::FP& fp = model.fp["fp" + std::to_string(i)];
    fp.queue = {7, 1, 100};
    fp.gts = {10000, 20000, 4000, 0};
    fp.bandwidth = 5000;
    fp.dp = "dp";
  }
  std::ofstream out(file);
  client::WriteToml(model, 0, out);
}

// Asks all the time, from a thread of its own.
class Asker {
 public:
  Asker() : thread_([this] { Ask(); }) {}
  ~Asker() {
    stop_ = true;
    thread_.join();
  }
  // The longest wait since the last call, in ms.
  double Worst() { return worst_.exchange(0); }

 private:
  void Ask() {
    while (!stop_) {
      const auto begin = Clock::now();
      HQOS_SPInfo info;
      Expect(HQOS_lib_GetNextSP(HQOS_ID_NONE, &info) != HQOS_ERR_FAILED, "a query is answered");
      worst_ = std::max(worst_.load(), Seconds(begin) * 1000);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::atomic<bool> stop_ = false;
  std::atomic<double> worst_ = 0;
  std::thread thread_;
};

// The line of /proc/PID/status that begins so.
std::string StatusLine(pid_t pid, const std::string& name) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(name)) return line;
  }
  return name + "unknown";
}

void RunConfig(Asker& asker, const char* title, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {HQOSCTL, "config"});
  asker.Worst();
  const auto begin = Clock::now();
  const process::Outcome outcome = process::Run(arguments);
  const double seconds = Seconds(begin);
  Expect(outcome.status == 0, outcome.err.c_str());
  std::printf("%-28s %6.2f s, a query waits at most %6.1f ms\n", title, seconds, asker.Worst());
}

void RunNft(const std::string& title, const std::string& file) {
  const auto begin = Clock::now();
  const process::Outcome outcome = process::Run({"/usr/sbin/nft", "-f", file});
  if (outcome.status != 0) std::printf("nft: %s", outcome.err.c_str());
  if (outcome.status == 0) std::printf("%-28s %6.2f s\n", title.c_str(), Seconds(begin));
}

void CompareWithNft(const std::string& dir) {
  if (access("/usr/sbin/nft", X_OK) != 0) {
    std::puts("skipped: nft -f, nftables is not installed");
    return;
  }
  const std::string why = net::WhyNotEntered();
  if (!why.empty()) {
    std::printf("skipped: nft -f, %s\n", why.c_str());
    return;
  }
  std::ofstream set(dir + "/set"), rules(dir + "/rules");
  set << "table ip a {\n set s { type ipv4_addr; elements = {";
  for (int i = 0; i < 60'000; ++i)
    set << (i == 0 ? "" : ",") << "10." << i / 250 << ".7." << i % 250;
  set << "} }\n}\n";
  rules << "table ip b {\n chain c {\n";
  for (int i = 0; i < 20'000; ++i)
    rules << "ip saddr 10." << i / 250 << ".7." << i % 250 << " drop\n";
  rules << "}\n}\n";
  set.close();
  rules.close();
  RunNft("nft -f, 60000 elements", dir + "/set");
  RunNft("nft -f, 20000 rules", dir + "/rules");
}

}  // namespace

int main(int argc, char** argv) {
  const auto fps = static_cast<uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 60'000);
  process::Service service({"--store", "@/store"});
  const std::string file = service.dir() + "/model", empty = service.dir() + "/empty";
  WriteModel(file, fps);
  WriteModel(empty, 0);
  std::printf("%u FPs with four settings each\n", fps);
  {
    Asker asker;
    RunConfig(asker, "config apply", {"apply", file});
    RunConfig(asker, "again, nothing to do", {"apply", file});
    RunConfig(asker, "config show", {"show"});
    RunConfig(asker, "apply --confirm, all removed", {"apply", empty, "--confirm", "600"});
    RunConfig(asker, "rollback", {"rollback"});
    std::printf("hqosd: %s\n", StatusLine(service.pid(), "VmHWM:").c_str());
  }
  CompareWithNft(service.dir());
  return 0;
}
