#include "service/kernel/enforcer.h"

#include <fmt/format.h>

#include <algorithm>

#include "service/model/applications.h"
#include "service/model/log.h"
#include "service/model/names.h"
#include "service/model/refusal.h"

namespace hqosd::kernel {

namespace {

constexpr uint32_t kUsualMtu = 1500;  // of an interface that does not exist

bool IsOther(const Link& a, const Link& b) { return a.rate != b.rate || a.mtu != b.mtu; }

[[noreturn]] void RefuseUnread(const NetlinkError& error) {
  Refuse(HQOSD_NOT_ENFORCEABLE, "the kernel cannot be asked: {}", error.what());
}

bool IsStoredAlike(KernelClass a, const KernelClass& b) {
  a.leaf = b.leaf;
  return a == b;
}

// Whether counters end when the one tree replaces the other.
bool LosesCounters(const Tree& from, const Tree& to) {
  std::map<uint16_t, bool> has;  // whether the class has a queue
  for (const Class& one : to.classes) has[one.minor] = one.limit.has_value();
  return std::any_of(from.classes.begin(), from.classes.end(), [&](const Class& one) {
    const auto kept = has.find(one.minor);
    return kept == has.end() || kept->second != one.limit.has_value();
  });
}

}  // namespace

Enforcer::Enforcer(Rates rates, std::unique_ptr<Transport> transport)
    : rates_(std::move(rates)), netlink_(std::move(transport)), monitor_(netlink_.port()) {}

// ---- Plans --------------------------------------------------------------------------------------

void Enforcer::ReadInterfaces() {
  interfaces_.clear();
  ifbs_.clear();
  for (LinkState& link : ReadLinks(netlink_)) {
    if (IsOwnIfb(link)) {
      ifbs_.insert(link.name);
    } else {
      interfaces_.emplace(link.name, std::move(link));
    }
  }
}

Link Enforcer::LinkOf(const std::string& name) const {
  const auto rate = rates_.find(name);
  const auto found = interfaces_.find(name);
  Link link{rate != rates_.end() ? rate->second : 0, kUsualMtu};
  if (found == interfaces_.end()) return link;
  link.mtu = found->second.mtu;
  if (rate == rates_.end()) link.rate = ReadRate(name);
  return link;
}

// Plans the application; `classes` get its numbers. On a link that is too slow for it, it is
// refused and planned as if the link's rate were unknown: what was shaped stays shaped when a
// link's rate falls.
Enforcer::Plan Enforcer::PlanOne(const Model& model, const ApplyKey& key,
                                 const Application& application, KernelClasses& classes) const {
  const SPObject& sp = model.sps.All().at(application.sp);
  Plan plan{nullptr, LinkOf(key.name)};
  if (ifbs_.contains(key.name)) {
    plan.diag = HQOSD_DIAG_NOT_ENFORCEABLE;
    plan.reason = TargetText(key) + ": it is hqosd's own, for what another interface receives";
    return plan;
  }
  const auto before = plans_.find(key);
  const Tree* const replaced = before != plans_.end() ? before->second.tree.get() : nullptr;
  for (const uint64_t rate : {plan.link.rate, uint64_t{0}}) {
    try {
      classes = NumberClasses(model, sp, application.classes, replaced);
      plan.tree = std::make_shared<Tree>(PlanTree(model, sp, classes, {rate, plan.link.mtu}));
      for (const Node& node : plan.tree->nodes) classes[node.path].leaf = node.leaf;
      break;
    } catch (const Refusal& refusal) {
      if (!plan.reason.empty()) break;
      plan.diag = HQOSD_DIAG_NOT_ENFORCEABLE;
      plan.reason = fmt::format("{}: {}", TargetText(key), refusal.text);
    }
  }
  return plan;
}

// Plans what has changed; the others stay.
Enforcer::Plans Enforcer::PlanAll(Model& model, Scope scope, Numbers& numbers) {
  ReadInterfaces();
  const std::set<std::string>& changedFPs = model.fps.Dirty();
  const bool hasFP = std::any_of(changedFPs.begin(), changedFPs.end(), [&](const auto& name) {
    const auto* const fp = model.fps.Find(name);
    return fp != nullptr && fp->value.uses > 0;
  });
  Plans plans;
  for (const auto& [key, application] : model.applications) {
    if (key.type != HQOS_APPOBJ_IFINDEX) continue;
    const auto known = plans_.find(key);
    const bool isSame = scope == Scope::Dirty && known != plans_.end() && !hasFP &&
                        !IsOther(known->second.link, LinkOf(key.name)) &&
                        !model.dirtyRuns.contains({key, application.ifIndex}) &&
                        !model.sps.Dirty().contains(model.sps.All().at(application.sp).name);
    Plan& plan = plans[key] =
        isSame ? known->second : PlanOne(model, key, application, numbers[key]);
    if (isSame || known == plans_.end() || !known->second.isWaiting) continue;
    plan.isWaiting = plan.tree != nullptr;
    if (plan.diag == HQOSD_DIAG_IN_EFFECT) plan.diag = known->second.diag;
    if (plan.reason.empty()) plan.reason = known->second.reason;
  }
  return plans;
}

bool Enforcer::IsWaiting(const Plans& plans, const std::string& name) {
  return std::any_of(plans.begin(), plans.end(), [&](const auto& one) {
    return one.first.name == name && one.second.isWaiting;
  });
}

// What was in effect must not end, and what is new must be; no tree must end.
void Enforcer::RefuseWorse(const Plans& plans) const {
  for (const auto& [key, plan] : plans) {
    const auto before = plans_.find(key);
    const bool wasBetter = before == plans_.end() || before->second.diag == HQOSD_DIAG_IN_EFFECT ||
                           (before->second.tree != nullptr && plan.tree == nullptr);
    if (plan.diag == HQOSD_DIAG_NOT_ENFORCEABLE && wasBetter) {
      Refuse(HQOSD_NOT_ENFORCEABLE, "{}", plan.reason);
    }
  }
}

void Enforcer::Check(Model& model) try {
  Numbers numbers;
  RefuseWorse(PlanAll(model, Scope::All, numbers));
} catch (const NetlinkError& error) {
  RefuseUnread(error);
}

Enforcer::Ports Enforcer::PortsOf(const Plans& plans) const {
  Ports ports;
  for (const auto& [key, plan] : plans) {
    Port& port = ports[key.name];
    port.name = key.name;
    const auto interface = interfaces_.find(key.name);
    port.device = interface == interfaces_.end() ? 0 : interface->second.index;
    if (key.param != HQOS_DIR_INBOUND) port.out = plan.tree;
    if (key.param != HQOS_DIR_OUTBOUND) port.in = plan.tree;
  }
  return ports;
}

// ---- Changes ------------------------------------------------------------------------------------

void Enforcer::Begin(Model& model, Scope scope) try {
  Numbers numbers;
  Plans plans = PlanAll(model, scope, numbers);
  RefuseWorse(plans);
  CarryCounters(model, plans, numbers);
  Ports ports = PortsOf(plans);
  for (const auto& [name, port] : ports_) {
    if (!ports.contains(name)) ports[name] = {name, port.device, 0, nullptr, nullptr};
  }
  std::vector<std::string> left;
  for (const auto& [name, port] : ports) left.push_back(name);
  change_.emplace(Change{std::move(plans), std::move(ports), std::move(numbers), std::move(left)});
} catch (const NetlinkError& error) {
  RefuseUnread(error);
}

bool Enforcer::Build(Model& model, const Slice& slice) {
  try {
    if (!BuildPorts(slice)) return false;
    CarryCounters(model, change_->plans, change_->numbers);  // of the time that it took, too
  } catch (const std::runtime_error& failure) {              // a PortFailure or a NetlinkError
    const std::string why = failure.what();
    for (const std::string& name : change_->begun) Undo(change_->ports.at(name));
    change_.reset();
    Refuse(HQOSD_NOT_ENFORCEABLE, "{}", why);
  }
  Change change = std::move(*change_);
  change_.reset();
  std::erase_if(change.ports, [&](const auto& one) {
    return !one.second.out && !one.second.in && !IsWaiting(change.plans, one.first);
  });
  leftovers_ = std::move(change.leftovers);
  Adopt(model, std::move(change.plans), change.numbers);
  ports_ = std::move(change.ports);
  return true;
}

// Brings the kernel from the ports that it has to those of the change.
bool Enforcer::BuildPorts(const Slice& slice) {
  Change& change = *change_;
  for (;;) {
    if (change.current) {
      if (!change.current->Step(slice)) return false;
      change.ports[change.current->port().name] = change.current->port();
      for (Work& one : change.current->leftovers()) change.leftovers.push_back(std::move(one));
      change.current.reset();
    }
    if (change.left.empty()) return true;
    BeginPort(change.left.back());
    change.left.pop_back();
  }
}

void Enforcer::BeginPort(const std::string& name) {
  const auto known = ports_.find(name);
  const Port* const before = known == ports_.end() ? nullptr : &known->second;
  Port& port = change_->ports.at(name);
  if (!IsWaiting(change_->plans, name)) {
    const bool isKnown = !IsWaiting(plans_, name);  // what the kernel has
    change_->begun.push_back(name);
    change_->current.emplace(netlink_, isKnown ? before : nullptr, port);
  } else if (before != nullptr) {
    port = *before;
  }
}

// Brings the interface back to what it had.
void Enforcer::Undo(const Port& port) try {
  const auto before = ports_.find(port.name);
  Port old =
      before != ports_.end() ? before->second : Port{port.name, port.device, 0, nullptr, nullptr};
  PortBuild build(netlink_, nullptr, std::move(old));
  build.Step(Slice());
  Remove(netlink_, build.leftovers(), Slice());
  if (before != ports_.end()) before->second = build.port();
} catch (const std::runtime_error& failure) {
  Log(Level::Error, "interface %s is not as before: %s", Shown(port.name).c_str(), failure.what());
  due_ = Clock::now() + kPatience;
}

// Counters that end with classes or queues go on from the bases.
void Enforcer::CarryCounters(const Model& model, const Plans& plans, Numbers& numbers) {
  for (auto& [key, classes] : numbers) {
    const KernelClasses& old = model.applications.at(key).classes;
    const auto before = plans_.find(key);
    const auto port = ports_.find(key.name);
    const TreePtr to = plans.at(key).tree;
    const TreePtr from = before == plans_.end() ? nullptr : before->second.tree;
    if (from == nullptr || to == nullptr || old.empty() || port == ports_.end()) continue;
    if (!LosesCounters(*from, *to)) continue;
    const std::vector<ClassCounters> counters = ReadClasses(key, port->second);
    Rebase(Totals(*from, counters, old), *from, *to, counters, classes);
  }
}

// The model's applications get what their plans say.
void Enforcer::Adopt(Model& model, Plans plans, const Numbers& numbers) {
  for (auto& [key, application] : model.applications) {
    const auto plan = plans.find(key);
    application.diag = plan == plans.end() ? uint32_t{HQOSD_DIAG_NOT_INTERFACE} : plan->second.diag;
    const auto classes = numbers.find(key);
    if (classes == numbers.end() || plan->second.tree == nullptr) continue;
    KernelClasses& before = application.classes;
    if (before.empty()) counted_.erase(key);  // another SP's
    for (const auto& [path, one] : before) {
      if (!classes->second.contains(path)) model.dirtyClasses.emplace(key, path);
    }
    for (const auto& [path, one] : classes->second) {
      const auto old = before.find(path);
      if (old == before.end() || !IsStoredAlike(old->second, one)) {
        model.dirtyClasses.emplace(key, path);
      }
    }
    before = classes->second;
  }
  std::erase_if(counted_, [&](const auto& one) { return !plans.contains(one.first); });
  plans_ = std::move(plans);
}

bool Enforcer::Finish(const Slice& slice) try {
  return Remove(netlink_, leftovers_, slice);
} catch (const std::runtime_error& failure) {
  Log(Level::Error, "something is left over in the kernel: %s", failure.what());
  leftovers_.clear();
  due_ = Clock::now() + kPatience;
  return true;
}

}  // namespace hqosd::kernel
