// Loaded before a program: makes one of its calls meet a fault, just once. The file named by
// $HQOS_INJECT says which: "<call> before|after <fault>", where the fault is "kill" or "stop" (the
// signal to the program itself) or the errno with which the call fails. The file is then removed.
// While the file $HQOS_INJECT.clock exists, the clock is an hour slow.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

// The fault that the call is to meet, "" for none: `when` says at which end of it.
struct Fault {
  char when[8];
  char what[16];
};

static struct Fault TakeFault(const char* call) {
  const int before = errno;
  struct Fault fault = {"", ""};
  char name[16] = "";
  const char* const path = getenv("HQOS_INJECT");
  FILE* const file = path != NULL ? fopen(path, "re") : NULL;
  if (file != NULL) {
    const int read = fscanf(file, "%15s %7s %15s", name, fault.when, fault.what);
    fclose(file);
    if (read != 3 || strcmp(name, call) != 0) fault.when[0] = '\0';
    if (fault.when[0] != '\0') unlink(path);
  }
  errno = before;
  return fault;
}

// Whether the fault is one of this moment and lets the call fail; errno is then set.
static int Strikes(const struct Fault* fault, const char* when) {
  if (strcmp(fault->when, when) != 0) return 0;
  if (strcmp(fault->what, "kill") == 0) kill(getpid(), SIGKILL);
  if (strcmp(fault->what, "stop") == 0) kill(getpid(), SIGSTOP);
  const int reason = atoi(fault->what);
  if (reason != 0) errno = reason;
  return reason != 0;
}

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))
#define FAULTY(name, ...)                                               \
  const struct Fault fault = TakeFault(#name);                          \
  if (Strikes(&fault, "before")) return -1;                             \
  const __typeof__(name(__VA_ARGS__)) result = REAL(name)(__VA_ARGS__); \
  if (result >= 0) Strikes(&fault, "after");                            \
  return result

int accept4(int fd, struct sockaddr* address, socklen_t* length, int flags) {
  FAULTY(accept4, fd, address, length, flags);
}
// The end of an earlier connection is not what is meant.
ssize_t recvmsg(int fd, struct msghdr* message, int flags) {
  char byte;
  if (REAL(recv)(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0) {
    return REAL(recvmsg)(fd, message, flags);
  }
  FAULTY(recvmsg, fd, message, flags);
}
ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
  FAULTY(sendmsg, fd, message, flags);
}
int fdatasync(int fd) { FAULTY(fdatasync, fd); }

static time_t SetBack(void) {
  char path[4096];
  const char* const file = getenv("HQOS_INJECT");
  snprintf(path, sizeof path, "%s.clock", file != NULL ? file : "");
  return access(path, F_OK) == 0 ? 3600 : 0;
}

int clock_gettime(clockid_t clock, struct timespec* now) {
  const int result = REAL(clock_gettime)(clock, now);
  if (clock == CLOCK_REALTIME && result == 0) now->tv_sec -= SetBack();
  return result;
}
int gettimeofday(struct timeval* now, void* zone) {
  const int result = REAL(gettimeofday)(now, zone);
  now->tv_sec -= SetBack();
  return result;
}
time_t time(time_t* out) {
  const time_t now = REAL(time)(NULL) - SetBack();
  if (out != NULL) *out = now;
  return now;
}
