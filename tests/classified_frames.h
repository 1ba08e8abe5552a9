// Frames of every kind, and the classes of a tree in which they belong, written down by hand.
#pragma once

#include "tests/bytes.h"
#include "tests/classify.h"

namespace classify {

using wire::Bytes;
using wire::Hex;
using wire::operator+;

// VLAN 5 by local precedence and VLAN 6 by local id, then two priorities; leaves are numbered from
// `base`, with 9 for the rest.
inline Branch ClassifyingTree(uint32_t base) {
  constexpr HQOS_ValueRange kEnd{HQOS_RANGE_UNUSED, HQOS_RANGE_UNUSED};
  const auto child = [&](uint32_t type, uint16_t value, uint32_t leaf) {
    return Branch{Branch::Takes::Values, {type, {{value, value}, kEnd}}, 0, base + leaf, {}};
  };
  Branch tree{Branch::Takes::Rest,
              {},
              0,
              base + 9,
              {child(HQOS_MATCH_SERVICE_VLAN_ID, 5, 1), child(HQOS_MATCH_SERVICE_VLAN_ID, 6, 2)}};
  tree.children[0].children = {child(HQOS_MATCH_LOCAL_PRECEDENCE, 5, 4)};
  tree.children[1].children = {child(HQOS_MATCH_QOS_LOCAL_ID, 3, 3)};
  for (const uint8_t priority : std::initializer_list<uint8_t>{7, 5}) {
    tree.children.push_back({Branch::Takes::Priority, {}, priority, base + 10 + priority, {}});
  }
  return tree;
}

struct ClassifiedFrame {
  const char* what;
  Frame frame;
  uint32_t leaf;  // 0: unknown to the program
};

inline std::vector<ClassifiedFrame> ClassifiedFrames() {
  const Bytes macs(12);
  return {
      {"802.1Q", {macs + Hex("8100 0005 0800")}, 1},
      {"802.1ad", {macs + Hex("88a8 e006 8100 0005")}, 2},
      {"QinQ, other way round", {macs + Hex("8100 0005 88a8 0006")}, 1},
      {"0x9100", {macs + Hex("9100 0006 8100 0005")}, 2},
      {"tag beside the frame, another inside", {macs + Hex("8100 0005 0800"), true, 6}, 2},
      {"another VLAN by its priority", {macs + Hex("8100 e007 0800")}, 17},
      {"priority-tagged", {macs + Hex("8100 a000 0800")}, 15},
      {"tagged, priority 0, whatever the IP says", {macs + Hex("8100 0007 0800 45e0")}, 9},
      {"marked with a local id", {macs + Hex("8100 0006 0800"), false, 0, 0xF003}, 3},
      {"marked with a local precedence", {macs + Hex("88a8 0005 0800"), false, 0, 0x85003}, 4},
      {"both marks, tag beside the frame", {macs + Hex("0800 4500"), true, 6, 0x5003}, 3},
      {"IPv4", {macs + Hex("0800 45b8 0000")}, 15},
      {"IPv6", {macs + Hex("86dd 6e00 0000")}, 17},
      {"IPv4 of no priority", {macs + Hex("0800 4500 0000")}, 9},
      {"ARP", {macs + Hex("0806 ffff")}, 9},
      {"runt", {Bytes(13)}, 0},
      {"runt inside the tag", {macs + Hex("8100 00")}, 0},
      {"runt inside the IP", {macs + Hex("0800 45")}, 0},
  };
}

}  // namespace classify
