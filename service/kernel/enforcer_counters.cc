// Of the enforcer: the counters of children.
#include "service/kernel/enforcer.h"
#include "service/model/applications.h"
#include "service/model/refusal.h"

namespace hqosd::kernel {

namespace {

constexpr std::chrono::milliseconds kFresh{100};  // how old counters may be

// Counters do not go back, whatever others do to the classes.
void Raise(ChildCounters& counters, const ChildCounters& seen) {
  counters.packets = std::max(counters.packets, seen.packets);
  counters.bytes = std::max(counters.bytes, seen.bytes);
  counters.drops = std::max(counters.drops, seen.drops);
}

class KernelCounterSource final : public CounterSource {
 public:
  explicit KernelCounterSource(Enforcer& enforcer) : enforcer_(enforcer) {}

  bool Refresh(const Model& model) override {
    model_ = &model;
    return true;
  }

  HQOS_SPSonCounters Read(const std::string& place, const std::vector<std::string>& path) override {
    HQOS_SPSonCounters counters{};
    for (const auto& [key, application] : model_->applications) {
      if (TargetText(key) != place) continue;
      const ChildCounters child = Read(key, application, path);
      counters.stat32[HQOSD_STAT32_QUEUED_PACKETS] = static_cast<uint32_t>(child.queuedPackets);
      counters.stat32[HQOSD_STAT32_QUEUED_BYTES] = static_cast<uint32_t>(child.queuedBytes);
      counters.stat64[HQOSD_STAT64_PASSED_PACKETS] = child.packets;
      counters.stat64[HQOSD_STAT64_PASSED_BYTES] = child.bytes;
      counters.stat64[HQOSD_STAT64_DROPPED_PACKETS] = child.drops;
    }
    return counters;
  }

 private:
  ChildCounters Read(const ApplyKey& key, const Application& application,
                     const std::vector<std::string>& path) try {
    return enforcer_.ReadCounters(key, application, path);
  } catch (const NetlinkError& error) {
    Refuse(HQOSD_NO_COUNTERS, "the counters cannot be read: {}", error.what());
  }

  Enforcer& enforcer_;
  const Model* model_ = nullptr;
};

}  // namespace

// Those of all devices that have the application's tree.
std::vector<ClassCounters> Enforcer::ReadClasses(const ApplyKey& key, const Port& port) {
  std::vector<ClassCounters> classes;
  const auto add = [&](int device, const TreePtr& tree) {
    if (tree == nullptr) return;
    for (const ClassCounters& one : kernel::ReadCounters(netlink_, device)) classes.push_back(one);
  };
  if (key.param != HQOS_DIR_INBOUND) add(port.device, port.out);
  if (key.param != HQOS_DIR_OUTBOUND) add(port.ifb, port.in);
  return classes;
}

ChildCounters Enforcer::ReadCounters(const ApplyKey& key, const Application& application,
                                     const std::vector<std::string>& names) {
  Counted& counted = counted_[key];
  const auto now = Clock::now();
  const auto plan = plans_.find(key);
  const auto port = ports_.find(key.name);
  const bool isBuilt = plan != plans_.end() && plan->second.tree != nullptr && port != ports_.end();
  if (isBuilt && now - counted.time >= kFresh) {
    const Tree& tree = *plan->second.tree;
    ChildrenCounters totals = Totals(tree, ReadClasses(key, port->second), application.classes);
    counted.byNames.clear();
    for (const Node& node : tree.nodes) {
      ChildCounters& total = totals[node.path];
      Raise(total, counted.totals[node.path]);
      counted.byNames[node.names] = total;
    }
    counted.totals = std::move(totals);
    counted.time = now;
  }
  const auto found = counted.byNames.find(names);
  return found == counted.byNames.end() ? ChildCounters{} : found->second;
}

std::unique_ptr<CounterSource> KernelCounters(Enforcer& enforcer) {
  return std::make_unique<KernelCounterSource>(enforcer);
}

}  // namespace hqosd::kernel
