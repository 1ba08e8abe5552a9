#include "service/kernel/child_counters.h"

#include <unordered_map>

namespace hqosd::kernel {

namespace {

void Add(const ClassCounters& from, ChildCounters& to) {
  to.packets += from.packets;
  to.bytes += from.bytes;
}

void AddQueue(const ClassCounters& from, ChildCounters& to) {
  to.drops += from.drops;
  to.queuedPackets += from.queuedPackets;
  to.queuedBytes += from.queuedBytes;
}

// Whether each class of the tree has a queue.
std::unordered_map<uint16_t, bool> QueuesOf(const Tree& tree) {
  std::unordered_map<uint16_t, bool> queues;
  for (const Class& one : tree.classes) queues[one.minor] = one.limit.has_value();
  return queues;
}

// The part that is left may have grown since the total was read.
void Raise(uint64_t& base, uint64_t total, uint64_t part) {
  base = std::max(base, total - std::min(total, part));
}

}  // namespace

ChildrenCounters CountersOf(const Tree& tree, std::span<const ClassCounters> classes) {
  std::unordered_multimap<uint16_t, const ClassCounters*> byMinor;
  for (const ClassCounters& one : classes) byMinor.emplace(one.minor, &one);
  std::vector<ChildCounters> sums(tree.nodes.size());
  for (size_t i = tree.nodes.size(); i-- > 0;) {
    const Node& node = tree.nodes[i];
    const auto own = byMinor.equal_range(node.minor), queue = byMinor.equal_range(node.leaf);
    for (auto one = own.first; one != own.second; ++one) Add(*one->second, sums[i]);
    for (auto one = queue.first; one != queue.second; ++one) AddQueue(*one->second, sums[i]);
    if (i == 0) break;
    ChildCounters& parent = sums[node.parent];
    parent.drops += sums[i].drops;
    parent.queuedPackets += sums[i].queuedPackets;
    parent.queuedBytes += sums[i].queuedBytes;
  }
  ChildrenCounters counters;
  for (size_t i = 0; i < sums.size(); ++i) counters.emplace(tree.nodes[i].path, sums[i]);
  return counters;
}

ChildrenCounters Totals(const Tree& tree, std::span<const ClassCounters> classes,
                        const KernelClasses& bases) {
  ChildrenCounters totals = CountersOf(tree, classes);
  for (auto& [path, total] : totals) {
    const auto base = bases.find(path);
    if (base == bases.end()) continue;
    total.packets += base->second.basePackets;
    total.bytes += base->second.baseBytes;
    total.drops += base->second.baseDrops;
  }
  return totals;
}

void Rebase(const ChildrenCounters& before, const Tree& from, const Tree& to,
            std::span<const ClassCounters> classes, KernelClasses& bases) {
  const auto had = QueuesOf(from), has = QueuesOf(to);
  std::vector<ClassCounters> left;
  for (ClassCounters one : classes) {
    const auto old = had.find(one.minor), kept = has.find(one.minor);
    if (old == had.end() || kept == has.end()) continue;
    if (!old->second || !kept->second) one.drops = 0;  // with the queue
    left.push_back(one);
  }
  for (const auto& [path, counters] : CountersOf(to, left)) {
    const auto total = before.find(path);
    if (total == before.end()) continue;
    KernelClass& base = bases[path];
    Raise(base.basePackets, total->second.packets, counters.packets);
    Raise(base.baseBytes, total->second.bytes, counters.bytes);
    Raise(base.baseDrops, total->second.drops, counters.drops);
  }
}

}  // namespace hqosd::kernel
