// What becomes of calls, and of what has been acknowledged, when something fails at a certain step.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "hqos.h"
#include "hqosd.h"
#include "tests/client.h"
#include "tests/process.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using process::Client;
using process::Service;

// The service loads tests/inject.c before itself, while this lives.
class Injection {
 public:
  Injection() {
    setenv("LD_PRELOAD", INJECT, 1);
    char pattern[] = "/tmp/hqos-inject-XXXXXX";
    dir_ = mkdtemp(pattern);
    setenv("HQOS_INJECT", file().c_str(), 1);
  }
  ~Injection() {
    unsetenv("LD_PRELOAD");
    fs::remove_all(dir_);
  }
  Injection(const Injection&) = delete;
  Injection& operator=(const Injection&) = delete;

  void Set(const std::string& fault) const {
    std::ofstream(file() + ".new") << fault;
    fs::rename(file() + ".new", file());
  }
  void SetClockBack() const { std::ofstream(file() + ".clock") << ""; }
  bool HasHappened() const { return !fs::exists(file()); }

 private:
  std::string file() const { return dir_ + "/fault"; }
  std::string dir_;
};

// The verdict on the creation of an FP, or why there is none.
uint32_t AddFP(const std::string& name) {
  HQOS_Result result{};
  const uint32_t status = HQOS_lib_AddFP(name.c_str(), HQOS_ID_NONE, &result);
  return status != 0 ? status : result.code;
}
bool HasFP(const std::string& name) {
  HQOS_FPInfo info;
  const uint32_t status = HQOS_lib_GetFP(name.c_str(), &info);
  EXPECT_TRUE(status == 0 || status == HQOSD_NOT_FOUND) << status;
  return status == 0;
}

const wire::Bytes kAnything{8};  // a request that is answered, if with a refusal

size_t DescriptorsOf(const std::string& process) {
  return static_cast<size_t>(
      std::distance(fs::directory_iterator("/proc/" + process + "/fd"), fs::directory_iterator()));
}

// A step of a round trip on the service's side; "" in `fault` is the caller's future.
constexpr const char* kSteps[] = {"accept4 after",    "recvmsg before",  "recvmsg after",
                                  "fdatasync before", "fdatasync after", "sendmsg before",
                                  "sendmsg after"};

TEST(Faults, KilledAtAnyStepTheServiceLosesNothing) {
  const size_t before = DescriptorsOf("self");
  const Injection injection;
  Service service({"--store", "@/store"});
  for (const std::string step : kSteps) {
    const std::string name = "fp " + step;
    injection.Set(step + " kill");
    const uint32_t verdict = AddFP(name);
    EXPECT_TRUE(injection.HasHappened()) << step;
    EXPECT_EQ(service.Wait(), 128 + SIGKILL) << step;
    EXPECT_TRUE(verdict == HQOS_ERR_FAILED || (verdict == 0 && step == "sendmsg after")) << step;
    EXPECT_EQ(AddFP(name), uint32_t{HQOS_ERR_FAILED});  // nobody there: no waiting
    service.Start();
    const bool isStored = step == "fdatasync after" || step.starts_with("sendmsg");
    EXPECT_TRUE(!isStored || HasFP(name)) << step;
    const uint32_t again = HasFP(name) ? uint32_t{HQOSD_EXISTS} : 0;
    EXPECT_EQ(AddFP(name), again) << step;
    EXPECT_EQ(service.Log().find("quarantined"), std::string::npos);
  }
  EXPECT_EQ(DescriptorsOf("self"), before);
}

bool IsStopped(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string number, name, state;
  stat >> number >> name >> state;
  return state == "T";
}

TEST(Faults, StoppedAtAnyStepTheServiceKeepsTheCallerWaiting) {
  const Injection injection;
  Service service({"--store", "@/store"});
  for (const std::string step : kSteps) {
    injection.Set(step + " stop");
    auto call = std::async(std::launch::async, [&] { return AddFP("fp " + step); });
    const bool isAnswered = step == "sendmsg after";
    for (int i = 0; i < 1000 && !IsStopped(service.pid()); ++i) std::this_thread::sleep_for(10ms);
    const auto state = call.wait_for(isAnswered ? 10s : 100ms);
    EXPECT_EQ(state == std::future_status::ready, isAnswered) << step;
    EXPECT_TRUE(injection.HasHappened()) << step;
    service.Signal(SIGCONT);
    EXPECT_EQ(call.get(), 0u) << step;
    EXPECT_TRUE(HasFP("fp " + step));
  }
}

TEST(Faults, FailedCallsCostOneAnswerAtMost) {
  const Injection injection;
  Service service({"--store", "@/store"});
  const auto now = [&] { return DescriptorsOf(std::to_string(service.pid())); };
  // The end of a connection reaches the service after its reply.
  const auto waitFor = [&](size_t descriptors) {
    for (int i = 0; i < 1000 && now() != descriptors; ++i) std::this_thread::sleep_for(10ms);
    return now();
  };
  size_t before = 0;
  {
    const Client first, second;
    first.Send(kAnything);
    first.Receive();
    second.Send(kAnything);
    second.Receive();
    before = now() - 2;
  }
  EXPECT_EQ(waitFor(before), before);
  const struct {
    const char* call;
    int reason;
    bool isAnswered;
  } faults[] = {
      {"accept4 before", EINTR, true},       {"accept4 before", ECONNABORTED, true},
      {"accept4 before", EMFILE, true},      {"accept4 before", ENFILE, true},
      {"accept4 before", ENOMEM, true},      {"recvmsg before", EINTR, true},
      {"recvmsg before", ECONNRESET, false}, {"recvmsg before", ENOMEM, false},
      {"sendmsg before", EPIPE, false},      {"sendmsg before", ENOBUFS, false},
      {"fdatasync before", EIO, true},       {"fdatasync before", ENOSPC, true},
  };
  for (const auto& fault : faults) {
    const std::string step = fault.call + (" " + std::to_string(fault.reason));
    injection.Set(step);
    const uint32_t verdict = AddFP("fp " + step);
    EXPECT_TRUE(injection.HasHappened()) << step;
    const bool isStoreFault = step.starts_with("fdatasync");
    EXPECT_EQ(verdict, isStoreFault       ? uint32_t{HQOSD_NOT_STORED}
                       : fault.isAnswered ? 0
                                          : uint32_t{HQOS_ERR_FAILED})
        << step;
    EXPECT_FALSE(isStoreFault && HasFP("fp " + step));
    EXPECT_EQ(AddFP("next " + step), 0u) << step;
  }
  EXPECT_EQ(waitFor(before), before);
}

TEST(Faults, SurvivesAClockSetBack) {
  const Injection injection;
  Service service({"--store", "@/store"});
  const Client silent;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(AddFP("before"), 0u);
  injection.SetClockBack();
  EXPECT_EQ(AddFP("after"), 0u);
  while (!silent.IsClosed() && std::chrono::steady_clock::now() - begin < 8s) {
    std::this_thread::sleep_for(50ms);
  }
  EXPECT_TRUE(silent.IsClosed());  // its time has run out as it should
  EXPECT_GT(std::chrono::steady_clock::now() - begin, 4s);
}

// A call that has begun is answered by the service that it reached, the next by the new one.
TEST(Faults, FollowsAnEndpointThatIsReplaced) {
  Service old;
  const std::string oldDir = old.dir();
  EXPECT_EQ(AddFP("old"), 0u);
  Service young;  // its directory is the one looked into
  EXPECT_EQ(AddFP("young"), 0u);
  setenv("HQOS_RUNTIME_DIR", oldDir.c_str(), 1);
  EXPECT_TRUE(HasFP("old"));
  old.Signal(SIGSTOP);
  const Client early;
  early.Send(kAnything);
  fs::rename(young.endpoint(), old.endpoint());
  EXPECT_TRUE(HasFP("young"));
  EXPECT_FALSE(HasFP("old"));
  old.Signal(SIGCONT);
  EXPECT_FALSE(early.Receive().empty());
  fs::remove(old.endpoint());
  EXPECT_EQ(AddFP("none"), uint32_t{HQOS_ERR_FAILED});
}

TEST(Faults, AreClearWhenTheCallerHasNoDescriptors) {
  Service service;
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const uint32_t verdict = AddFP("fp");
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(verdict, uint32_t{HQOS_ERR_FAILED});
  EXPECT_FALSE(HasFP("fp"));
}

std::atomic<int> g_alarms;

TEST(Faults, SignalsDisturbNoCall) {
  Service service;
  struct sigaction action {};
  action.sa_handler = [](int) { ++g_alarms; };  // without SA_RESTART
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 50}, {0, 50}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  int failed = 0;
  for (int i = 0; i < 2000; ++i) failed += AddFP("fp" + std::to_string(i)) != 0 ? 1 : 0;
  setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_EQ(failed, 0);
  EXPECT_GT(g_alarms, 100);
}

}  // namespace
