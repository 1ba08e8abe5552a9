// Which class a frame is of: an interpreter of the classifier's programs, and the rules read
// literally.
#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/kernel/program.h"

namespace classify {

using namespace hqosd::kernel;

struct Frame {
  std::vector<uint8_t> bytes;
  bool hasTag = false;  // beside the frame
  uint16_t tag = 0;
  uint32_t mark = 0;
};

// ---- The rules, literally -----------------------------------------------------------------------

struct Attributes {
  bool isTagged = false;
  uint32_t tag = 0, priority = 0;
};

// The bytes of a frame as a number; none beyond its end.
inline std::optional<uint32_t> At(const Frame& frame, uint32_t at, uint32_t width) {
  if (at + width > frame.bytes.size()) return std::nullopt;
  uint32_t number = 0;
  for (uint32_t i = 0; i < width; ++i) number = number << 8 | frame.bytes[at + i];
  return number;
}

inline std::optional<Attributes> AttributesOf(const Frame& frame, bool needsPriority) {
  if (frame.hasTag) return Attributes{true, frame.tag, uint32_t{frame.tag} >> 13};
  const auto type = At(frame, 12, 2);
  if (!type) return std::nullopt;
  if (*type == 0x8100 || *type == 0x88A8 || *type == 0x9100) {
    const auto tag = At(frame, 14, 2);
    return tag ? std::optional(Attributes{true, *tag, *tag >> 13}) : std::nullopt;
  }
  Attributes none;
  if (needsPriority && (*type == 0x0800 || *type == 0x86DD)) {
    const auto ds = *type == 0x0800 ? At(frame, 15, 1) : At(frame, 14, 2);
    if (!ds) return std::nullopt;
    none.priority = *type == 0x0800 ? *ds >> 5 : *ds >> 9 & 7;
  }
  return none;
}

inline bool Takes(const Branch& child, const Frame& frame, const Attributes& a) {
  if (child.takes == Branch::Takes::Rest) return true;
  if (child.takes == Branch::Takes::Priority) return child.priority == a.priority;
  const uint32_t type = child.rule.type;
  const bool ofTag = type == HQOS_MATCH_DOT1P || type == HQOS_MATCH_SERVICE_VLAN_ID;
  if (ofTag && !a.isTagged) return false;
  const uint32_t value = type == HQOS_MATCH_DOT1P              ? a.tag >> 13
                         : type == HQOS_MATCH_SERVICE_VLAN_ID  ? a.tag & 0xFFF
                         : type == HQOS_MATCH_LOCAL_PRECEDENCE ? frame.mark >> 12 & 7
                                                               : frame.mark & 0xFFF;
  for (const HQOS_ValueRange& range : child.rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED) return false;
    if (range.low <= value && value <= range.high) return true;
  }
  return false;
}

inline bool Uses(const Branch& branch, const std::function<bool(const Branch&)>& what) {
  return std::any_of(branch.children.begin(), branch.children.end(),
                     [&](const Branch& child) { return what(child) || Uses(child, what); });
}

inline uint32_t Classify(const Branch& tree, const Frame& frame) {
  const bool needsPriority =
      Uses(tree, [](const Branch& child) { return child.takes == Branch::Takes::Priority; });
  const bool needsTag = Uses(tree, [](const Branch& child) {
    return child.takes == Branch::Takes::Values &&
           (child.rule.type == HQOS_MATCH_DOT1P || child.rule.type == HQOS_MATCH_SERVICE_VLAN_ID);
  });
  Attributes a;
  if (needsPriority || needsTag) {
    const auto read = AttributesOf(frame, needsPriority);
    if (!read) return 0;
    a = *read;
  }
  const Branch* at = &tree;
  for (size_t i = 0; i < at->children.size();) {
    if (Takes(at->children[i], frame, a)) {
      at = &at->children[i];
      i = 0;
    } else {
      ++i;
    }
  }
  return at->leaf;
}

// ---- The interpreter ----------------------------------------------------------------------------

// NOLINTNEXTLINE(readability-function-size)
inline uint32_t ResultOf(const Program& program, const Frame& frame) {
  uint32_t a = 0, x = 0, memory[BPF_MEMWORDS] = {};
  for (size_t at = 0; at < program.size(); ++at) {
    const sock_filter& one = program[at];
    const uint32_t k = one.k;
    const auto jump = [&](bool holds) { at += holds ? one.jt : one.jf; };
    switch (one.code) {
      case BPF_LD | BPF_W | BPF_ABS:
        a = k == uint32_t(SKF_AD_OFF + SKF_AD_MARK)       ? frame.mark
            : k == uint32_t(SKF_AD_OFF + SKF_AD_VLAN_TAG) ? frame.tag
                                                          : uint32_t{frame.hasTag};
        break;
      case BPF_LD | BPF_H | BPF_ABS:
      case BPF_LD | BPF_B | BPF_ABS: {
        const auto loaded = At(frame, k, BPF_SIZE(one.code) == BPF_H ? 2 : 1);
        if (!loaded) return 0;
        a = *loaded;
        break;
      }
      case BPF_LD | BPF_IMM:
        a = k;
        break;
      case BPF_LD | BPF_MEM:
        a = memory[k];
        break;
      case BPF_ST:
        memory[k] = a;
        break;
      case BPF_MISC | BPF_TAX:
        x = a;
        break;
      case BPF_MISC | BPF_TXA:
        a = x;
        break;
      case BPF_ALU | BPF_RSH | BPF_K:
        a >>= k;
        break;
      case BPF_ALU | BPF_AND | BPF_K:
        a &= k;
        break;
      case BPF_JMP | BPF_JA:
        at += k;
        break;
      case BPF_JMP | BPF_JEQ | BPF_K:
        jump(a == k);
        break;
      case BPF_JMP | BPF_JGT | BPF_K:
        jump(a > k);
        break;
      case BPF_JMP | BPF_JGE | BPF_K:
        jump(a >= k);
        break;
      case BPF_RET | BPF_K:
        return k;
      default:
        throw std::logic_error("instruction " + std::to_string(one.code));
    }
  }
  throw std::logic_error("the program does not end");
}

// The first program that knows the frame decides.
inline uint32_t ResultOf(const std::vector<Program>& programs, const Frame& frame) {
  uint32_t found = 0;
  for (const Program& program : programs) {
    if (found == 0) found = ResultOf(program, frame);
  }
  return found;
}

// ---- Trees and frames ---------------------------------------------------------------------------

// A number below the bound.
using Below = std::function<uint32_t(uint32_t)>;

// Of so many levels below the root, which has fewer than so many children with values.
inline Branch MakeTree(const Below& below, int levels, uint32_t most, uint32_t& leaves) {
  Branch branch;
  branch.leaf = ++leaves;
  if (levels == 0) return branch;
  constexpr uint32_t kTypes[] = {HQOS_MATCH_DOT1P, HQOS_MATCH_LOCAL_PRECEDENCE,
                                 HQOS_MATCH_QOS_LOCAL_ID, HQOS_MATCH_SERVICE_VLAN_ID};
  const uint32_t type = kTypes[below(4)];
  const uint32_t max = type == HQOS_MATCH_DOT1P || type == HQOS_MATCH_LOCAL_PRECEDENCE ? 7 : 4094;
  uint32_t value = below(3);
  for (uint32_t i = below(most); i > 0 && value <= max; --i) {
    branch.children.push_back(MakeTree(below, levels - 1, std::min(most, 6u), leaves));
    Branch& child = branch.children.back();
    child.takes = Branch::Takes::Values;
    child.rule.type = type;
    std::fill_n(child.rule.ranges, 8, HQOS_ValueRange{HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED});
    for (uint32_t range = 0; range <= below(3) && value <= max; ++range) {
      const uint32_t high = std::min(max, value + below(3));
      child.rule.ranges[range] = {static_cast<uint16_t>(value), static_cast<uint16_t>(high)};
      value = high + 1 + below(2);
    }
  }
  for (uint8_t priority = 0; priority < 8; ++priority) {
    if (below(6) != 0) continue;
    branch.children.emplace_back();
    branch.children.back().takes = Branch::Takes::Priority;
    branch.children.back().priority = priority;
    branch.children.back().leaf = ++leaves;
  }
  if (below(3) == 0) {
    branch.children.push_back(MakeTree(below, levels - 1, std::min(most, 6u), leaves));
  }
  return branch;
}

// Of six bytes after the type, or cut.
inline Frame MakeFrame(const Below& below) {
  constexpr uint16_t kTypes[] = {0x0800, 0x86DD, 0x0806, 0x8100, 0x88A8, 0x9100};
  Frame frame;
  frame.bytes.resize(12);
  const uint16_t type = kTypes[below(6)];
  for (const int shift : {8, 0}) frame.bytes.push_back(static_cast<uint8_t>(type >> shift));
  for (int i = 0; i < 6; ++i) frame.bytes.push_back(static_cast<uint8_t>(below(256)));
  if (below(20) == 1) frame.bytes.resize(below(20));  // a runt
  frame.hasTag = below(4) == 1;
  frame.tag = static_cast<uint16_t>(frame.hasTag ? below(0x10000) : 0);
  frame.mark = below(0xFFFFFFFF);
  return frame;
}

}  // namespace classify
