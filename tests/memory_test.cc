// The service when an allocation fails: each in turn, of the service itself, of its database and of
// its event loop.
#include <event2/event.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <thread>

#include "hqosd.h"
#include "platform/lip.h"
#include "service/server/server.h"
#include "tests/client.h"

namespace {

thread_local bool t_mayFail = false;
std::atomic<int> g_left = -1;     // allocations until one fails; below 0: none does
std::atomic<bool> g_all = false;  // and then all of them

bool Fails() {
  if (!t_mayFail || g_left < 0) return false;
  if (g_left == 0) return g_all || g_left-- == 0;
  --g_left;
  return false;
}

sqlite3_mem_methods g_real;

void* SqliteMalloc(int size) { return Fails() ? nullptr : g_real.xMalloc(size); }
void* SqliteRealloc(void* block, int size) {
  return Fails() ? nullptr : g_real.xRealloc(block, size);
}

// Before anything else is asked of the libraries.
[[maybe_unused]] const bool s_isSetUp = [] {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_real);
  sqlite3_mem_methods ours = g_real;
  ours.xMalloc = SqliteMalloc;
  ours.xRealloc = SqliteRealloc;
  sqlite3_config(SQLITE_CONFIG_MALLOC, &ours);
  event_set_mem_functions(
      [](size_t size) { return Fails() ? nullptr : std::malloc(size); },
      [](void* block, size_t size) { return Fails() ? nullptr : std::realloc(block, size); },
      std::free);
  return true;
}();

}  // namespace

void* operator new(size_t size) {
  for (;;) {
    void* const block = Fails() ? nullptr : std::malloc(size);
    if (block != nullptr) return block;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept { std::free(block); }

namespace {

uint32_t AddFP(const std::string& name) {
  HQOS_Result result{};
  const uint32_t status = HQOS_lib_AddFP(name.c_str(), HQOS_ID_NONE, &result);
  return status != 0 ? status : result.code;
}

// A service in a thread of this program, with a store.
class InThread {
 public:
  InThread() {
    char pattern[] = "/tmp/hqos-test-XXXXXX";
    dir_ = mkdtemp(pattern);
    setenv("HQOS_RUNTIME_DIR", dir_.c_str(), 1);
    listener_ = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
    const sockaddr_lip address{
        sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
    uint32_t candidate;
    EXPECT_EQ(LIP_Listen(listener_, &address, 5, &candidate), 0);
    thread_ = std::thread([this] {
      std::string why;
      hqosd::Transactor transactor{hqosd::Model()};
      EXPECT_TRUE(
          transactor.AttachStore(hqosd::OpenStore(dir_ + "/store", hqosd::Purpose::Serve, why)));
      hqosd::Server server(listener_, transactor, hqosd::Access(std::nullopt));
      t_mayFail = true;
      EXPECT_TRUE(server.Run());
      t_mayFail = false;
    });
  }
  ~InThread() {
    kill(getpid(), SIGTERM);
    thread_.join();
    close(listener_);
    std::filesystem::remove_all(dir_);
  }
  InThread(const InThread&) = delete;
  InThread& operator=(const InThread&) = delete;

 private:
  std::string dir_;
  int listener_;
  std::thread thread_;
};

TEST(Memory, ShortAtAnyAllocationCostsOneAnswerAtMost) {
  const InThread service;
  ASSERT_EQ(AddFP("first"), 0u);
  int failures = 0, refused = 0, broken = 0;
  for (int n = 0;; ++n) {
    const std::string name = "fp" + std::to_string(n);
    g_left = n;
    const uint32_t verdict = AddFP(name);
    const bool hasFailed = g_left < 0;
    g_left = -1;
    if (!hasFailed) break;
    ++failures;
    const bool isRefused = verdict == HQOSD_NOT_STORED || verdict == HQOSD_NO_MEMORY;
    EXPECT_TRUE(verdict == 0 || verdict == HQOS_ERR_FAILED || isRefused) << n << ": " << verdict;
    refused += isRefused ? 1 : 0;
    broken += verdict == HQOS_ERR_FAILED ? 1 : 0;
    HQOS_FPInfo info;
    const uint32_t found = HQOS_lib_GetFP(name.c_str(), &info);
    EXPECT_TRUE(verdict != 0 || found == 0) << n << ": " << found;
    EXPECT_TRUE(!isRefused || found == HQOSD_NOT_FOUND) << n << ": " << found;
    EXPECT_EQ(AddFP("next" + std::to_string(n)), 0u) << n;
  }
  RecordProperty("failures", failures);
  EXPECT_GT(refused, 0);
  EXPECT_GT(failures, refused + broken);
}

TEST(Memory, GoneAltogetherEndsNoQuery) {
  const InThread service;
  ASSERT_EQ(AddFP("first"), 0u);
  g_all = true;
  int answered = 0;
  for (int n = 0; n < 200; ++n) {
    HQOS_FPInfo info;
    g_left = n;
    const uint32_t status = HQOS_lib_GetFP("first", &info);
    g_left = -1;
    EXPECT_TRUE(status == 0 || status == HQOS_ERR_FAILED || status == HQOSD_NO_MEMORY) << status;
    answered += status == 0 ? 1 : 0;
    EXPECT_EQ(HQOS_lib_GetFP("first", &info), 0u) << n;
  }
  g_all = false;
  EXPECT_GT(answered, 0);
  EXPECT_LT(answered, 200);
  EXPECT_EQ(AddFP("last"), 0u);
}

}  // namespace
