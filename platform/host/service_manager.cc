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

#include "include/hqos.h"
#include "platform/host/chassis.h"
#include "platform/lip.h"
#include "platform/text.h"

namespace {

constexpr int kStartTime = 10'000;  // milliseconds
constexpr int kPause = 20;

bool IsKnown(const char* name) { return strcmp(name, "hqos") == 0; }

// The first SP is asked for; any reply will do.
constexpr uint8_t kProbe[] = {8, 1, 1, 3, 1, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0xFF, 0xFF};
constexpr int kAnswerTime = 1000;  // milliseconds

bool WaitFor(int fd, int milliseconds) {
  pollfd one{fd, POLLIN, 0};
  int ready;
  do {
    ready = poll(&one, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

// Whether the connected service answers.
bool Answers(int fd) {
  char reply;
  return send(fd, kProbe, sizeof kProbe, MSG_NOSIGNAL) == sizeof kProbe &&
         WaitFor(fd, kAnswerTime) && recv(fd, &reply, 1, 0) > 0;
}

bool Answers(uint16_t node) { return SERVICE_GetState(node) == SERVICE_ANSWERS; }

// Becomes hqosd for the node, detached, with no descriptors but `alive`, which stays open until it
// ends; `failed` is told when there is no program.
[[noreturn]] void Become(uint16_t node, int alive, int failed) {
  setsid();
  const int null = open("/dev/null", O_RDWR);
  // Out of the way of the three standard descriptors.
  alive = fcntl(alive, F_DUPFD, 3);
  failed = fcntl(failed, F_DUPFD_CLOEXEC, 3);
  for (int fd = 0; fd < 3 && null >= 0; ++fd) dup2(null, fd);
  const long most = sysconf(_SC_OPEN_MAX);
  for (int fd = 3; fd < most && fd < 65536; ++fd) {
    if (fd != alive && fd != failed) close(fd);
  }
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
  if (pipe2(alive, O_CLOEXEC) != 0) return why = static_cast<uint32_t>(errno), -1;
  if (pipe2(failed, O_CLOEXEC) != 0) {
    why = static_cast<uint32_t>(errno);
    close(alive[0]), close(alive[1]);
    return -1;
  }
  const pid_t child = fork();
  if (child == 0) {
    if (fork() == 0) Become(node, alive[1], failed[1]);
    _exit(0);
  }
  int reason = child < 0 ? errno : 0;
  close(alive[1]);
  close(failed[1]);
  if (child > 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
    WaitFor(failed[0], -1);
    if (read(failed[0], &reason, sizeof reason) != sizeof reason) reason = 0;
  }
  close(failed[0]);
  if (reason == 0) return alive[0];
  close(alive[0]);
  why = static_cast<uint32_t>(reason);
  return -1;
}

// Waits until it answers or has ended.
uint32_t Await(uint16_t node, int alive) {
  for (int waited = 0; waited < kStartTime; waited += kPause) {
    if (Answers(node)) return 0;
    if (WaitFor(alive, kPause)) return Answers(node) ? 0 : ECHILD;
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

uint32_t SERVICE_GetState(uint16_t node) {
  const uint32_t endpoint = node == hqos::host::SelfNode() ? HQOS_SERVICE_NODE : node;
  const sockaddr_lip address{
      sizeof address, LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(endpoint), {}};
  const int fd = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  if (fd < 0) return SERVICE_ABSENT;
  fcntl(fd, F_SETFL, O_NONBLOCK);  // a service that does not accept must not hold anybody up
  const bool isConnected = LIP_Connect(fd, &address, sizeof address) == 0;
  // One whose backlog is full does not accept.
  const bool isThere = isConnected || errno == EAGAIN;
  const uint32_t state = isConnected && Answers(fd) ? SERVICE_ANSWERS
                         : isThere                  ? SERVICE_NO_ANSWER
                                                    : SERVICE_ABSENT;
  close(fd);
  return state;
}

uint32_t SERVICE_GetStatus(uint16_t node, const char* name, uint32_t, uint32_t* status) {
  if (!IsKnown(name)) return EINVAL;
  *status = HasSlot(node) && Answers(node) ? 1 : 0;
  return 0;
}

uint32_t SERVICE_Start(uint16_t node, const char* name, uint32_t, uint32_t) {
  return SERVICE_BatchStart(&node, 1, name, 0, 0);
}

// One after the other: hqosd answers within milliseconds.
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
