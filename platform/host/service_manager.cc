// Starting hqosd, and probing whether it answers.
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

constexpr int kStartTimeoutMs = 10'000;
constexpr int kPollMs = 20;
constexpr int kAnswerTimeoutMs = 1000;

bool IsKnown(const char* name) { return strcmp(name, "hqos") == 0; }

// A query for the first SP; any reply shows that the service is responding.
constexpr uint8_t kProbe[] = {8, 1, 1, 3, 1, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0xFF, 0xFF};

bool WaitFor(int fd, int milliseconds) {
  pollfd one{fd, POLLIN, 0};
  int ready;
  do {
    ready = poll(&one, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

bool IsResponding(int fd) {
  char reply;
  return send(fd, kProbe, sizeof kProbe, MSG_NOSIGNAL) == sizeof kProbe &&
         WaitFor(fd, kAnswerTimeoutMs) && recv(fd, &reply, 1, 0) > 0;
}

bool IsResponding(uint16_t node) { return SERVICE_GetState(node) == SERVICE_ANSWERS; }

// Executes hqosd for the node, detached. Of all descriptors it keeps only `livenessPipe`, which
// closes when it ends. When there is no program, the reason is written to `errorPipe`.
[[noreturn]] void ExecDaemon(uint16_t node, int livenessPipe, int errorPipe) {
  setsid();
  const int null = open("/dev/null", O_RDWR);
  // Beyond the standard descriptors, then 3 and 4: all others can be closed as one range.
  livenessPipe = fcntl(livenessPipe, F_DUPFD, 5);
  errorPipe = fcntl(errorPipe, F_DUPFD_CLOEXEC, 5);
  for (int fd = 0; fd < 3 && null >= 0; ++fd) dup2(null, fd);
  dup2(livenessPipe, 3);
  dup3(errorPipe, 4, O_CLOEXEC);
  close_range(5, ~0U, 0);
  char number[8];
  scnprintf(number, sizeof number, "%u", node);
  const char* const given = secure_getenv("HQOSD");
  const char* const program = given != nullptr && *given != '\0' ? given : "hqosd";
  const char* const arguments[] = {program, "--node", number, nullptr};
  execvp(program, const_cast<char* const*>(arguments));
  const int reason = errno;
  [[maybe_unused]] const ssize_t written = write(4, &reason, sizeof reason);
  _exit(127);
}

// Starts hqosd as a child of init. Returns the reading end of its liveness pipe, or -1 and sets
// `error`.
int Spawn(uint16_t node, uint32_t& error) {
  int liveness[2], failure[2];
  if (pipe2(liveness, O_CLOEXEC) != 0) return error = static_cast<uint32_t>(errno), -1;
  if (pipe2(failure, O_CLOEXEC) != 0) {
    error = static_cast<uint32_t>(errno);
    close(liveness[0]), close(liveness[1]);
    return -1;
  }
  const pid_t child = fork();
  if (child == 0) {
    if (fork() == 0) ExecDaemon(node, liveness[1], failure[1]);
    _exit(0);
  }
  int reason = child < 0 ? errno : 0;
  close(liveness[1]);
  close(failure[1]);
  if (child > 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
    WaitFor(failure[0], -1);
    if (read(failure[0], &reason, sizeof reason) != sizeof reason) reason = 0;
  }
  close(failure[0]);
  if (reason == 0) return liveness[0];
  close(liveness[0]);
  error = static_cast<uint32_t>(reason);
  return -1;
}

// Waits until the service responds. Returns 0, ECHILD when it has ended, or ETIMEDOUT.
uint32_t WaitUntilReady(uint16_t node, int livenessPipe) {
  for (int waited = 0; waited < kStartTimeoutMs; waited += kPollMs) {
    if (IsResponding(node)) return 0;
    if (WaitFor(livenessPipe, kPollMs)) return IsResponding(node) ? 0 : ECHILD;
  }
  return ETIMEDOUT;
}

bool HasSlot(uint16_t node) { return hqos::host::ReadChassis().FindNode(node) != nullptr; }

bool IsSelf(uint16_t node) {
  const hqos::host::Chassis chassis = hqos::host::ReadChassis();
  return chassis.FindSlot(chassis.self)->node == node;
}

}  // namespace

uint32_t SERVICE_GetState(uint16_t node) {
  const uint32_t endpoint = IsSelf(node) ? HQOS_SERVICE_NODE : node;
  const sockaddr_lip address{
      sizeof address, LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(endpoint), {}};
  const int fd = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  if (fd < 0) return SERVICE_ABSENT;
  fcntl(fd, F_SETFL, O_NONBLOCK);  // a service that does not accept must not block the caller
  const bool isConnected = LIP_Connect(fd, &address, sizeof address) == 0;
  const bool isListening = isConnected || errno == EAGAIN;  // EAGAIN: its backlog is full
  const uint32_t state = isConnected && IsResponding(fd) ? SERVICE_ANSWERS
                         : isListening                   ? SERVICE_NO_ANSWER
                                                         : SERVICE_ABSENT;
  close(fd);
  return state;
}

uint32_t SERVICE_GetStatus(uint16_t node, const char* name, uint32_t, uint32_t* status) {
  if (!IsKnown(name)) return EINVAL;
  *status = HasSlot(node) && IsResponding(node) ? 1 : 0;
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
    uint32_t error = HasSlot(nodes[i]) ? 0 : EINVAL;
    const int livenessPipe = error == 0 ? Spawn(nodes[i], error) : -1;
    if (livenessPipe >= 0) {
      error = WaitUntilReady(nodes[i], livenessPipe);
      close(livenessPipe);
    }
    if (first == 0) first = error;
  }
  return first;
}
