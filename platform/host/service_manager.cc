// hqosd, started and asked for.
#include "platform/service_manager.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "platform/host/chassis.h"
#include "platform/lip.h"
#include "platform/text.h"

namespace {

constexpr uint16_t kPort = 1174;
constexpr uint32_t kSelfEndpoint = 0x80000000;
constexpr int kPatience = 10'000;  // milliseconds
constexpr int kPause = 20;

bool IsKnown(const char* name) { return strcmp(name, "hqos") == 0; }

bool Listens(uint16_t node) {
  const uint32_t endpoint = node == hqos::host::SelfNode() ? kSelfEndpoint : node;
  const sockaddr_lip address{sizeof address, LIP_FAMILY, htons(kPort), htonl(endpoint), {}};
  const int fd = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  const bool listens = fd >= 0 && LIP_Connect(fd, &address, sizeof address) == 0;
  if (fd >= 0) close(fd);
  return listens;
}

// Becomes hqosd for the node, detached; `alive` is kept open until it ends, `failed` is told when
// there is no program.
[[noreturn]] void Become(uint16_t node, int failed) {
  setsid();
  const int null = open("/dev/null", O_RDWR);
  for (int fd = 0; fd < 3 && null >= 0; ++fd) dup2(null, fd);
  char number[8];
  scnprintf(number, sizeof number, "%u", node);
  const char* const given = secure_getenv("HQOSD");
  const char* const program = given != nullptr && *given != '\0' ? given : "hqosd";
  const char* const arguments[] = {program, "--node", number, nullptr};
  execvp(program, const_cast<char* const*>(arguments));
  const int why = errno;
  [[maybe_unused]] const ssize_t told = write(failed, &why, sizeof why);
  _exit(127);
}

// Starts it as a child of nobody here. Returns a descriptor that ends when it does, or -1.
int Spawn(uint16_t node, uint32_t& why) {
  int alive[2], failed[2];
  if (pipe(alive) != 0) return why = static_cast<uint32_t>(errno), -1;
  if (pipe2(failed, O_CLOEXEC) != 0) {
    why = static_cast<uint32_t>(errno);
    close(alive[0]), close(alive[1]);
    return -1;
  }
  fcntl(alive[0], F_SETFD, FD_CLOEXEC);
  const pid_t child = fork();
  if (child == 0) {
    if (fork() == 0) Become(node, failed[1]);
    _exit(0);
  }
  close(alive[1]);
  close(failed[1]);
  int reason = child < 0 ? errno : 0;
  if (child > 0) {
    waitpid(child, nullptr, 0);
    if (read(failed[0], &reason, sizeof reason) != sizeof reason) reason = 0;
  }
  close(failed[0]);
  if (reason == 0) return alive[0];
  close(alive[0]);
  why = static_cast<uint32_t>(reason);
  return -1;
}

// Waits until it listens or has ended.
uint32_t Await(uint16_t node, int alive) {
  for (int waited = 0; waited < kPatience; waited += kPause) {
    if (Listens(node)) return 0;
    pollfd end{alive, 0, 0};
    if (poll(&end, 1, kPause) > 0) return Listens(node) ? 0 : ECHILD;
  }
  return ETIMEDOUT;
}

struct Search {
  uint16_t node;
  bool found;
};

bool HasSlot(uint16_t node) {
  Search search{node, false};
  hqos::host::VisitSlots(
      [](const hqos::host::Slot& slot, void* user) {
        auto* const s = static_cast<Search*>(user);
        s->found |= slot.node == s->node;
      },
      &search);
  return search.found;
}

}  // namespace

uint32_t SERVICE_GetStatus(uint16_t node, const char* name, uint32_t, uint32_t* status) {
  if (!IsKnown(name)) return EINVAL;
  *status = HasSlot(node) && Listens(node) ? 1 : 0;
  return 0;
}

uint32_t SERVICE_Start(uint16_t node, const char* name, uint32_t, uint32_t) {
  return SERVICE_BatchStart(&node, 1, name, 0, 0);
}

// One after the other: hqosd listens within milliseconds.
uint32_t SERVICE_BatchStart(const uint16_t* nodes, uint32_t count, const char* name, uint32_t,
                            uint32_t) {
  if (!IsKnown(name)) return EINVAL;
  uint32_t first = 0;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t why = HasSlot(nodes[i]) ? 0 : EINVAL;
    const int alive = why == 0 ? Spawn(nodes[i], why) : -1;
    if (alive >= 0) {
      why = Await(nodes[i], alive);
      close(alive);
    }
    if (first == 0) first = why;
  }
  return first;
}
