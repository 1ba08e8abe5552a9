// Loads a running service with clients that go through mixed commands and queries, each on objects
// of its own, beside slow and rude ones. Every answer is checked.
//   load_bench [SECONDS [CLIENTS]]
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "bench/rude_clients.h"
#include "hqosd.h"

namespace {

std::atomic<bool> g_stop;

// One of the clients: its calls, and how long each took in microseconds.
class Worker {
 public:
  explicit Worker(uint16_t number) : number_(number), name_("load" + std::to_string(number)) {
    object_.type = HQOS_APPOBJ_ID;
    object_.value = number;
    object_.param = HQOS_DIR_OUTBOUND;
  }

  void Run() {
    while (!g_stop) {
      MakeSP();
      MakeFP();
      NestAndList();
      ApplyAndAsk();
      TakeAllBack();
    }
  }

  std::vector<float> commands, queries;

 private:
  // Carries out a command, whose verdict must be that.
  template <class Command, class... Arguments>
  void Do(uint32_t verdict, Command command, Arguments... arguments) {
    HQOS_Result result{};
    const auto begin = std::chrono::steady_clock::now();
    const uint32_t status = command(arguments..., &result);
    commands.push_back(static_cast<float>(Seconds(begin) * 1e6));
    const bool isRight = status == 0 && result.code == verdict && (verdict == 0) == !result.text[0];
    if (!isRight) std::fprintf(stderr, "0x%08x 0x%08x %s\n", status, result.code, result.text);
    Expect(isRight, "the verdict on a command");
  }
  template <class Query, class... Arguments>
  void Ask(uint32_t status, Query query, Arguments... arguments) {
    const auto begin = std::chrono::steady_clock::now();
    const uint32_t got = query(arguments...);
    queries.push_back(static_cast<float>(Seconds(begin) * 1e6));
    if (got != status) std::fprintf(stderr, "0x%08x instead of 0x%08x\n", got, status);
    Expect(got == status, "the status of a query");
  }

  void MakeSP() {
    const char* const sp = name_.c_str();
    Do(0, HQOS_lib_AddSP, sp, uint16_t{HQOS_ID_NONE});
    Do(HQOSD_EXISTS, HQOS_lib_AddSP, sp, uint16_t{HQOS_ID_NONE});
    Do(0, HQOS_lib_SetSPUnit, sp, uint32_t{HQOS_SPUNIT_WEIGHT});
    Ask(0, HQOS_lib_GetSP, sp, &sp_);
    Expect(sp_.name == name_ && sp_.value1 == HQOS_SPUNIT_WEIGHT && sp_.value2 == 0, "an SP");
  }

  void MakeFP() {
    const char* const name = name_.c_str();
    const uint32_t queue[] = {1, number_, 3}, gts[] = {number_, 5, 6, 7}, bandwidth = number_ + 8u;
    Do(0, HQOS_lib_AddDP, name, uint16_t{HQOS_ID_NONE});
    Do(0, HQOS_lib_AddDPWeight, name, uint32_t{number_});
    Do(0, HQOS_lib_AddDPThreshold, name, 1u, HQOS_DPThreshold{1, number_, 3, 4});
    HQOS_DPInfo dp;
    Ask(0, HQOS_lib_GetDP, name, &dp);
    Expect(dp.name == name_ && dp.weight == number_ && dp.thresholds[1].value2 == number_, "a DP");
    Do(0, HQOS_lib_AddFP, name, uint16_t{HQOS_ID_NONE});
    Do(0, HQOS_lib_AddQueue, name, queue);
    Do(0, HQOS_lib_AddGTS, name, gts);
    Do(0, HQOS_lib_AddBandwidth, name, &bandwidth);
    Do(0, HQOS_lib_FPReferDP, name, name);
    Do(HQOSD_IN_USE, HQOS_lib_DelDP, name);
    HQOS_FPInfo fp;
    Ask(0, HQOS_lib_GetFP, name, &fp);
    const auto isWhole = [&](const HQOS_FPInfo& info) {
      return info.flags == 15 && info.dpName == name_ && info.dpId == dp.id &&
             std::equal(queue, queue + 3, info.queue) && std::equal(gts, gts + 4, info.gts) &&
             info.bandwidth == bandwidth;
    };
    Expect(fp.name == name_ && isWhole(fp), "an FP");
    // A listing from just before it, wherever the FPs of other clients are.
    std::vector<HQOS_FPInfo> block(HQOS_BULK_FP_MAX);
    uint32_t count = 0;
    const auto before = static_cast<uint16_t>(fp.id == 0 ? HQOS_ID_NONE : fp.id - 1);
    Ask(0, HQOS_lib_GetBulkFP, before, 4u, &count, block.data());
    Expect(count >= 1 && count <= 4 && block[0].id == fp.id && isWhole(block[0]), "a list of FPs");
  }

  void NestAndList() {
    const std::string fg = name_ + "-fg", fcs[] = {name_ + "-a", name_ + "-b"};
    HQOS_MatchRule rule{HQOS_MATCH_DOT1P, {{1, 3}}};
    for (size_t i = 1; i < HQOS_MATCHRULE_RANGES; ++i) rule.ranges[i] = {0xFFFF, 0xFFFF};
    Do(0, HQOS_lib_AddFG, fg.c_str(), uint16_t{HQOS_ID_NONE});
    Do(0, HQOS_lib_AddSPNestFG, name_.c_str(), &rule, fg.c_str(), name_.c_str());
    Do(HQOSD_NESTED, HQOS_lib_AddSPNestFG, name_.c_str(), &rule, fg.c_str(), nullptr);
    for (const std::string& fc : fcs) {
      Do(0, HQOS_lib_AddFGNestFC, fg.c_str(), fc.c_str(), nullptr);
    }
    Do(HQOSD_IN_USE, HQOS_lib_DelSP, name_.c_str());
    constexpr uint16_t kUnset = HQOS_PATH_UNSET;
    const HQOS_SPSonPath start{{sp_.id, kUnset, kUnset, kUnset, kUnset, kUnset}};
    std::vector<HQOS_SPSon> sons(HQOS_BULK_SPSON_MAX);
    uint32_t count = 0;
    Ask(0, HQOS_lib_GetBulkSPSon, &start, 0u, &count, sons.data());
    Expect(count == 3 && sons[0].cfg.name1 == fg && sons[0].cfg.name2 == name_ &&
               std::memcmp(&sons[0].cfg.rule, &rule, sizeof rule) == 0,
           "the FG of an SP");
    for (size_t i = 1; i < 3; ++i) {
      Expect(std::count(fcs, fcs + 2, sons[i].cfg.name1) == 1 && sons[i].words[0] == 2 &&
                 HQOS_util_SPSonPathCompare(&sons[i - 1].path, &sons[i].path) == 2,
             "the FCs of an SP");
    }
    Expect(std::strcmp(sons[1].cfg.name1, sons[2].cfg.name1) != 0, "two FCs");
    path_ = start;
  }

  void ApplyAndAsk() {
    Do(0, HQOS_lib_ApplySP, &object_, name_.c_str());
    Do(HQOSD_APPLIED, HQOS_lib_ApplySP, &object_, name_.c_str());
    HQOS_ApplyInfo info;
    Ask(0, HQOS_lib_GetApplyStat, &object_, &info);
    Expect(info.sp.name == name_ && info.obj.value == number_ && info.sp.words[0] == 3, "a place");
    std::vector<HQOS_SPSonDiag> diags(HQOS_BULK_SPSON_MAX);
    uint32_t count = 0;
    Ask(0, HQOS_lib_GetBulkSPSonDiag, &object_, &path_, 0u, &count, diags.data());
    Expect(count == 3 && diags[2].diag[1] == HQOSD_DIAG_NO_ENFORCE, "a diagnosis");
    Do(0, HQOS_lib_UndoApplySP, &object_, name_.c_str());
    Ask(HQOSD_NOT_FOUND, HQOS_lib_GetApplyDiag, &object_, &info);
  }

  void TakeAllBack() {
    const std::string fg = name_ + "-fg";
    const char* const name = name_.c_str();
    for (const char* end : {"-a", "-b"}) {
      Do(0, HQOS_lib_DelFGNestFC, fg.c_str(), (name_ + end).c_str());
    }
    Do(0, HQOS_lib_DelSPNestFG, name, nullptr, fg.c_str());
    Do(0, HQOS_lib_DelFG, fg.c_str());
    Do(0, HQOS_lib_DelSP, name);
    Do(0, HQOS_lib_DelFP, name);
    Do(0, HQOS_lib_DelDP, name);
    Ask(HQOSD_NOT_FOUND, HQOS_lib_GetSP, name, &sp_);
  }

  uint16_t number_;
  std::string name_;
  HQOS_AppObj object_{};
  HQOS_SPInfo sp_{};
  HQOS_SPSonPath path_{};
};

// The process at the other end of a connection.
pid_t ServicePid() {
  const RawClient client;
  ucred peer{};
  socklen_t size = sizeof peer;
  Expect(getsockopt(client.fd(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0, "the service's PID");
  return peer.pid;
}

struct Footprint {
  long kilobytes = 0, descriptors = 0;
  explicit Footprint(const std::string& process) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmRSS:")) kilobytes = std::stol(line.substr(6));
    }
    namespace fs = std::filesystem;
    descriptors = std::distance(fs::directory_iterator("/proc/" + process + "/fd"), {});
  }
};

void PrintLatencies(const char* what, std::vector<float> all) {
  std::sort(all.begin(), all.end());
  const auto at = [&](double part) {
    return static_cast<double>(
        all[static_cast<size_t>(part * static_cast<double>(all.size() - 1))]);
  };
  std::printf("%-9s %9zu  median %.0f us, 99 %% %.0f us, 99.9 %% %.0f us, largest %.0f us\n", what,
              all.size(), at(0.5), at(0.99), at(0.999), at(1));
}

void Pause(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// What the service looks like while the clients run.
struct Run {
  double seconds;  // that it took
  Footprint quarter, end;
};

Run LoadIt(std::vector<Worker>& workers, const std::string& service, double seconds) {
  const auto begin = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  threads.reserve(workers.size() + 3);
  for (Worker& worker : workers) threads.emplace_back([&worker] { worker.Run(); });
  for (const auto be : {BeSlow, BeIdle, BeRude}) threads.emplace_back([be] { be(g_stop); });
  Pause(seconds / 4);
  const Footprint quarter(service);
  Pause(seconds * 3 / 4);
  const Footprint end(service);
  g_stop = true;
  for (std::thread& thread : threads) thread.join();
  return {Seconds(begin), quarter, end};
}

void PrintCalls(const std::vector<Worker>& workers, double seconds) {
  std::vector<float> commands, queries;
  for (const Worker& worker : workers) {
    commands.insert(commands.end(), worker.commands.begin(), worker.commands.end());
    queries.insert(queries.end(), worker.queries.begin(), worker.queries.end());
  }
  std::printf("%zu clients, %.1f s, %.0f calls a second, every answer right\n", workers.size(),
              seconds, static_cast<double>(commands.size() + queries.size()) / seconds);
  PrintLatencies("commands", std::move(commands));
  PrintLatencies("queries", std::move(queries));
}

// The least descriptors that the service has within some time; it ends once they are `enough`.
long LeastDescriptors(const std::string& service, long enough, int tries) {
  long least = Footprint(service).descriptors;
  for (int i = 0; i < tries && least > enough; ++i) {
    Pause(0.05);
    least = std::min(least, Footprint(service).descriptors);
  }
  return least;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::strtod(argv[1], nullptr) : 60;
  const auto clients = static_cast<uint16_t>(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 64);
  if (!(seconds > 0) || clients == 0) {
    std::fprintf(stderr, "usage: load_bench [SECONDS [CLIENTS]]\n");
    return 2;
  }
  const std::string service = std::to_string(ServicePid());
  const long before = LeastDescriptors(service, 0, 20);  // without the connection that asked
  const Footprint own("self");
  std::vector<Worker> workers;
  workers.reserve(clients);
  for (uint16_t i = 0; i < clients; ++i) workers.emplace_back(i);
  const auto [taken, quarter, end] = LoadIt(workers, service, seconds);
  PrintCalls(workers, taken);
  const long after = LeastDescriptors(service, before, 200);
  std::printf(
      "service: %ld kB at a quarter of the time, %ld kB at the end; descriptors %ld before, "
      "%ld under load, %ld after\n",
      quarter.kilobytes, end.kilobytes, before, end.descriptors, after);
  Expect(after <= before, "no descriptor left in the service");
  Expect(Footprint("self").descriptors <= own.descriptors, "no descriptor left here");
  Expect(end.kilobytes <= quarter.kilobytes + quarter.kilobytes / 10 + 2048, "steady memory");
  return 0;
}
