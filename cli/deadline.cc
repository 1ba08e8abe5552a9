#include "cli/deadline.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cmath>
#include <iostream>

#include "cli/failure.h"

namespace hqosctl {

namespace {

itimerval s_timeout{};  // zero: none

void GiveUp(int) {
  constexpr char kText[] = "hqosctl: given up, the time is up and the service has not answered\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kText, sizeof kText - 1);
  _exit(kNoService);
}

}  // namespace

void SetTimeout(double seconds) {
  s_timeout.it_value.tv_sec = static_cast<time_t>(seconds);
  s_timeout.it_value.tv_usec =
      static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1'000'000);
  signal(SIGALRM, GiveUp);
  sigset_t alarm;  // whoever started the program may have blocked it
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
}

Deadline::Deadline() {
  const bool isSet = timerisset(&s_timeout.it_value);
  if (isSet) std::cout.flush();  // what was shown before is not lost with the rest
  if (isSet) setitimer(ITIMER_REAL, &s_timeout, nullptr);
}

Deadline::~Deadline() {
  const itimerval none{};
  if (timerisset(&s_timeout.it_value)) setitimer(ITIMER_REAL, &none, nullptr);
}

}  // namespace hqosctl
