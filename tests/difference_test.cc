// From any state of the kernel to any tree: in a model of the kernel, and in the kernel.
#include "service/kernel/difference.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "tests/kernel.h"
#include "tests/kernel_model.h"

namespace {

using namespace hqosd::kernel;
using namespace net;

constexpr uint16_t kPort = kPortMinor, kSP = kSPMinor, kDefault = kDefaultMinor;
constexpr uint16_t kSteady = kFirstMinor;  // the same slow leaf in each tree

std::mt19937 g_random(6);
uint16_t Below(uint16_t bound) { return static_cast<uint16_t>(g_random() % bound); }

// Of few minor numbers and values, so that two trees have much in common. All frames go to the
// steady class.
Tree RandomTree() {
  Tree tree;
  tree.classes = {Inner(kPort, 0, (1000u + Below(2)) * kMbit),
                  Inner(kSP, kPort, (500u + Below(2)) * kMbit),
                  Leaf(kDefault, kSP, kMbit, 100 * kMbit, 100 + Below(2)),
                  Leaf(kSteady, kSP, 60'000, 60'000, 1000)};
  std::map<uint16_t, int> levels{{kSP, 2}};  // of possible parents; at most 8 in all
  std::set<uint16_t> parents;
  for (int i = Below(14); i > 0; --i) {
    const auto minor = static_cast<uint16_t>(kSteady + 1 + Below(16));
    if (levels.contains(minor)) continue;
    auto parent = levels.begin();
    if (Below(2) != 0) std::advance(parent, Below(static_cast<uint16_t>(levels.size())));
    if (parent->second == 7) continue;
    parents.insert(parent->first);
    tree.classes.push_back(Leaf(minor, parent->first, (1u + Below(2)) * kMbit,
                                (8u + Below(2)) * kMbit, 40u + Below(2)));
    tree.classes.back().priority = Below(2);
    levels.emplace(minor, parent->second + 1);
  }
  for (Class& one : tree.classes) {
    if (parents.contains(one.minor)) one = Inner(one.minor, one.parent, one.rate);
  }
  for (int i = Below(3); i > 0; --i) {
    tree.programs.push_back({{BPF_LD | BPF_IMM, 0, 0, Below(2)}, {BPF_RET | BPF_K, 0, 0, 0}});
  }
  tree.programs.push_back(AllTo(kSteady));
  return tree;
}

std::vector<Operation> AllOf(Steps steps) {
  std::move(steps.remove.begin(), steps.remove.end(), std::back_inserter(steps.build));
  return std::move(steps.build);
}

// ---- The model of the kernel
// ----------------------------------------------------------------------

// The classes on the way up; none when it is not there.
std::vector<Class> WayUp(const DeviceState& state, uint16_t minor) {
  std::vector<Class> way;
  for (const Class* at = nullptr; minor != 0; minor = at->parent) {
    at = nullptr;
    for (const Class& one : state.classes) {
      if (one.minor == minor) at = &one;
    }
    if (at == nullptr) return {};
    way.push_back(*at);
  }
  return way;
}

bool IsSamePlace(const std::vector<Class>& a, const std::vector<Class>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const Class& x, const Class& y) { return x.minor == y.minor; });
}

// A tree, perhaps half-way to another one, perhaps with filters that others added.
void Prepare(KernelModel& model) {
  if (Below(8) == 0) return;
  for (const Operation& one : AllOf(Difference({}, RandomTree()))) std::visit(model, one);
  const std::vector<Operation> next = AllOf(Difference(model.State(), RandomTree()));
  const size_t done = Below(static_cast<uint16_t>(next.size() + 1));
  for (size_t i = 0; i < done; ++i) std::visit(model, next[i]);
  if (Below(8) == 0) model.AddOthersFilter(static_cast<uint16_t>(1 + Below(5)));
  if (Below(20) == 0) {
    model(RemoveTree{});
    model(AddTree{7});
    model(AddClass{Inner(7, 0, kMbit)});
  }
}

TEST(Difference, LeadsFromEachStateToEachTree) {
  size_t kept = 0, untouched = 0;
  for (int round = 0; round < 1000; ++round) {
    SCOPED_TRACE(round);
    KernelModel model;
    Prepare(model);
    const DeviceState start = model.State();
    const Tree tree = RandomTree();
    const DeviceState wanted = StateOf(tree);
    model.lost.clear();
    model.touched.clear();

    const Steps steps = Difference(start, tree);
    for (const Operation& one : steps.build) ASSERT_TRUE(std::visit(model, one)) << one.index();
    std::vector<Filter> filters = model.State().filters;
    ASSERT_GE(filters.size(), tree.programs.size());
    std::erase_if(filters, [&](const Filter& one) { return one.order > tree.programs.size(); });
    for (const Operation& one : steps.remove) ASSERT_TRUE(std::visit(model, one)) << one.index();
    ASSERT_EQ(model.State(), wanted);
    ASSERT_TRUE(Difference(wanted, tree).empty());

    if (start.defaultMinor != kDefault) continue;
    ASSERT_EQ(filters, wanted.filters) << "all programs are there before anything is removed";
    for (const Class& one : wanted.classes) {
      const auto before = WayUp(start, one.minor), after = WayUp(wanted, one.minor);
      if (!IsSamePlace(before, after)) continue;
      if ((before[0].quantum == 0) != (one.quantum == 0)) continue;  // a leaf then, or now
      ASSERT_EQ(model.lost.count(one.minor), 0u) << one.minor;
      ++kept;
      if (before[0] != one) continue;
      ASSERT_EQ(model.touched.count(one.minor), 0u) << one.minor;
      ++untouched;
    }
  }
  EXPECT_GT(kept, 3'000u);
  EXPECT_GT(untouched, 1'500u);
}

// ---- The kernel itself --------------------------------------------------------------------------

class FromTreeToTree : public Kernel {
 protected:
  void GoTo(const Tree& tree) {
    Do(AllOf(Difference(ReadState(*netlink_, device_), tree)));
    EXPECT_EQ(ReadState(*netlink_, device_), StateOf(tree));
  }
};

// A frame after each operation: all are in the steady class's queue meanwhile.
TEST_F(FromTreeToTree, LosesNoFrameOfASteadyClassBetweenRandomTrees) {
  GoTo(RandomTree());
  const Port near("near"), far("far");
  Frame frame(60, 0xFF);
  uint16_t sent = 0;
  while (sent < 900) {
    const Tree tree = RandomTree();
    for (const Operation& one : AllOf(Difference(ReadState(*netlink_, device_), tree))) {
      Do({one});
      frame[20] = static_cast<uint8_t>(sent >> 8);
      frame[21] = static_cast<uint8_t>(sent++);
      ASSERT_TRUE(near.Send(frame));
    }
    ASSERT_EQ(ReadState(*netlink_, device_), StateOf(tree));
  }
  EXPECT_GT(CountersOf(kSteady).queuedPackets, 100u);
  std::vector<int> arrived, all;
  for (const Frame& one : far.Receive(300)) arrived.push_back(one[20] << 8 | one[21]);
  for (int i = 0; i < sent; ++i) all.push_back(i);
  EXPECT_EQ(arrived, all);
}

TEST_F(FromTreeToTree, GoesBackWhereverTheKernelRefuses) {
  for (int round = 0; round < 10; ++round) {
    const Tree before = RandomTree(), after = RandomTree();
    GoTo(before);
    for (int refused = 1;; ++refused) {
      Netlink netlink(std::make_unique<Disturber>(refused));
      const auto change = AllOf(Difference(ReadState(netlink, device_), after));
      const Outcome outcome = Apply(netlink, device_, change);
      EXPECT_EQ(outcome.failure.has_value(), outcome.done < change.size());
      GoTo(before);
      if (!outcome.failure || HasFailure()) break;
    }
  }
}

TEST_F(FromTreeToTree, RepairsWhatOthersDid) {
  Tree tree;
  tree.classes = {Inner(kPort, 0, 1000 * kMbit), Inner(kSP, kPort, 500 * kMbit),
                  Leaf(kDefault, kSP, kMbit, kMbit, 100), Inner(0x10, kSP, kMbit),
                  Leaf(0x11, 0x10, kMbit, kMbit, 20)};
  tree.programs = {AllTo(3), AllTo(0x11)};
  const Class moved = Leaf(0x11, kSP, kMbit, kMbit, 20);
  const std::vector<Operation> cases[] = {
      {},
      {RemoveTree{}},
      {RemoveTree{}, AddTree{7}},
      {RemoveClass{0x11}},  // and 0x10 is a leaf
      {RemoveClass{0x11}, AddClass{moved}},
      {RemoveClass{0x11}, AddClass{moved}, AddClass{Leaf(0x10A, 0x11, 1, 1, 1)}},
      {AddClass{Leaf(0x12, 3, 1000, 1000, 1)}, SetQueue{0x12, 9}},  // and 3 is none
      {ChangeClass{Leaf(3, 2, 1000, 1000, 9)}, SetQueue{3, 9}},
      {SetFilter{1, AllTo(0x11)}, RemoveFilter{2}, SetFilter{7, AllTo(3)}},
  };
  for (const auto& operations : cases) {
    GoTo(tree);
    Do(operations);
  }
  // Filters of another handle, beside hqosd's and in its place, and for another protocol.
  for (const bool isBeside : {true, false}) {
    GoTo(tree);
    if (!isBeside) Do({RemoveFilter{2}});
    Message message = Encode(device_, SetFilter{2, AllTo(9)});
    auto& fixed = *static_cast<tcmsg*>(mnl_nlmsg_get_payload(message.header()));
    fixed.tcm_handle = 5;
    if (!isBeside) fixed.tcm_info = 2 << 16 | 8;  // IPv4
    EXPECT_FALSE(netlink_->Do(message));
    EXPECT_NE(ReadState(*netlink_, device_), StateOf(tree));
  }
  GoTo(tree);
}

}  // namespace
