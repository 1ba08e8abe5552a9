// A bound for those who do not want to wait for a service that lives but does not answer.
#pragma once

namespace hqosctl {

// How long, in seconds, what a Deadline is set for may take; without it, any time.
void SetTimeout(double seconds);

// While it lives, the time runs. When it is up, calls of the library fail as if there were no
// service, the one that waits too.
class Deadline {
 public:
  Deadline();
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  // Whether the time of the last one was up.
  static bool HasPassed();
};

}  // namespace hqosctl
