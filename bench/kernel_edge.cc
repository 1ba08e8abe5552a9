// What the kernel's edge takes for an interface with thousands of leaf classes, in a network
// namespace of its own: building them, beside `tc -batch` that does the same; changing one;
// reading them and their counters. Prints a table; times are the best of the runs.
//   kernel_edge_bench [CLASSES] [RUNS]
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "service/kernel/traffic_control.h"
#include "tests/namespace.h"

namespace {

using namespace hqosd::kernel;

constexpr uint32_t kTicksPerMs = 15625;
constexpr uint64_t kKbit = 125;  // bytes/s

Class Leaf(uint16_t minor, uint64_t rate) {
  return {minor, 1, rate, 100'000 * kKbit, 40 * kTicksPerMs, 20 * kTicksPerMs, 3, 1600, 100};
}

std::vector<Operation> Tree(uint16_t leaves) {
  constexpr uint64_t kPort = 10'000'000 * kKbit;
  std::vector<Operation> operations{
      AddTree{16}, AddClass{{1, 0, kPort, kPort, 4 * kTicksPerMs, 4 * kTicksPerMs}}};
  for (uint16_t i = 16; i < leaves + 16; ++i) {
    operations.emplace_back(AddClass{Leaf(i, 1000 * kKbit)});
    operations.emplace_back(SetQueue{i, 100});
  }
  return operations;
}

// The same in tc's words.
void WriteBatch(const std::string& file, uint16_t leaves) {
  std::ofstream out(file);
  out << "qdisc add dev near root handle 1174: htb default 10\n"
         "class add dev near parent 1174: classid 1174:1 htb rate 10gbit quantum 1600 burst "
         "5000000 "
         "cburst 5000000\n";
  for (int i = 16; i < leaves + 16; ++i) {
    out << fmt::format(
        "class add dev near parent 1174:1 classid 1174:{0:x} htb rate 1mbit ceil 100mbit burst 5k "
        "cburst 250k prio 3 quantum 1600\nqdisc add dev near parent 1174:{0:x} pfifo limit 100\n",
        i);
  }
}

double Milliseconds(const std::function<void()>& what) {
  const auto begin = std::chrono::steady_clock::now();
  what();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}

void Do(Netlink& netlink, int device, const std::vector<Operation>& operations) {
  const Outcome outcome = Apply(netlink, device, operations);
  if (!outcome.failure) return;
  fmt::print(stderr, "operation {}: {}\n", outcome.done, outcome.failure->text);
  std::exit(1);
}

// Where there is tc.
bool RunBatch(const std::string& file) {
  std::string arguments[] = {"tc", "-batch", file};
  char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
  pid_t child = 0;
  int status = 0;
  return posix_spawnp(&child, "tc", nullptr, nullptr, argv, environ) == 0 &&
         waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const auto leaves = static_cast<uint16_t>(argc > 1 ? std::atoi(argv[1]) : 4000);
  const int runs = argc > 2 ? std::atoi(argv[2]) : 5;
  const std::string why = net::WhyNotEntered();
  if (!why.empty()) {
    fmt::print(stderr, "kernel_edge_bench: {}\n", why);
    return 1;
  }
  Netlink netlink;
  net::AddPair(netlink, "near", "far");
  const int device = net::IndexOf("near");
  const std::string batch = fmt::format("/tmp/kernel_edge.{}", getpid());
  WriteBatch(batch, leaves);
  const std::vector<Operation> tree = Tree(leaves);

  double build = 1e9, byTc = 1e9, change = 1e9, read = 1e9, counters = 1e9;
  bool hasTc = true;
  for (int i = 0; i < runs; ++i) {
    if (hasTc) {
      const double time = Milliseconds([&] { hasTc = RunBatch(batch); });
      if (hasTc) byTc = std::min(byTc, time);
      if (hasTc) Do(netlink, device, {RemoveTree{}});
    }
    build = std::min(build, Milliseconds([&] { Do(netlink, device, tree); }));
    const auto middle = static_cast<uint16_t>(leaves / 2 + 16);
    change = std::min(change, Milliseconds([&] {
                        Do(netlink, device,
                           {ChangeClass{Leaf(middle, (1001 + static_cast<uint64_t>(i)) * kKbit)}});
                      }));
    size_t found = 0;
    read = std::min(read, Milliseconds([&] { found = ReadState(netlink, device).classes.size(); }));
    counters =
        std::min(counters, Milliseconds([&] { found += ReadCounters(netlink, device).size(); }));
    if (found != 2 * (size_t{leaves} + 1)) std::abort();
    Do(netlink, device, {RemoveTree{}});
  }
  std::remove(batch.c_str());
  fmt::print("{} leaf classes with their queues, best of {}\n", leaves, runs);
  fmt::print("built                {:8.1f} ms\n", build);
  if (hasTc) fmt::print("built by tc -batch   {:8.1f} ms, ratio {:.2f}\n", byTc, build / byTc);
  fmt::print("one class changed    {:8.3f} ms\n", change);
  fmt::print("all read             {:8.1f} ms\n", read);
  fmt::print("all counters read    {:8.1f} ms\n", counters);
}
