// Keeps the kernel as the model wants it: where SPs are applied to interfaces, their trees shape.
#pragma once

#include <chrono>
#include <map>
#include <optional>

#include "service/kernel/child_counters.h"
#include "service/kernel/port.h"

namespace hqosd::kernel {

class Enforcer {
 public:
  using Rates = std::map<std::string, uint64_t>;  // bit/s, by interface

  // `rates` override what drivers report. Throws a NetlinkError.
  explicit Enforcer(Rates rates, std::unique_ptr<Transport> transport = OpenSocket());

  // Whether the model can be enforced: throws a Refusal if something that is in effect, or new,
  // cannot. Changes nothing.
  void Check(Model& model);

  // Begins to bring the kernel to the model except what is left over. All applications are planned
  // anew, or those that are dirty. Throws a Refusal as Check does; nothing is changed then.
  enum class Scope { All, Dirty };
  void Begin(Model& model, Scope scope);
  // Goes on with that. When it returns true that is done, and the model's applications have their
  // classes and diagnoses. Throws a Refusal when the kernel refuses; the kernel is then as before.
  bool Build(Model& model, const Slice& slice);
  // What is left over is removed after the change has been stored, before the next one; true when
  // that is done.
  bool hasLeftovers() const { return !leftovers_.empty(); }
  bool Finish(const Slice& slice = Slice());

  // Brings the kernel to the model, whatever it has; what cannot be enforced gets a diagnosis.
  void Restore(Model& model);

  // LookAround looks at what others have changed: to be called when this can be read, and at that
  // time.
  int fd() const { return monitor_.fd(); }
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> due() const { return due_; }
  void LookAround(Model& model);
  // Instead, when that cannot be now: what can be read is read, and LookAround is due.
  void LookLater();

  // The counters of a child, by the names on the way to it, where its SP is applied: at most 100 ms
  // old. They never go back. Throws a NetlinkError.
  ChildCounters ReadCounters(const ApplyKey& key, const Application& application,
                             const std::vector<std::string>& names);

 private:
  // An application to an interface: its tree, or why it has none.
  struct Plan {
    TreePtr tree;
    Link link{};
    uint32_t diag = HQOSD_DIAG_IN_EFFECT;
    std::string reason = {};
    bool isWaiting = false;  // the kernel does not have the tree: it waits for a repair
  };
  using Plans = std::map<ApplyKey, Plan>;
  using Numbers = std::map<ApplyKey, KernelClasses>;  // of applications that were planned anew
  using Ports = std::map<std::string, Port>;
  struct Counted {
    Clock::time_point time;
    ChildrenCounters totals;
    std::map<std::vector<std::string>, ChildCounters> byNames;
  };
  // What Build is doing.
  struct Change {
    Plans plans;
    Ports ports;
    Numbers numbers;
    std::vector<std::string> left;  // interfaces, the next one last
    std::vector<std::string> begun = {};
    std::optional<PortBuild> current = std::nullopt;
    std::vector<Work> leftovers = {};
  };
  static constexpr std::chrono::minutes kPatience{1};      // between repairs of one interface
  static constexpr std::chrono::milliseconds kPause{200};  // between looks at all of them

  void ReadInterfaces();
  Link LinkOf(const std::string& name) const;
  Plan PlanOne(const Model& model, const ApplyKey& key, const Application& application,
               KernelClasses& classes) const;
  Plans PlanAll(Model& model, Scope scope, Numbers& numbers);
  static bool IsWaiting(const Plans& plans, const std::string& name);
  void RefuseWorse(const Plans& plans) const;
  Ports PortsOf(const Plans& plans) const;
  bool BuildPorts(const Slice& slice);
  void BeginPort(const std::string& name);
  void Undo(const Port& port);
  void CarryCounters(const Model& model, const Plans& plans, Numbers& numbers);
  void Adopt(Model& model, Plans plans, const Numbers& numbers);
  void RestoreOne(const Model& model, Port& port, Plans& plans, Numbers& numbers);
  void LogReasons(const Plans& plans) const;
  bool HasLinkChanged(const Monitor::News& news);
  void Repair(Model& model, Port& port);
  std::vector<ClassCounters> ReadClasses(const ApplyKey& key, const Port& port);

  Rates rates_;
  Netlink netlink_;
  Monitor monitor_;
  std::map<std::string, LinkState> interfaces_;  // except hqosd's own ifbs
  std::set<std::string> ifbs_;                   // their names
  Plans plans_;
  Ports ports_;
  std::optional<Change> change_;
  std::vector<Work> leftovers_;
  std::map<ApplyKey, Counted> counted_;
  std::map<std::string, Clock::time_point> repaired_;  // when, by interface
  Clock::time_point restored_;
  std::optional<Clock::time_point> due_;
};

// The counters that the enforcer, which must outlive them, reads.
std::unique_ptr<CounterSource> KernelCounters(Enforcer& enforcer);

}  // namespace hqosd::kernel
