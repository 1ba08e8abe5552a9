// The rates that the kernel gives to classes, in network namespaces of the program's own: one class
// alone, five that all want more than they get, and TCP, with and without segments of 64 kB. Each
// against what is due; prints a table. Its status is 1 when one is off by more than the figure
// printed beside it.
//   kernel_rates_bench [SECONDS]    of each measurement; 5
#include <fmt/format.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "service/kernel/traffic_control.h"
#include "tests/namespace.h"

namespace {

using namespace hqosd::kernel;
using Clock = std::chrono::steady_clock;

constexpr double kTicksPerSecond = 15'625'000;
constexpr uint32_t kFrame = 1518;  // bytes, with a tag
constexpr uint16_t kFirst = 16;

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// With buckets of 4 ms, at least one frame. Rates are in bit/s.
Class Shaped(uint16_t minor, uint16_t parent, uint64_t rate, uint64_t ceil) {
  Class one{minor, parent, rate / 8, ceil / 8, 0, 0};
  const auto ticks = [](uint64_t bytesPerSecond) {
    const double frame = kFrame / static_cast<double>(bytesPerSecond);
    return static_cast<uint32_t>(std::max(0.004, frame) * kTicksPerSecond + 1);
  };
  one.burst = ticks(one.rate);
  one.cburst = ticks(one.ceil);
  return one;
}

struct Share {
  uint64_t guarantee, ceil;  // bit/s
  uint32_t weight;           // of what the guarantees leave
};

// A port with a leaf for each VLAN from 1 on.
std::vector<Operation> PortOf(uint64_t rate, const std::vector<Share>& shares) {
  std::vector<Operation> operations{AddTree{kFirst}, AddClass{Shaped(1, 0, rate, rate)}};
  Branch tree{Branch::Takes::Rest, {}, 0, ClassId(kFirst), {}};
  for (size_t i = 0; i < shares.size(); ++i) {
    const auto minor = static_cast<uint16_t>(kFirst + i);
    Class leaf = Shaped(minor, 1, shares[i].guarantee, shares[i].ceil);
    leaf.quantum = kFrame * shares[i].weight;
    operations.emplace_back(AddClass{leaf});
    const auto packets = static_cast<uint32_t>(shares[i].ceil / 8 / 10 / kFrame);
    operations.emplace_back(SetQueue{minor, std::clamp(packets, 20u, 1000u)});
    const auto vlan = static_cast<uint16_t>(i + 1);
    tree.children.push_back({Branch::Takes::Values,
                             {HQOS_MATCH_SERVICE_VLAN_ID, {{vlan, vlan}, {HQOS_RANGE_UNUSED, 0}}},
                             0,
                             ClassId(minor),
                             {}});
  }
  operations.emplace_back(SetFilter{1, MakePrograms(tree).front()});
  return operations;
}

void Do(Netlink& netlink, const std::string& name, const std::vector<Operation>& operations) {
  const Outcome outcome = Apply(netlink, net::IndexOf(name), operations);
  if (!outcome.failure) return;
  fmt::print(stderr, "operation {}: {}\n", outcome.done, outcome.failure->text);
  std::exit(1);
}

net::Frame TaggedFrame(size_t vlan) {
  net::Frame frame(kFrame, 0xFF);
  const uint8_t tag[] = {0x81, 0,   static_cast<uint8_t>(vlan >> 8), static_cast<uint8_t>(vlan),
                         0x88, 0xB5};
  std::copy(std::begin(tag), std::end(tag), frame.begin() + 12);
  frame.back() = static_cast<uint8_t>(vlan);  // the tag itself does not arrive
  return frame;
}

// What arrives of each VLAN in bit/s, while all queues are kept full. The buckets' first contents
// are not counted.
std::vector<double> Measure(size_t vlans, double seconds) {
  std::atomic<bool> stop = false;
  std::thread sender([&] {
    const net::Port near("near");
    for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(3))) {
      for (size_t vlan = 1; vlan <= vlans; ++vlan) {
        const net::Frame frame = TaggedFrame(vlan);
        for (int i = 0; i < 100 && near.Send(frame);) ++i;
      }
    }
  });
  const net::Port far("far");
  struct Seen {
    uint64_t frames = 0;
    double first = 0, last = 0;
  };
  std::vector<Seen> seen(vlans + 1);
  const auto begin = Clock::now();
  while (Since(begin) < seconds + 1) {
    for (const net::Frame& frame : far.Receive(0)) {
      Seen& one = seen[frame.back()];
      const double now = Since(begin);
      if (now < 1) continue;
      if (one.frames++ == 0) one.first = now;
      one.last = now;
    }
    far.Wait(100);
  }
  stop = true;
  sender.join();
  std::vector<double> rates;
  for (size_t vlan = 1; vlan <= vlans; ++vlan) {
    const Seen& one = seen[vlan];
    const auto bits = static_cast<double>((one.frames - 1) * kFrame * 8);
    rates.push_back(bits / (one.last - one.first));
  }
  return rates;
}

bool g_allDue = true;

void Report(const std::string& what, double rate, double due, double allowed) {
  const double off = rate / due - 1;
  const bool isDue = std::abs(off) <= allowed;
  g_allDue = g_allDue && isDue;
  fmt::print("{:32} {:12.0f} bit/s, due {:12.0f}: {:+6.2f} % of {:.1f}{}\n", what, rate, due,
             100 * off, 100 * allowed, isDue ? "" : "  TOO FAR");
  std::fflush(stdout);
}

// ---- TCP ----------------------------------------------------------------------------------------

constexpr double kPayload = 1448.0 / 1514;  // of a segment in its frame

// Whether the interface gets segments of up to 64 kB.
void SetOffload(const std::string& name, bool isOn) {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  for (const uint32_t command : {uint32_t{ETHTOOL_STSO}, uint32_t{ETHTOOL_SGSO}}) {
    ethtool_value value{command, isOn};
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    request.ifr_data = reinterpret_cast<char*>(&value);
    if (ioctl(fd, SIOCETHTOOL, &request) != 0) std::abort();
  }
  close(fd);
}

int Listen() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in any = net::AddressOf("0.0.0.0", 5001);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) std::abort();
  if (listen(fd, 1) != 0) std::abort();
  return fd;
}

// From the namespace of `near` to that of `far`; the bytes that arrive after two seconds.
double MeasureTcp(const net::Peer& peer, double seconds) {
  std::atomic<bool> stop = false, isListening = false;
  std::thread receiver;
  double rate = 0;
  receiver = std::thread([&] {
    peer.Enter();
    const int listener = Listen();
    isListening = true;
    const int fd = accept(listener, nullptr, nullptr);
    std::vector<char> room(1 << 20);
    const auto begin = Clock::now();
    double from = 0, at = 0;
    uint64_t bytes = 0;
    while (at < 2 * seconds + 2) {
      const ssize_t length = recv(fd, room.data(), room.size(), 0);
      if (length <= 0) break;
      at = Since(begin);
      if (at < 2) continue;
      if (from == 0) {
        from = at;
      } else {
        bytes += static_cast<uint64_t>(length);
      }
    }
    rate = static_cast<double>(bytes) * 8 / (at - from);
    stop = true;
    close(fd);
    close(listener);
  });
  while (!isListening) std::this_thread::yield();
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in there = net::AddressOf("10.0.0.2", 5001);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&there), sizeof there) != 0) std::abort();
  const std::vector<char> data(1 << 16);
  while (!stop && send(fd, data.data(), data.size(), MSG_NOSIGNAL) > 0) {
  }
  receiver.join();
  close(fd);
  return rate;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 5;
  const std::string why = net::WhyNotEntered();
  if (!why.empty()) {
    fmt::print(stderr, "kernel_rates_bench: {}\n", why);
    return 1;
  }
  Netlink netlink;
  net::AddPair(netlink, "near", "far");
  for (const uint64_t rate :
       {64'000u, 256'000u, 1'000'000u, 5'000'000u, 20'000'000u, 40'000'000u}) {
    Do(netlink, "near", PortOf(1'000'000'000, {{rate, rate, 1}}));
    Report("alone", Measure(1, seconds).front(), static_cast<double>(rate), 0.005);
    Do(netlink, "near", {RemoveTree{}});
  }

  const uint64_t port = 20'000'000;
  const std::vector<Share> shares = {{1'000'000, port, 1},
                                     {2'000'000, port, 2},
                                     {3'000'000, port, 4},
                                     {4'000'000, port, 1},
                                     {4'000'000, 5'000'000, 2}};
  const uint64_t left = port - 14'000'000 - 1'000'000;  // the last one is at its ceiling
  Do(netlink, "near", PortOf(port, shares));
  const std::vector<double> rates = Measure(shares.size(), seconds);
  for (size_t i = 0; i < shares.size(); ++i) {
    const double due =
        static_cast<double>(shares[i].guarantee) + static_cast<double>(left) * shares[i].weight / 8;
    Report(
        fmt::format("guarantee {} kbit/s, weight {}", shares[i].guarantee / 1000, shares[i].weight),
        rates[i], std::min(due, static_cast<double>(shares[i].ceil)), 0.02);
  }
  Do(netlink, "near", {RemoveTree{}, RemoveLink{}});

  const net::Peer peer;
  net::AddPair(netlink, "near", "far", &peer);
  net::AddAddress(netlink, "near", "10.0.0.1");
  std::thread([&] {
    peer.Enter();
    Netlink there;
    net::AddAddress(there, "far", "10.0.0.2");
  }).join();
  for (const bool isOn : {true, false}) {
    SetOffload("near", isOn);
    for (const uint64_t rate : {5'000'000u, 20'000'000u, 100'000'000u}) {
      Do(netlink, "near", PortOf(1'000'000'000, {{rate, rate, 1}}));
      Report(isOn ? "TCP, segments of 64 kB" : "TCP, offloads off",
             MeasureTcp(peer, seconds) / kPayload, static_cast<double>(rate), 0.02);
      Do(netlink, "near", {RemoveTree{}});
    }
  }
  return g_allDue ? 0 : 1;
}
