// The model and its store: what has been acknowledged is on disk.
#pragma once

#include <memory>

#include "service/requests/dispatch.h"
#include "service/requests/state.h"
#include "service/server/history.h"
#include "service/server/tally.h"
#include "service/store/store.h"

namespace hqosd {

// A request of a client of the server, with its response.
struct Exchange {
  Bytes request;
  Response response;
  int client = -1;     // its descriptor
  uint64_t order = 0;  // and the number of its connection
  Bytes file = {};     // sent with the reply; empty: none
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

  // Carries out a request about the state as a whole, which came with `file`; a transaction is
  // stored when this returns. The file of an export goes to `out`.
  Response RespondState(const Bytes& request, const Bytes& file, const std::string& user,
                        bool mayConfigure, Bytes& out);

  // When the transaction that waits for its confirmation is to be reverted, in seconds since 1970.
  std::optional<uint64_t> Deadline() const;

  // Reverts it if that time has come.
  void RevertIfDue();

 private:
  std::string Reload();
  std::string Save();
  std::string Write(const std::vector<Change>& changes);
  void Settle(std::vector<Exchange>& exchanges);
  void Flush();
  Bytes Export(const hqos::Tlv& request, Bytes& out);
  Bytes Transact(const Bytes& bytes, const std::string& user, bool mayConfigure);
  Bytes RunFile(const StateFile& file, const std::string& user);
  void Install(Model fresh, const StateFile& file, const std::string& user);
  void Confirm();
  void Revert(const std::string& user);

  Model model_;
  History history_;
  Tally tally_;
  std::string failure_;           // of the store in the middle of a turn: for Commit
  std::unique_ptr<Store> store_;  // null: nothing is stored
  std::vector<Change> repairs_;   // of the store, not written yet
  bool needsReload_ = false;      // the model is not what the store holds
};

}  // namespace hqosd
