#include "cli/deadline.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>

namespace hqosctl {

namespace {

itimerval s_timeout{};  // zero: none
int s_nothing = -1;     // takes the place of a socket
volatile sig_atomic_t s_hasPassed = 0;

// The library goes on waiting behind a signal; without its socket it cannot. The timer comes back
// for a call that begins later.
void TakeSocketsAway(int) {
  const int before = errno;
  s_hasPassed = 1;
  for (int fd = STDERR_FILENO + 1; fd < 64; ++fd) {
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0) dup2(s_nothing, fd);
  }
  errno = before;
}

}  // namespace

void SetTimeout(double seconds) {
  s_timeout.it_value.tv_sec = static_cast<time_t>(seconds);
  s_timeout.it_value.tv_usec =
      static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1'000'000);
  s_timeout.it_interval.tv_usec = 10'000;
  s_nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  struct sigaction action {};
  action.sa_handler = TakeSocketsAway;
  sigaction(SIGALRM, &action, nullptr);
  sigset_t alarm;  // whoever started the program may have blocked it
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
}

Deadline::Deadline() {
  s_hasPassed = 0;
  if (timerisset(&s_timeout.it_value)) setitimer(ITIMER_REAL, &s_timeout, nullptr);
}

Deadline::~Deadline() {
  const itimerval none{};
  if (timerisset(&s_timeout.it_value)) setitimer(ITIMER_REAL, &none, nullptr);
}

bool Deadline::HasPassed() { return s_hasPassed != 0; }

}  // namespace hqosctl
