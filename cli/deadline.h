// A bound for those who do not want to wait for a service that lives but does not answer.
#pragma once

namespace hqosctl {

// How long, in seconds, what a Deadline is set for may take; without it, any time.
void SetTimeout(double seconds);

// While it lives, the time runs. When it is up, the program says so and ends with kNoService.
class Deadline {
 public:
  Deadline();
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;
};

}  // namespace hqosctl
