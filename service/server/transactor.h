// The model and its store: what has been acknowledged is on disk.
#pragma once

#include <memory>

#include "service/requests/dispatch.h"
#include "service/store/store.h"

namespace hqosd {

// A request of a client of the server, with its response.
struct Exchange {
  Bytes request;
  Response response;
  int client = -1;     // its descriptor
  uint64_t order = 0;  // and the number of its connection
};

class Transactor {
 public:
  explicit Transactor(Model model) : model_(std::move(model)) {}

  // Reads the store, logs what is repaired, and keeps the model there from now on; false when that
  // cannot be.
  bool AttachStore(std::unique_ptr<Store> store);

  // Carries a request out.
  Response Respond(const Bytes& request);

  // Stores what requests have changed since the last call: they share one transaction. When it
  // fails it is rolled back, including what queries among them saw, and their responses are
  // replaced.
  void Commit(std::vector<Exchange>& exchanges);

 private:
  std::string Reload();
  std::string Save();

  Model model_;
  std::unique_ptr<Store> store_;  // null: nothing is stored
  std::vector<Change> repairs_;   // of the store, not written yet
  bool needsReload_ = false;      // the model is not what the store holds
};

}  // namespace hqosd
