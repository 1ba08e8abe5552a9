// hqosd --enforce as a whole: real processes, and traffic in a network namespace.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <linux/pkt_cls.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "hqosd.h"
#include "service/kernel/links.h"
#include "tests/kernel.h"
#include "tests/process.h"

namespace {

using namespace hqosd::kernel;
using net::Trees;
using process::Outcome;
using process::Service;
using std::chrono::milliseconds;

constexpr uint16_t kProtocol = 0x88B5;  // for local experiments

class Enforced : public net::Kernel {
 protected:
  void SetUp() override {
    net::Kernel::SetUp();
    if (IsSkipped()) return;
    service_.emplace(
        std::vector<std::string>{"--store", "@/store", "--enforce", "--link-rate", "near=100Mbit"});
  }

  // hqosctl with these words.
  static Outcome Ctl(const std::string& line) {
    std::istringstream words(line);
    std::vector<std::string> arguments{HQOSCTL};
    for (std::string word; words >> word;) arguments.push_back(word);
    return process::Run(arguments);
  }
  Outcome Config(const std::string& toml, const std::string& options = "",
                 const std::string& ofAll = "") const {
    const std::string file = service_->dir() + "/toml";
    std::ofstream(file) << "format = 1\n" << toml;
    return Ctl(ofAll + " config apply " + options + " " + file);
  }
  void Restart(int signal = SIGTERM) {
    service_->Signal(signal);
    service_->Wait();
    service_->Start();
  }

  // Waits until it is so.
  static bool Comes(const std::function<bool()>& condition) {
    for (int i = 0; i < 300 && !condition(); ++i) std::this_thread::sleep_for(milliseconds(10));
    return condition();
  }
  static uint32_t Diag() {
    HQOS_AppObj target{HQOS_APPOBJ_IFINDEX, 0, HQOS_DIR_BOTH, "near"};
    HQOS_ApplyInfo info{};
    EXPECT_EQ(HQOS_lib_GetApplyDiag(&target, &info), 0u);
    return info.sp.words[1];
  }

  // Packets, bytes and drops of each child, by its path and name.
  using Counts = std::map<std::string, std::array<uint64_t, 3>>;
  static Counts ReadCounts() {
    HQOS_AppObj target{HQOS_APPOBJ_IFINDEX, 0, HQOS_DIR_BOTH, "near"};
    HQOS_SPSonPath start{{0, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}};
    std::vector<HQOS_SPSonStat> sons(HQOS_BULK_SPSON_MAX);
    uint32_t n = 0;
    EXPECT_EQ(HQOS_lib_GetBulkSPSonStat(&target, &start, 0, &n, sons.data()), 0u);
    Counts counts;
    for (const HQOS_SPSonStat& one : std::span(sons).first(n)) {
      std::string key = one.son.cfg.name1;
      for (const uint16_t id : one.son.path.field) key += " " + std::to_string(id);
      const uint64_t* const stat = one.counters.stat64;
      counts[key] = {stat[HQOSD_STAT64_PASSED_PACKETS], stat[HQOSD_STAT64_PASSED_BYTES],
                     stat[HQOSD_STAT64_DROPPED_PACKETS]};
    }
    return counts;
  }

  std::optional<Service> service_;
};

constexpr char kApply[] = "[[apply]]\nsp = \"gold\"\ninterface = \"near\"\ndirection = \"both\"\n";
const std::string kSmall =
    "[sp.gold]\nchildren = [{fg = \"voice\", match = \"dot1p:5-7\", fp = \"five\"},"
    " {fg = \"data\", match = \"dot1p:0-4\", fp = \"ten\"}]\n"
    "[fg.voice]\n[fg.data]\nchildren = [{fc = \"a\", fp = \"queue\"}, {fc = \"b\"}]\n"
    "[fp.five]\nbandwidth = \"5Mbit\"\n[fp.ten]\ngts = [\"10Mbit\", 0, 0, 0]\n"
    "[fp.queue]\nqueue = [3, 1, 10]\n" +
    std::string(kApply);

net::Frame FrameOf(uint16_t tag, uint8_t kind, uint32_t number) {
  net::Frame frame(200);
  const uint16_t words[] = {0x8100, tag, kProtocol};
  for (size_t i = 0; i < std::size(words); ++i) {
    frame[12 + 2 * i] = static_cast<uint8_t>(words[i] >> 8);
    frame[13 + 2 * i] = static_cast<uint8_t>(words[i]);
  }
  frame[18] = kind;
  std::memcpy(&frame[19], &number, sizeof number);
  return frame;
}

// Sends numbered frames of VLAN 1, twice as many at once as leave at once, and others of other
// VLANs; and receives the numbers at the other end. A late timer on a busy machine delays frames by
// the bucket at most: the queue does not overflow.
class Traffic {
 public:
  Traffic(const char* from, const char* to)
      : from_(from), to_(to, kProtocol), sender_([this] { Send(); }), receiver_([this] {
          while (!isOver_ || Receive()) Receive();
        }) {}
  void EndsWell() {
    ends_ = true;
    sender_.join();
    isOver_ = true;
    receiver_.join();
    EXPECT_EQ(numbers_.size(), sent_);
    for (uint32_t i = 0; i < numbers_.size(); ++i) ASSERT_EQ(numbers_[i], i);
  }

 private:
  void Send() {
    std::mt19937 random(1);
    for (; !ends_; std::this_thread::sleep_for(milliseconds(100))) {
      for (int i = 0; i < 80; ++i) {
        from_.Send(FrameOf(1, 1, sent_++));
        if (i % 2 == 0) from_.Send(FrameOf(static_cast<uint16_t>(random() % 8 * 0x2064), 0, 0));
      }
    }
  }
  bool Receive() {
    const auto frames = to_.Receive(300);
    for (const net::Frame& frame : frames) {  // without their tags
      if (frame.size() < 19 || frame[14] != 1 || frame[13] != (kProtocol & 0xFF)) continue;
      std::memcpy(&numbers_.emplace_back(), &frame[15], sizeof(uint32_t));
    }
    return !frames.empty();
  }

  const net::Port from_, to_;
  std::atomic<bool> ends_ = false, isOver_ = false;
  uint32_t sent_ = 0;
  std::vector<uint32_t> numbers_;
  std::thread sender_, receiver_;
};

// Has the class of VLAN 1 always.
std::string RandomTree(std::mt19937& random) {
  const auto below = [&](uint32_t end) { return static_cast<uint32_t>(random() % end); };
  std::map<int, std::string> children;  // of FGs, and of the SP, which is 0
  std::map<int, int> levels{{0, 0}};
  for (int i = 1; i < 8; ++i) {
    const int parent = static_cast<int>(below(static_cast<uint32_t>(i)));
    if (below(4) == 0 || !levels.contains(parent) || levels[parent] == 3) continue;
    levels[i] = levels[parent] + 1;
    const std::string rule = parent == 0 ? fmt::format("service-vlan-id:{}-{}", i * 100, i * 101)
                                         : fmt::format("dot1p:{}", i);
    children[parent] += fmt::format(", {{fg = \"f{}\", match = \"{}\", fp = \"p{}\"}}", i,
                                    below(5) == 0 && i == 7 ? "group" : rule, below(4));
  }
  for (const auto& [i, level] : levels) {
    if (i == 0 || below(3) != 0) continue;
    children[i] += ", {fc = \"a\", fp = \"q\"}";
    if (children[i].find("group") == std::string::npos) children[i] += ", {fc = \"b\"}";
  }
  std::string text =
      "[sp.gold]\nchildren = [{fg = \"steady\", match = \"service-vlan-id:1\", fp = \"steady\"}" +
      children[0] +
      "]\n[fg.steady]\nid = 100\n[fp.steady]\ngts = [2000, 8000, 0, 1000]\nbandwidth = 1000\n"
      "[fp.q]\nqueue = [5, 0, 0]\n";
  for (int i = 1; i < 8; ++i) {
    text += fmt::format("[fg.f{}]\nid = {}\n", i, i);
    if (!children[i].empty()) text += "children = [" + children[i].substr(2) + "]\n";
  }
  for (int i = 0; i < 4; ++i) {
    text += fmt::format("[fp.p{}]\nbandwidth = {}\ngts = [{}, 0, 0, {}]\n", i, 8 + below(99),
                        3000 + below(9000), below(3) * 10);
    if (below(2) == 0) text += fmt::format("queue = [{}, 1, {}]\n", below(8), 1 + below(100));
  }
  return text + kApply;
}

// Nothing of the steady class is lost or overtaken, counters do not go back, and a start finds
// nothing to repair.
TEST_F(Enforced, KeepsTheKernelAsPlannedThroughChangesAndKills) {
  std::mt19937 random(17);
  Outcome done = Config(RandomTree(random));
  ASSERT_EQ(done.status, 0) << done.err;
  Traffic out("near", "far"), in("far", "near");
  Counts counts;
  for (int round = 0; round < 24 && !HasFailure(); ++round) {
    const bool isKilled = round % 3 != 0;
    const std::string tree = RandomTree(random);
    std::thread change([&] { done = Config(tree); });
    if (isKilled) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 25'000));
      Restart(SIGKILL);
    }
    change.join();
    EXPECT_TRUE(isKilled || done.status == 0) << done.err << tree;
    EXPECT_EQ(Diag(), uint32_t{HQOSD_DIAG_IN_EFFECT});
    const Counts now = ReadCounts();
    for (const auto& [child, count] : now) {
      const auto before = counts.find(child);
      if (before == counts.end()) continue;
      for (size_t i = 0; i < count.size(); ++i) EXPECT_GE(count[i], before->second[i]) << child;
    }
    counts = now;
    const Trees trees = ReadTrees();
    EXPECT_TRUE(trees.isRedirected);
    Restart();
    EXPECT_EQ(ReadTrees(), trees) << tree;
  }
  out.EndsWell();
  in.EndsWell();
  for (const auto& [child, count] : ReadCounts()) {
    EXPECT_TRUE(!child.starts_with("steady") || count[0] > 1000) << count[0];
  }

  std::string other = RandomTree(random);
  for (size_t at; (at = other.find("gold")) != std::string::npos;) other.replace(at, 4, "new");
  EXPECT_EQ(Config(other).status, 0);
  for (const auto& [child, count] : ReadCounts()) {
    EXPECT_TRUE(!child.starts_with("steady") || count[0] == 0) << "of another SP: " << count[0];
  }
}

TEST_F(Enforced, RepairsWhatOthersChange) {
  ASSERT_EQ(Config(kSmall).status, 0);
  const Trees wanted = ReadTrees();
  ASSERT_TRUE(wanted.isRedirected);
  const Class voice = wanted.out.classes.back();
  const Class other{voice.minor, voice.parent, 1000, 2000, 9999, 9999, 1, 9999};
  const struct {
    const char* what;
    std::vector<Operation> onInterface, onIfb;
  } cases[] = {
      // one message each: the second one would be within a minute
      {"tree", {RemoveTree{}}, {}},
      {"filter", {RemoveFilter{1}}, {}},
      {"another filter", {SetFilter{1, net::AllTo(3)}}, {}},
      {"one filter more", {}, {SetFilter{7, net::AllTo(3)}}},
      {"class", {RemoveClass{voice.minor}}, {}},
      {"changed class", {}, {ChangeClass{other}}},
      {"queue", {SetQueue{voice.minor, 7}}, {}},
      {"redirection", {RemoveRedirect{}}, {}},
      {"redirected to another", {SetRedirect{1}}, {}},
      {"hooks", {RemoveHooks{}}, {}},
      {"the ifb's tree", {}, {RemoveTree{}}},
      {"the ifb", {}, {RemoveLink{}}},
  };
  for (const auto& c : cases) {
    Do(c.onInterface);
    DoAt(net::IndexOf(IfbName(device_)), c.onIfb);
    EXPECT_TRUE(Comes([&] { return ReadTrees() == wanted; })) << c.what;
    EXPECT_TRUE(Comes([&] { return service_->Log().find("repaired") != std::string::npos; }));
    EXPECT_EQ(Diag(), uint32_t{HQOSD_DIAG_IN_EFFECT}) << c.what;
    Restart();  // which ends the patience
  }
  net::TakeDown(*netlink_, net::IndexOf(IfbName(device_)));
  EXPECT_TRUE(Comes([&] {
    for (const LinkState& link : ReadLinks(*netlink_)) {
      if (IsOwnIfb(link)) return link.isUp;
    }
    return false;
  }));
  Restart();

  for (int i = 0; i < 2; ++i) {
    Do({RemoveTree{}});
    EXPECT_TRUE(Comes([&] { return (ReadTrees() == wanted) == (i == 0); }));
    EXPECT_TRUE(Comes(
        [&] { return Diag() == (i == 0 ? HQOSD_DIAG_IN_EFFECT : HQOSD_DIAG_OTHERS_CHANGE); }));
  }
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_FALSE(ReadState(*netlink_, device_).isOwn()) << "not twice within a minute";
}

TEST_F(Enforced, FollowsTheInterface) {
  ASSERT_EQ(Config(kSmall).status, 0);
  const Trees wanted = ReadTrees();
  net::SetLink(*netlink_, device_, IFLA_MTU, uint32_t{9000});
  EXPECT_TRUE(Comes([&] { return ReadTrees().out.classes.back().quantum > 9000; }));
  net::SetLink(*netlink_, device_, IFLA_MTU, uint32_t{1500});
  EXPECT_TRUE(Comes([&] { return ReadTrees() == wanted; }));

  for (const std::string name : {"a;$(x)*'\"", "near"}) {
    net::TakeDown(*netlink_, device_);
    net::SetLink(*netlink_, device_, IFLA_IFNAME, name);
    Do({BringUp{}});
    const bool isBack = name == "near";
    EXPECT_TRUE(Comes([&] { return ReadState(*netlink_, device_).isOwn() == isBack; })) << name;
    EXPECT_TRUE(
        Comes([&] { return Diag() == (isBack ? HQOSD_DIAG_IN_EFFECT : HQOSD_DIAG_NO_INTERFACE); }));
  }
  EXPECT_TRUE(Comes([&] { return ReadTrees() == wanted; }));

  Do({RemoveLink{}});
  EXPECT_TRUE(Comes([&] { return net::IndexOf(IfbName(device_)) == 0; }));
  EXPECT_EQ(Diag(), uint32_t{HQOSD_DIAG_NO_INTERFACE});
  net::AddPair(*netlink_, "near", "far");
  EXPECT_NE(net::IndexOf("near"), device_);
  EXPECT_TRUE(Comes([&] { return ReadTrees() == wanted; }));
  EXPECT_TRUE(Comes([&] { return Diag() == 0; }));
}

TEST_F(Enforced, LeavesWhatOthersHaveConfigured) {
  const auto addOthers = [&] {
    Message message(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE);
    auto& fixed = message.Fixed<tcmsg>();
    fixed.tcm_ifindex = device_;
    fixed.tcm_parent = TC_H_ROOT;
    fixed.tcm_handle = 0x10000;
    message.Put(TCA_KIND, std::string("pfifo"));
    EXPECT_FALSE(netlink_->Do(message));
  };
  addOthers();
  const Trees before = ReadTrees();
  const Outcome refused = Config(kSmall);
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("near has a queueing discipline that somebody else configured (pfifo "
                             "1:); remove it with: tc qdisc del dev near root"),
            std::string::npos)
      << refused.err;
  EXPECT_EQ(ReadTrees(), before);
  Message removal(RTM_DELQDISC, 0);
  auto& fixed = removal.Fixed<tcmsg>();
  fixed.tcm_ifindex = device_;
  fixed.tcm_parent = TC_H_ROOT;
  EXPECT_FALSE(netlink_->Do(removal));
  ASSERT_EQ(Config(kSmall).status, 0);
  const Trees wanted = ReadTrees();

  // At the start.
  service_->Signal(SIGKILL);
  service_->Wait();
  Do({RemoveTree{}});
  addOthers();
  service_->Start();
  EXPECT_EQ(Diag(), uint32_t{HQOSD_DIAG_OTHERS_QDISC});
  EXPECT_EQ(ReadState(*netlink_, device_).rootKind, "pfifo");
  EXPECT_TRUE(ReadTrees().isRedirected) << "else all that comes in is dropped";
  EXPECT_FALSE(netlink_->Do(removal));
  EXPECT_TRUE(Comes([&] { return ReadTrees() == wanted; }));

  // What was in effect before them is removed with its SP.
  Restart();
  addOthers();
  EXPECT_TRUE(Comes([&] { return Diag() == HQOSD_DIAG_OTHERS_QDISC; }));
  EXPECT_EQ(Config("").status, 0);
  EXPECT_EQ(ReadTrees(), before);
  EXPECT_FALSE(netlink_->Do(removal));
  ASSERT_EQ(Config(kSmall).status, 0);

  // Others' filters remain when all is released.
  Message filter = Encode(device_, SetRedirect{1});
  const_cast<tcmsg&>(FixedOf<tcmsg>(*filter.header())).tcm_info = TC_H_MAKE(5u << 16, 0x300);
  EXPECT_FALSE(netlink_->Do(filter));
  service_->Signal(SIGTERM);
  service_->Wait();
  EXPECT_EQ(process::Run({HQOSD, "--release"}).status, 0);
  EXPECT_EQ(ReadTrees(), (Trees{{"noqueue", 0, 0, {}, {}, true, true}, {}, false}));
  service_->Start();
  EXPECT_TRUE(ReadTrees().isRedirected);
}

// One service, and only one that can enforce.
TEST_F(Enforced, RefusesToStartInVain) {
  ASSERT_EQ(Config(kSmall).status, 0);
  const Trees wanted = ReadTrees();
  const auto fails = [](std::vector<std::string> command, const char* why) {
    const Outcome outcome = process::Run(command);
    return outcome.status == 1 && outcome.err.find(why) != std::string::npos ? "" : outcome.err;
  };
  const char kTaken[] = "another hqosd enforces in this network namespace";
  const std::vector<std::string> second{HQOSD, "--node", "7", "--ephemeral", "--enforce"};
  EXPECT_EQ(fails(second, kTaken), "");
  EXPECT_EQ(fails({HQOSD, "--release"}, kTaken), "");
  EXPECT_EQ(ReadTrees(), wanted);

  service_->Signal(SIGKILL);
  service_->Wait();
  const std::string lacking =
      "/usr/bin/setpriv --bounding-set -net_admin " HQOSD " --ephemeral --enforce";
  EXPECT_EQ(fails({"/bin/sh", "-c", "exec " + lacking}, "CAP_NET_ADMIN"), "");
  // A user who may not configure takes the name first.
  int taken = -1;
  std::thread([&] {
    const uid_t nobody = 65534;
    if (syscall(SYS_setresuid, nobody, nobody, nobody) != 0) return;  // no other user here
    taken = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{AF_UNIX, "\0hqosd-enforce"};
    EXPECT_EQ(bind(taken, reinterpret_cast<sockaddr*>(&address), 2 + 14), 0);
  }).join();
  service_->Start();
  EXPECT_EQ(ReadTrees(), wanted);
  EXPECT_EQ(service_->Log().find("user 65534 holds") != std::string::npos, taken >= 0);
  close(taken);
}

// Others change something while a long transaction is under way.
TEST_F(Enforced, GoesOnWithALongTransaction) {
  std::string fgs, children;
  for (int i = 1; i < 1000; ++i) {
    fgs += fmt::format("[fg.f{}]\n", i);
    children += fmt::format("{{fg = \"f{}\", match = \"service-vlan-id:{}\"}},\n", i, i);
  }
  std::atomic<bool> isOver = false;
  std::thread others([&] {
    for (uint32_t mtu = 1400; !isOver; mtu ^= 1) net::SetLink(*netlink_, device_, IFLA_MTU, mtu);
  });
  const std::string tree = "[sp.gold]\nchildren = [" + children + "]\n" + fgs + kApply;
  Outcome done = Config(tree, "", "--timeout 30");
  isOver = true;
  others.join();
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_TRUE(Comes([&] { return ReadTrees().in.classes.size() == 1002; }));

  // It is completed when the service is to end.
  EXPECT_EQ(Config("").status, 0);
  std::thread change([&] { done = Config(tree); });
  EXPECT_TRUE(Comes([&] { return ReadState(*netlink_, device_).isOwn(); }));
  service_->Signal(SIGTERM);
  change.join();
  service_->Wait();
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_EQ(ReadTrees().in.classes.size(), 1002u);
}

// In model, store and kernel nothing is changed.
TEST_F(Enforced, RefusesWhole) {
  ASSERT_EQ(Config(kSmall).status, 0);
  const auto all = [] { return Ctl("config show").out + Ctl("db dump").out; };
  const std::string before = all();
  const Trees trees = ReadTrees();
  const std::string faulty = kSmall + "[fp.more]\nbandwidth = \"11Mbit\"\nqueue = [3, 1, 1]\n";
  std::string worse = faulty;
  worse.replace(worse.find("\"queue\"}"), 7, "\"more\"");
  const std::string batch = service_->dir() + "/batch";
  std::ofstream(batch) << "fp set queue --bandwidth 50Mbit\n";
  const std::pair<std::string, std::function<Outcome()>> cases[] = {
      {"exceeds its ceiling of 10000 kbit/s, that of FG data",
       [&] { return Ctl("fp set queue --bandwidth 11Mbit"); }},
      {"exceed its ceiling of 100000 kbit/s, the rate of the link",
       [&] { return Ctl("fp set five --bandwidth 99999kbit"); }},
      {"exceeds its ceiling", [&] { return Ctl("--batch " + batch); }},
      {"exceeds its ceiling", [&] { return Config(worse); }},
      {"exceeds its ceiling", [&] { return Config(worse, "--dry-run"); }},
      {"it is hqosd's own",
       [&] { return Ctl("apply sp gold --direction both --interface " + IfbName(device_)); }},
      {"take what the others leave both", [&] { return Ctl("nest fg data fc c"); }},
  };
  for (const auto& [text, refused] : cases) {
    const Outcome outcome = refused();
    EXPECT_EQ(outcome.status, 1) << text;
    EXPECT_NE(outcome.err.find(text), std::string::npos) << text << "\n" << outcome.err;
    EXPECT_EQ(all(), before) << text;
    EXPECT_EQ(ReadTrees(), trees) << text;
  }
}

}  // namespace
