// The service on a model of its own, which is checked after every request.
#pragma once

#include <map>
#include <string>

#include "service/store/store.h"
#include "tests/in_process.h"

namespace fuzz {

class ServiceHarness {
 public:
  ServiceHarness();

  wire::FakeInterfaces interfaces;  // at first lo0 1, eth0 2 and eth1 3, which is down
  hqosd::Model model;

  // The reply to a request. What it changes goes to the records of a store in memory. The model is
  // checked when it has changed; it is small, as inputs are.
  hqosd::Bytes Ask(const uint8_t* request, size_t length);

  // Checks at the end that the records are those of the whole model, and that a new service would
  // accept them unchanged.
  void Finish();

 private:
  // Takes what has changed into the records; whether there was anything.
  bool Store();

  std::map<std::string, hqosd::Bytes> rows_;
};

}  // namespace fuzz
