// What a command costs beyond its system calls: HQOS_lib_SetDebug against a bare loop of socket,
// connect, send, recv and close to the same peer, call by call in turn, both processes on one CPU,
// with the endpoint in HQOS_RUNTIME_DIR.
//   round_trip_bench [CALLS]         the medians and their ratio, and the heap allocations
//   round_trip_bench --calls CALLS   just that many commands, to be counted from outside
#include <arpa/inet.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "hqos.h"
#include "platform/lip.h"

// Counts the allocations of the process.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);
extern "C" void* __libc_memalign(size_t alignment, size_t size);
static size_t g_allocations = 0;
void* malloc(size_t size) { return ++g_allocations, __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return ++g_allocations, __libc_calloc(count, size); }
void* realloc(void* block, size_t size) { return ++g_allocations, __libc_realloc(block, size); }
void* aligned_alloc(size_t alignment, size_t size) {
  return ++g_allocations, __libc_memalign(alignment, size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)

namespace {

constexpr uint8_t kRequest[] = {8, 1, 1, 1, 1, 0, 0, 0, 0, 33, 0, 4, 0, 0, 0, 1};
constexpr uint8_t kReply[] = {8, 1, 2, 1, 1, 0, 0, 0, 0x70, 0, 0, 5, 0, 0, 0, 0, 0};

[[noreturn]] void Die(const char* what) {
  std::perror(what);
  std::exit(1);
}

// The peer: answers every request with the same reply.
[[noreturn]] void Answer(int listener) {
  uint8_t request[HQOS_MSG_MAX];
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) Die("accept");
    if (recv(fd, request, sizeof request, 0) > 0) {
      send(fd, kReply, sizeof kReply, MSG_NOSIGNAL);
      recv(fd, request, sizeof request, 0);  // the client's close
    }
    close(fd);
  }
}

void BareCall(const sockaddr_un& endpoint) {
  uint8_t reply[HQOS_MSG_MAX];
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&endpoint), sizeof endpoint) != 0 ||
      send(fd, kRequest, sizeof kRequest, 0) != sizeof kRequest ||
      recv(fd, reply, sizeof reply, MSG_WAITALL) != sizeof kReply) {
    Die("bare call");
  }
  close(fd);
}

template <class Call>
double Nanoseconds(Call call) {
  const auto begin = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
}

double Median(std::vector<double>& samples) {
  const auto middle = samples.begin() + static_cast<ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

void Command() {
  if (HQOS_lib_SetDebug(1) != 0) Die("HQOS_lib_SetDebug");
}

void Compare(size_t calls) {
  sockaddr_un endpoint{AF_UNIX, {}};
  LIP_GetEndpoint(HQOS_SERVICE_NODE, HQOS_SERVICE_PORT, 0, endpoint.sun_path,
                  sizeof endpoint.sun_path);
  std::vector<double> library, bare;
  library.reserve(calls);
  bare.reserve(calls);
  size_t allocations = 0;
  for (size_t i = 0; i < calls; ++i) {
    bare.push_back(Nanoseconds([&] { BareCall(endpoint); }));
    const size_t before = g_allocations;
    library.push_back(Nanoseconds(Command));
    allocations += g_allocations - before;
  }
  const double a = Median(library), b = Median(bare);
  std::printf("%zu calls each: HQOS_lib_SetDebug %.0f ns, bare loop %.0f ns, ratio %.3f\n", calls,
              a, b, a / b);
  std::printf("heap allocations: %zu\n", allocations);
}

}  // namespace

int main(int argc, char** argv) {
  const bool only = argc == 3 && std::strcmp(argv[1], "--calls") == 0;
  const size_t calls = argc > 1 ? std::strtoul(argv[argc - 1], nullptr, 10) : 200'000;

  char dir[] = "/tmp/hqos-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) Die("mkdtemp");
  setenv("HQOS_RUNTIME_DIR", dir, 1);
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(0, &one);
  sched_setaffinity(0, sizeof one, &one);

  const sockaddr_lip address{
      sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
  uint32_t candidate = 0;
  const int listener = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  if (LIP_Listen(listener, &address, 16, &candidate) != 0) Die("LIP_Listen");
  const pid_t peer = fork();
  if (peer == 0) Answer(listener);

  if (only) {
    for (size_t i = 0; i < calls; ++i) Command();
  } else {
    Compare(calls);
  }
  kill(peer, SIGKILL);
  waitpid(peer, nullptr, 0);
  std::filesystem::remove_all(dir);
  return 0;
}
