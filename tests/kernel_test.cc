// The edge to the kernel: what is written is there, and what the kernel refuses comes back.
#include "tests/kernel.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <thread>

#include "tests/classified_frames.h"

namespace {

using namespace hqosd::kernel;
using namespace net;

const std::vector<Class> kTree = {
    Inner(1, 0, 1250 * kMbit),
    Inner(2, 1, 1000 * kMbit),
    Leaf(3, 2, kMbit, 1000 * kMbit, 40),
    Inner(0x10, 2, 100 * kMbit),
    Leaf(0x11, 0x10, 1000, 50 * kMbit, 1000),
    // Rates of more than 32 bits.
    Leaf(0xFFFE, 0x10, 100'000 * kMbit, 400'000 * kMbit, 20),
};

TEST_F(Kernel, HasWhatIsWritten) {
  Build(kTree, 3);
  Program longest(kMaxInstructions, {BPF_LD | BPF_IMM, 0, 0, 7});
  longest.back() = {BPF_RET | BPF_K, 0, 0, ClassId(3)};
  DoAt(0, {AddIfb{IfbName(device_)}});
  const int ifb = net::IndexOf(IfbName(device_));
  Do({SetFilter{1, AllTo(0x11)}, SetFilter{2, longest}, AddHooks{}, SetRedirect{ifb}});
  DeviceState wanted{"htb", kTreeHandle, 3,  kTree, {{1, AllTo(0x11)}, {2, longest}},
                     true,  false,       ifb};
  EXPECT_EQ(ReadState(*netlink_, device_), wanted);

  // A change of everything that can be changed; 0x10 becomes a leaf.
  wanted.classes = {Inner(1, 0, 10 * kMbit), Inner(2, 1, 9 * kMbit),
                    Leaf(3, 2, 2 * kMbit, 8 * kMbit, 50), Leaf(0x10, 2, kMbit, 3 * kMbit, 60)};
  wanted.filters = {{1, AllTo(0x10)}};
  std::vector<Operation> change{SetFilter{1, AllTo(0x10)}, RemoveFilter{2}, RemoveClass{0x11},
                                RemoveClass{0xFFFE},       SetQueue{3, 50}, SetQueue{0x10, 60}};
  for (const Class& one : wanted.classes) change.emplace_back(ChangeClass{one});
  Do(change);
  EXPECT_EQ(ReadState(*netlink_, device_), wanted);

  Do(RemovalOf(ReadState(*netlink_, device_)));
  EXPECT_EQ(ReadState(*netlink_, device_), (DeviceState{"noqueue", 0, 0, {}, {}}));
}

TEST_F(Kernel, ReturnsTheTextOfWhatItRefuses) {
  Build(kTree, 3);
  const std::vector<Operation> cases[] = {
      {AddTree{3}},
      {SetQueue{3, 30}, AddClass{kTree[2]}, RemoveClass{3}},
      {RemoveClass{2}},
      {SetFilter{1, {{BPF_JMP | BPF_JA, 0, 0, 9}}}},
  };
  const std::pair<size_t, std::string> failures[] = {
      {0, "File exists (Exclusivity flag on, cannot modify)"},
      {1, "File exists"},
      {0, "Device or resource busy (HTB class in use)"},
      {0, "Invalid argument"},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const Outcome outcome = Apply(*netlink_, device_, cases[i]);
    ASSERT_TRUE(outcome.failure) << i;
    EXPECT_EQ(outcome.done, failures[i].first) << i;
    EXPECT_EQ(outcome.failure->text, failures[i].second) << i;
  }
  DeviceState wanted{"htb", kTreeHandle, 3, kTree, {}};
  wanted.classes[2].limit = 30;
  EXPECT_EQ(ReadState(*netlink_, device_), wanted) << "nothing after a failure is carried out";
}

TEST_F(Kernel, StopsAtTheRefusedMessageAndReadsOnInDisturbedDumps) {
  std::vector<Operation> operations{AddTree{3}};
  for (const Class& one : kTree) operations.emplace_back(AddClass{one});
  for (int refused = 1; refused <= static_cast<int>(operations.size()) + 1; ++refused) {
    Netlink netlink(std::make_unique<Disturber>(refused));
    const Outcome outcome = Apply(netlink, device_, operations);
    const size_t done = static_cast<size_t>(refused) - 1;
    EXPECT_EQ(outcome.done, done);
    EXPECT_EQ(outcome.failure.has_value(), done < operations.size());
    const DeviceState state = ReadState(netlink, device_);
    EXPECT_EQ(state.classes.size(), done == 0 ? 0 : done - 1);
    EXPECT_EQ(ReadState(*netlink_, device_), state);
    Do(RemovalOf(state));
  }
}

// Frames wait in a slow class while everything around it changes.
TEST_F(Kernel, ChangesWithoutALossAndCounts) {
  Build({Inner(1, 0, 10 * kMbit), Leaf(3, 1, kMbit, kMbit, 500)}, 3);
  const net::Port near("near"), far("far");
  net::Frame frame(1000, 0xFF);
  for (uint8_t i = 0; i < 100; ++i) {
    frame[20] = i;
    EXPECT_TRUE(near.Send(frame));
  }
  const ClassCounters before = CountersOf(3);
  EXPECT_GT(before.queuedPackets, 50u);
  EXPECT_EQ(before.queuedBytes, before.queuedPackets * 1000);
  EXPECT_EQ(before.packets + before.queuedPackets, 100u);
  Do({AddClass{Leaf(5, 1, kMbit, kMbit, 0)}, SetQueue{5, 10}, SetFilter{1, AllTo(5)},
      SetQueue{3, 600}, ChangeClass{Leaf(3, 1, 9 * kMbit, 9 * kMbit, 600)}});
  for (uint8_t i = 100; i < 105; ++i) {
    frame[20] = i;
    EXPECT_TRUE(near.Send(frame));
  }
  std::vector<net::Frame> arrived = far.Receive(300);
  std::vector<int> numbers;
  for (const net::Frame& one : arrived) {
    if (one[20] < 100) numbers.push_back(one[20]);
  }
  EXPECT_EQ(arrived.size(), 105u);
  EXPECT_EQ(numbers.size(), 100u);
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  EXPECT_EQ(CountersOf(3).packets, 100u);
  EXPECT_EQ(CountersOf(3).bytes, 100'000u);
  EXPECT_EQ(CountersOf(3).drops, 0u);
  EXPECT_EQ(CountersOf(1).packets, 105u);

  // A full queue.
  for (int i = 0; i < 100; ++i) near.Send(frame);
  const size_t passed = far.Receive(300).size();
  EXPECT_GT(CountersOf(5).drops, 0u);
  EXPECT_EQ(passed + CountersOf(5).drops, 100u);
}

// Going out, and coming in by an ifb. Where a tag is beside a frame in the table, a VLAN device
// puts it there; the kernel itself does that with 802.1Q and 802.1ad tags that come in.
TEST_F(Kernel, ClassifiesEachFrame) {
  constexpr uint16_t kBase = 0x10;
  std::vector<Class> classes{Inner(1, 0, 100 * kMbit), Leaf(3, 1, kMbit, 100 * kMbit, 50)};
  for (uint16_t leaf = 1; leaf < 18; ++leaf) {
    classes.push_back(Leaf(static_cast<uint16_t>(kBase + leaf), 1, kMbit, 100 * kMbit, 50));
  }
  const auto programs = MakePrograms(classify::ClassifyingTree(ClassId(kBase)));
  DoAt(0, {AddIfb{IfbName(device_)}});
  const int near = device_, ifb = net::IndexOf(IfbName(near));
  for (const int device : {near, ifb}) {
    device_ = device;
    Build(classes, 3);
    Do({SetFilter{1, programs[0]}, BringUp{}});
  }
  DoAt(near, {AddHooks{}, SetRedirect{ifb}});
  net::AddPair(*netlink_, "source", "relay");
  DoAt(net::IndexOf("relay"), {AddHooks{}, SetRedirect{near}});
  const net::Port out("near"), tagged("source"), in("far");

  const auto send = [&](int device, const net::Port& port, const char* what,
                        const net::Frame& frame, uint32_t leaf) {
    const auto minor = static_cast<uint16_t>(leaf == 0 ? 3 : kBase + leaf);
    const auto all = [&] {
      device_ = device;
      return std::pair(CountersOf(minor).packets, CountersOf(1).packets);
    };
    const auto [packets, sum] = all();
    EXPECT_TRUE(port.Send(frame)) << what;
    for (int i = 0; i < 100 && all().second == sum; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(all(), std::pair(packets + 1, sum + 1)) << what << (device == ifb ? ", in" : ", out");
  };
  for (auto& [what, frame, leaf] : classify::ClassifiedFrames()) {
    net::Frame bytes = frame.bytes;
    if (bytes.size() < ETH_HLEN) continue;  // the kernel sends none
    if (frame.hasTag) {
      bytes.insert(bytes.begin() + 12, {0x81, 0, 0, static_cast<uint8_t>(frame.tag)});
    }
    const net::Port& from = frame.hasTag ? tagged : out;
    from.Mark(frame.mark);
    send(near, from, what, bytes, leaf);
    // Marks come later, and runts with a tag do not come in at all.
    if (frame.mark != 0 || (bytes[12] == 0x81 && bytes.size() < 18)) continue;
    if (bytes.size() >= 18) bytes.resize(60);  // else its tag would be cut off
    send(ifb, in, what, bytes, leaf);
  }
}

TEST_F(Kernel, ReadsThousandsOfClasses) {
  std::vector<Class> classes{Inner(1, 0, 1000 * kMbit)};
  for (uint16_t i = 0; i < 4000; ++i) {
    classes.push_back(Leaf(static_cast<uint16_t>(i + 16), 1, kMbit, 2 * kMbit, i + 1u));
  }
  Build(classes, 16);
  EXPECT_EQ(ReadState(*netlink_, device_).classes, classes);
  EXPECT_EQ(ReadCounters(*netlink_, device_).size(), classes.size());
}

TEST_F(Kernel, ReportsWhatOthersChange) {
  Monitor monitor(netlink_->port());
  Build(kTree, 3);
  EXPECT_TRUE(monitor.Read().trees.empty()) << "its own";

  Netlink other;
  EXPECT_FALSE(Apply(other, device_, std::vector<Operation>{RemoveTree{}}).failure);
  EXPECT_FALSE(Apply(other, 0, std::vector<Operation>{AddIfb{IfbName(device_)}}).failure);
  const int ifb = net::IndexOf(IfbName(device_));
  const Monitor::News news = monitor.Read();
  EXPECT_EQ(news.trees, std::vector<int>{device_});
  EXPECT_EQ(std::count(news.links.begin(), news.links.end(), ifb), 1);
  EXPECT_FALSE(news.areLost);

  DoAt(ifb, {BringUp{}});
  int own = 0;
  for (const LinkState& link : ReadLinks(*netlink_)) {
    if (link.name == "near") {
      EXPECT_EQ(link.kind, "veth");
      EXPECT_EQ(link.mtu, 1500u);
      EXPECT_EQ(link.index, device_);
    }
    if (!IsOwnIfb(link)) continue;
    ++own;
    EXPECT_TRUE(link.isUp);
    EXPECT_EQ(link.index, ifb);
  }
  EXPECT_EQ(own, 1);
  EXPECT_EQ(ReadRate("near"), 10'000'000'000u);
  EXPECT_EQ(ReadRate(IfbName(device_)), 0u);
}

}  // namespace
