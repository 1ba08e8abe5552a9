#include "service/kernel/program.h"

#include <linux/if_ether.h>

#include <algorithm>

#include "service/kernel/assembler.h"

namespace hqosd::kernel {

namespace {

// Where the program keeps what it has read of a frame.
enum Memory : uint32_t { kVlanId, kDot1p, kPriority, kLocalId, kLocalPrecedence };
constexpr uint32_t kNone = 0xFFFFFFFF;  // of a frame without a tag: no rule has the value
constexpr uint32_t kTypeAt = 12, kTagAt = 14, kIPv4At = 15, kIPv6At = 14;  // bytes of a frame
constexpr uint16_t kQinQ = 0x9100;  // the type of outer tags before there was a standard

uint32_t MemoryOf(uint32_t matchType) {
  switch (matchType) {
    case HQOS_MATCH_DOT1P:
      return kDot1p;
    case HQOS_MATCH_LOCAL_PRECEDENCE:
      return kLocalPrecedence;
    case HQOS_MATCH_QOS_LOCAL_ID:
      return kLocalId;
    default:
      return kVlanId;
  }
}

// Which attributes the tree asks for.
struct Needs {
  bool tag = false, priority = false, mark = false;
};

void AddNeeds(const Branch& branch, Needs& needs) {
  for (const Branch& child : branch.children) {
    if (child.takes == Branch::Takes::Priority) needs.priority = true;
    if (child.takes == Branch::Takes::Values) {
      const uint32_t memory = MemoryOf(child.rule.type);
      (memory == kVlanId || memory == kDot1p ? needs.tag : needs.mark) = true;
    }
    AddNeeds(child, needs);
  }
}

constexpr uint16_t kLoadHalf = BPF_LD | BPF_H | BPF_ABS, kLoadByte = BPF_LD | BPF_B | BPF_ABS;
constexpr uint16_t kLoadWord = BPF_LD | BPF_W | BPF_ABS;
constexpr uint32_t Metadata(int offset) { return static_cast<uint32_t>(SKF_AD_OFF + offset); }

struct Target {
  uint16_t low, high;
  const Branch* branch;
};

class Compiler {
 public:
  explicit Compiler(const Needs& needs) { Prologue(needs); }

  Program Compile(const Branch& tree) {
    Emit(tree);
    // What is jumped to comes after the jump, and may add more.
    for (size_t i = 0; i < later_.size(); ++i) {
      const auto [label, branch] = later_[i];
      out_.Put(label);
      Emit(*branch);
    }
    return out_.Assemble();
  }

 private:
  // A load beyond the frame's end makes the program return 0.
  void Prologue(const Needs& needs) {
    if (needs.mark) {
      out_.Do(kLoadWord, Metadata(SKF_AD_MARK));
      Shifted(0, 0xFFF, kLocalId);
      out_.Do(kLoadWord, Metadata(SKF_AD_MARK));
      Shifted(12, 7, kLocalPrecedence);
    }
    if (needs.tag || needs.priority) ReadTag(needs);
  }

  // The outer tag, from the frame's metadata or the frame; without one, the priority of its IP.
  void ReadTag(const Needs& needs) {
    const auto inFrame = out_.NewLabel(), load = out_.NewLabel(), have = out_.NewLabel(),
               done = out_.NewLabel();
    out_.Do(kLoadWord, Metadata(SKF_AD_VLAN_TAG_PRESENT));
    out_.JumpIf(BPF_JEQ, 0, inFrame);
    out_.Do(kLoadWord, Metadata(SKF_AD_VLAN_TAG));
    out_.Jump(have);
    out_.Put(inFrame);
    out_.Do(kLoadHalf, kTypeAt);
    for (const uint16_t type : {uint16_t{ETH_P_8021Q}, uint16_t{ETH_P_8021AD}, kQinQ}) {
      out_.JumpIf(BPF_JEQ, type, load);
    }
    Untagged(needs, done);
    out_.Put(load);
    out_.Do(kLoadHalf, kTagAt);
    out_.Put(have);
    out_.Do(BPF_MISC | BPF_TAX);
    Shifted(0, 0xFFF, kVlanId);
    out_.Do(BPF_MISC | BPF_TXA);
    Shifted(13, 7, kDot1p);
    out_.Do(BPF_ST, kPriority);
    out_.Put(done);
  }

  // With the type of the frame as it was loaded.
  void Untagged(const Needs& needs, Assembler::Label done) {
    const auto v4 = out_.NewLabel(), v6 = out_.NewLabel(), store = out_.NewLabel();
    if (needs.priority) {
      out_.JumpIf(BPF_JEQ, ETH_P_IP, v4);
      out_.JumpIf(BPF_JEQ, ETH_P_IPV6, v6);
    }
    out_.Do(BPF_LD | BPF_IMM, 0);
    out_.Jump(store);
    out_.Put(v4);
    if (needs.priority) {
      out_.Do(kLoadByte, kIPv4At);
      out_.Do(BPF_ALU | BPF_RSH | BPF_K, 5);
      out_.Jump(store);
    }
    out_.Put(v6);
    if (needs.priority) {
      out_.Do(kLoadHalf, kIPv6At);
      out_.Do(BPF_ALU | BPF_RSH | BPF_K, 9);
      out_.Do(BPF_ALU | BPF_AND | BPF_K, 7);
    }
    out_.Put(store);
    out_.Do(BPF_ST, kPriority);
    out_.Do(BPF_LD | BPF_IMM, kNone);
    out_.Do(BPF_ST, kVlanId);
    out_.Do(BPF_ST, kDot1p);
    out_.Jump(done);
  }

  void Shifted(uint32_t shift, uint32_t mask, Memory to) {
    if (shift != 0) out_.Do(BPF_ALU | BPF_RSH | BPF_K, shift);
    out_.Do(BPF_ALU | BPF_AND | BPF_K, mask);
    out_.Do(BPF_ST, to);
  }

  // Goes on in the branch.
  void Enter(const Branch& branch) {
    if (branch.children.empty()) return out_.Return(branch.leaf);
    later_.emplace_back(out_.NewLabel(), &branch);
    out_.Jump(later_.back().first);
  }

  void Emit(const Branch& branch) {
    std::vector<Target> targets;
    for (const Branch& child : branch.children) {
      if (child.takes != Branch::Takes::Values) continue;
      for (const HQOS_ValueRange& range : child.rule.ranges) {
        if (range.low == HQOS_RANGE_UNUSED) break;
        targets.push_back({range.low, range.high, &child});
      }
    }
    const auto missed = out_.NewLabel();
    if (!targets.empty()) {
      std::sort(targets.begin(), targets.end(),
                [](const Target& a, const Target& b) { return a.low < b.low; });
      out_.Do(BPF_LD | BPF_MEM, MemoryOf(branch.children.front().rule.type));
      Search(targets.data(), targets.data() + targets.size(), 0, kNone, missed);
    }
    out_.Put(missed);
    bool isLoaded = false;
    const Branch* rest = nullptr;
    for (const Branch& child : branch.children) {
      if (child.takes == Branch::Takes::Rest) rest = &child;
      if (child.takes != Branch::Takes::Priority) continue;
      if (!isLoaded) out_.Do(BPF_LD | BPF_MEM, kPriority);
      isLoaded = true;
      const auto next = out_.NewLabel();
      out_.JumpUnless(BPF_JEQ, child.priority, next);
      Enter(child);
      out_.Put(next);
    }
    rest != nullptr ? Enter(*rest) : out_.Return(branch.leaf);
  }

  // A binary search of the ranges for the value loaded, which is known to be from min to max.
  void Search(const Target* begin, const Target* end, uint32_t min, uint32_t max,
              Assembler::Label missed) {
    if (begin == end) return out_.Jump(missed);
    const Target& middle = begin[(end - begin) / 2];
    const bool hasAbove = middle.high<max, hasBelow = middle.low> min;
    const bool searchesAbove = hasAbove && &middle + 1 != end;
    const bool searchesBelow = hasBelow && &middle != begin;
    const auto above = searchesAbove ? out_.NewLabel() : missed;
    const auto below = searchesBelow ? out_.NewLabel() : missed;
    if (hasAbove) out_.JumpIf(BPF_JGT, middle.high, above);
    if (hasBelow) out_.JumpUnless(BPF_JGE, middle.low, below);
    Enter(*middle.branch);
    if (searchesBelow) {
      out_.Put(below);
      Search(begin, &middle, min, middle.low - 1u, missed);
    }
    if (searchesAbove) {
      out_.Put(above);
      Search(&middle + 1, end, middle.high + 1u, max, missed);
    }
  }

  Assembler out_;
  std::vector<std::pair<Assembler::Label, const Branch*>> later_;
};

// ---- Trees that are too large -------------------------------------------------------------------

// About how many instructions the branch takes, or up to four times as many where its ranges are
// neighbours.
size_t SizeOf(const Branch& branch) {
  size_t size = 2;
  for (const Branch& child : branch.children) {
    size += SizeOf(child) + 2;
    if (child.takes != Branch::Takes::Values) continue;
    for (const HQOS_ValueRange& range : child.rule.ranges) {
      if (range.low == HQOS_RANGE_UNUSED) break;
      size += 4;
    }
  }
  return size;
}

// The branch with that child alone, and 0 for other frames.
Branch Only(const Branch& branch, Branch child) {
  Branch shell{branch.takes, branch.rule, branch.priority, 0, {}};
  shell.children.push_back(std::move(child));
  return shell;
}

// Branches to be asked one after the other in the place of one, each of about `limit` instructions.
// All but the last return 0 for frames that none of their children takes; so does one that is left
// to the others.
std::vector<Branch> Split(const Branch& branch, size_t limit) {
  if (SizeOf(branch) <= limit) return {branch};
  std::vector<Branch> pieces;
  Branch current{branch.takes, branch.rule, branch.priority, 0, {}};
  const auto flush = [&] {
    if (!current.children.empty()) pieces.push_back(current);
    current.children.clear();
  };
  for (const Branch& child : branch.children) {
    // What takes the rest comes after all others.
    if (child.takes == Branch::Takes::Rest) flush();
    std::vector<Branch> parts = Split(child, limit / 2);
    for (size_t i = 0; i + 1 < parts.size(); ++i) pieces.push_back(Only(branch, parts[i]));
    if (SizeOf(current) + SizeOf(parts.back()) > limit) flush();
    current.children.push_back(std::move(parts.back()));
  }
  current.leaf = branch.leaf;
  pieces.push_back(std::move(current));
  return pieces;
}

}  // namespace

std::vector<Program> MakePrograms(const Branch& tree) {
  Needs needs;
  AddNeeds(tree, needs);  // all programs read the same, so that short frames are short for all
  for (size_t limit = 4 * kMaxInstructions;; limit = limit * 3 / 4) {
    std::vector<Program> programs;
    size_t longest = 0;
    for (const Branch& piece : Split(tree, limit)) {
      programs.push_back(Compiler(needs).Compile(piece));
      longest = std::max(longest, programs.back().size());
    }
    if (longest <= kMaxInstructions) return programs;
  }
}

}  // namespace hqosd::kernel
