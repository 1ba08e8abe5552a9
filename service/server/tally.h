// What the service counts of its own work.
#pragma once

#include <chrono>
#include <ctime>

#include "msg/state_file.h"
#include "service/requests/dispatch.h"

namespace hqosd {

class Tally {
 public:
  // A request has been answered.
  void Answered(const Bytes& request, const Bytes& reply);

  // A commit has taken that time, or the store has refused it.
  void Committed(std::chrono::nanoseconds time, bool isDone);

  // All that has been counted, with the objects of the model.
  hqos::ServiceStatus Status(const Model& model) const;

 private:
  const uint64_t startTime_ = static_cast<uint64_t>(std::time(nullptr));
  hqos::ServiceStatus status_{};
};

}  // namespace hqosd
