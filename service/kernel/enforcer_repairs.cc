// Of the enforcer: what repairs the kernel when it is not as the model wants it.
#include <fmt/format.h>

#include <algorithm>

#include "service/kernel/enforcer.h"
#include "service/model/applications.h"
#include "service/model/log.h"
#include "service/model/names.h"

namespace hqosd::kernel {

void Enforcer::Restore(Model& model) try {
  restored_ = Clock::now();
  change_.reset();
  leftovers_.clear();
  due_.reset();
  Numbers numbers;
  Plans plans = PlanAll(model, Scope::All, numbers);
  Ports ports = PortsOf(plans);
  std::set<int> ours;
  for (auto& [name, port] : ports) {
    RestoreOne(model, port, plans, numbers);
    ours.insert(port.device);
  }
  LogReasons(plans);
  Adopt(model, std::move(plans), numbers);
  ports_ = std::move(ports);
  Release(netlink_, ours);
} catch (const std::runtime_error& failure) {
  Log(Level::Error, "cannot enforce: %s", failure.what());
  due_ = Clock::now() + kPatience;
}

void Enforcer::LogReasons(const Plans& plans) const {
  for (const auto& [key, plan] : plans) {
    const auto before = plans_.find(key);
    if (!plan.reason.empty() && (before == plans_.end() || before->second.reason != plan.reason)) {
      Log(Level::Warning, "not enforced: %s", plan.reason.c_str());
    }
  }
}

// Gives the interface what it should have, whatever it has; when that fails its plans get the
// reason.
void Enforcer::RestoreOne(const Model& model, Port& port, Plans& plans, Numbers& numbers) {
  const auto ofPort = [&](const auto& visit) {
    for (auto& [key, plan] : plans) {
      if (key.name == port.name && plan.tree != nullptr) visit(key, plan);
    }
  };
  try {
    if (port.device == 0) return;
    PortBuild build(netlink_, nullptr, port);
    build.Step(Slice());
    Remove(netlink_, build.leftovers(), Slice());
    port = build.port();
    ofPort([&](const ApplyKey& key, Plan& plan) {
      if (std::exchange(plan.isWaiting, false)) {
        plan.diag = HQOSD_DIAG_IN_EFFECT;
        plan.reason.clear();
      }
      const auto seen = counted_.find(key);
      if (seen == counted_.end()) return;
      const KernelClasses& old = model.applications.at(key).classes;
      KernelClasses& classes = numbers.try_emplace(key, old).first->second;
      Rebase(seen->second.totals, *plan.tree, *plan.tree, ReadClasses(key, port), classes);
    });
  } catch (const PortFailure& failure) {
    ofPort([&](const ApplyKey& key, Plan& plan) {
      plan.isWaiting = true;
      plan.diag = failure.diag;
      plan.reason = fmt::format("{}: {}", TargetText(key), failure.what());
    });
    port.out = port.in = nullptr;  // nothing is known of it
  }
}

// Whether an interface has come, gone, or got another rate or size of packets. Reads them.
bool Enforcer::HasLinkChanged(const Monitor::News& news) {
  if (news.links.empty()) return false;
  ReadInterfaces();
  return std::any_of(plans_.begin(), plans_.end(), [&](const auto& one) {
    const auto& [key, plan] = one;
    const auto interface = interfaces_.find(key.name);
    const auto port = ports_.find(key.name);
    const int device = interface == interfaces_.end() ? 0 : interface->second.index;
    if (device != (port == ports_.end() ? 0 : port->second.device)) return true;
    const Link link = LinkOf(key.name);
    return link.rate != plan.link.rate || link.mtu != plan.link.mtu;
  });
}

void Enforcer::LookAround(Model& model) try {
  const auto now = Clock::now();
  const bool isDue = due_ && *due_ <= now;
  const Monitor::News news = monitor_.Read();
  if (isDue || news.areLost || HasLinkChanged(news)) {
    const auto next = restored_ + kPause;
    if (next > now) due_ = due_ && !isDue ? std::min(*due_, next) : next;
    if (next <= now) Restore(model);
    return;
  }
  const auto concerns = [](const std::vector<int>& devices, int device) {
    return device != 0 && std::find(devices.begin(), devices.end(), device) != devices.end();
  };
  for (auto& [name, port] : ports_) {
    const bool isConcerned = concerns(news.trees, port.device) || concerns(news.trees, port.ifb) ||
                             concerns(news.links, port.ifb);
    if (!isConcerned) continue;
    if (IsWaiting(plans_, name) || !IsAsBuilt(netlink_, port)) Repair(model, port);
  }
} catch (const std::runtime_error& failure) {
  Log(Level::Error, "cannot look at the kernel: %s", failure.what());
  due_ = Clock::now() + kPatience;
}

void Enforcer::LookLater() {
  monitor_.Read();
  due_ = Clock::now();
}

// Repairs what others have changed, at once, but not twice within a minute.
void Enforcer::Repair(Model& model, Port& port) {
  const auto now = Clock::now();
  const auto last = repaired_.find(port.name);
  Plans plans = plans_;
  Numbers numbers;
  if (last != repaired_.end() && now - last->second < kPatience) {
    const auto next = last->second + kPatience;
    due_ = due_ ? std::min(*due_, next) : next;
    for (auto& [key, plan] : plans) {
      if (key.name != port.name || plan.tree == nullptr || plan.isWaiting) continue;
      plan.isWaiting = true;
      plan.diag = HQOSD_DIAG_OTHERS_CHANGE;
      plan.reason =
          fmt::format("{}: others have changed its tree again within a minute", TargetText(key));
    }
  } else {
    port = PortsOf(plans).at(port.name);
    RestoreOne(model, port, plans, numbers);
    if (!IsWaiting(plans, port.name)) {
      Log(Level::Warning, "interface %s: others have changed its tree, which is repaired",
          Shown(port.name).c_str());
      repaired_[port.name] = now;
    }
  }
  LogReasons(plans);
  Adopt(model, std::move(plans), numbers);
}

}  // namespace hqosd::kernel
