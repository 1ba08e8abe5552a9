// The model and its store: what has been acknowledged is on disk.
#pragma once

#include "service/model.h"
#include "service/server.h"
#include "service/store.h"

namespace hqosd {

class Keeper final : public Responder {
 public:
  explicit Keeper(Model model) : model_(std::move(model)) {}

  // Reads the store back, logs what is mended, and keeps the model there from now on; false when
  // that cannot be.
  bool KeepIn(std::unique_ptr<Store> store);

  Bytes Respond(const Bytes& request, bool mayConfigure) override;
  void Commit(std::vector<Exchange>& exchanges) override;

 private:
  std::string Reload();
  Bytes Answer(const Bytes& request);
  std::string Save();

  Model model_;
  std::unique_ptr<Store> store_;  // null: nothing is kept
  std::vector<Change> pending_;   // mends the store, and is not written yet
  bool astray_ = false;  // the model is not what the store holds, and it must be read again
};

// Reads the store and prints what is in it and what is wrong with it; true when nothing is.
bool CheckStore(Store& store);

}  // namespace hqosd
