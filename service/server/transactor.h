// The model and its store: what has been acknowledged is on disk.
#pragma once

#include <memory>

#include "service/requests/dispatch.h"
#include "service/requests/state.h"
#include "service/server/history.h"
#include "service/server/message.h"
#include "service/server/tally.h"
#include "service/store/store.h"

namespace hqosd {

namespace kernel {
class Enforcer;
}

// The applications of `to` that `from` has too go on with their classes in the kernel.
void KeepClasses(const Model& from, Model& to);

// A request of a client of the server, with its response.
struct Exchange {
  Bytes request;
  Response response;
  int client = -1;     // its descriptor
  uint64_t order = 0;  // and the number of its connection
  Bytes file = {};     // sent with the reply; empty: none
};

// The reply to a request that was answered with a ticket; 0: nobody's.
struct LateReply {
  uint64_t ticket;
  Bytes reply;
};

struct Transaction;

constexpr std::chrono::milliseconds kSlice{10};  // of the event loop

class Transactor {
 public:
  explicit Transactor(Model model);
  ~Transactor();

  // Reads the store, logs what is repaired, and keeps the model there from now on; false when that
  // cannot be.
  bool AttachStore(std::unique_ptr<Store> store);

  // Has the kernel enforce the model from now on, and count; the enforcer stays the caller's.
  void AttachKernel(kernel::Enforcer& enforcer);

  // Looks at what others have changed in the kernel, when the descriptor can be read (-1: never) or
  // when it is due.
  int KernelFd() const;
  bool WaitsForKernel() const;  // it will be due some time
  bool IsLookDue() const;
  void LookAround();

  // Carries a request out.
  Response Respond(const Bytes& request);

  // Stores what requests have changed since the last call: they share one transaction. When it
  // fails it is rolled back, including what queries among them saw, and their responses are
  // replaced.
  void Commit(std::vector<Exchange>& exchanges);

  // Carries out a request about the state as a whole, which came with `file`. A transaction is
  // stored when this returns, unless the response has a ticket: then Continue() returns the reply.
  // The file of an export goes to `out`.
  Response RespondState(const Bytes& request, const RequestFile& file, const std::string& user,
                        bool mayConfigure, Bytes& out);

  // Whether there is something for Continue() to do.
  bool IsBusy() const;

  // Carries out a slice of the transaction that is under way, and returns the replies that are
  // ready.
  std::vector<LateReply> Continue();

  // When the transaction that waits for its confirmation is to be reverted, in seconds since 1970.
  std::optional<uint64_t> Deadline() const;

  // Reverts it if that time has come.
  void RevertIfDue();

 private:
  Response RespondEnforced(const Bytes& request);
  void GoOnLater(const Bytes& request, Model before, Response& response);
  void SaveClasses();
  std::string Reload();
  std::string Save();
  void KeepUnstored();
  std::string Write(const std::vector<Change>& changes);
  void Settle(std::vector<Exchange>& exchanges);
  void Flush();
  Bytes Export(const hqos::Tlv& request, Bytes& out);
  Bytes Transact(const RequestFile& from, const std::string& user, bool mayConfigure,
                 uint64_t& ticket);
  void MakeWay();
  Bytes Begin(std::unique_ptr<Transaction> transaction, uint64_t& ticket);
  std::optional<Bytes> Step(const Slice& slice);
  bool Complete(Transaction& t, const Slice& slice);
  bool Enforce(Transaction& t, const Slice& slice);
  bool Install(Transaction& t, const Slice& slice);
  bool Keep(Transaction& t, const Slice& slice);
  std::string WriteSome(const std::vector<Change>& changes, const Slice& slice, size_t& done);
  void Confirm();
  std::unique_ptr<Transaction> NewRevert(const std::string& user);
  void LogRevert(uint64_t revision, const Refusal& refusal);

  Model model_;
  History history_;
  Tally tally_;
  std::string failure_;                    // of the store in the middle of a turn: for Commit
  kernel::Enforcer* enforcer_ = nullptr;   // null: nothing is enforced
  std::unique_ptr<Store> store_;           // null: nothing is stored
  std::vector<Change> repairs_;            // of the store, not written yet
  bool needsCheckpoint_ = false;           // of the store
  bool needsReload_ = false;               // the model is not what the store holds
  std::unique_ptr<Transaction> underway_;  // meanwhile model and store stay as they are
  std::unique_ptr<Transaction> past_;      // to be freed in a slice of its own
  std::vector<LateReply> finished_;
  uint64_t lastTicket_ = 0;
  std::chrono::nanoseconds writing_{};  // time of the slices of a commit so far
};

// The reply to a request about the state as a whole.
Bytes StateReply(uint32_t code, const std::string& text, uint64_t revision);

[[noreturn]] void RefuseBusy();

}  // namespace hqosd
