// Exact bytes of every command and query.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "hqos.h"
#include "tests/rule_bytes.h"
#include "tests/wire.h"

namespace {

using namespace wire;

using R = HQOS_Result*;

struct Case {
  std::function<uint32_t(R)> call;
  uint16_t type;
  Bytes payload;
};

void ExpectRequests(uint8_t opClass, const Script& script, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    HQOS_Result result;
    Seen seen;
    EXPECT_EQ(Play(script, seen, [&] { return c.call(&result); }), 0u) << c.type;
    ASSERT_EQ(seen.requests.size(), 1u) << c.type;
    EXPECT_EQ(seen.requests[0], Message(1, opClass, Tlv(c.type, c.payload)));
    EXPECT_TRUE(seen.closed) << c.type;
  }
}

const std::string kLong = "0123456789abcdef0123456789abcdefXYZ";
const Bytes kLongCut = Field(kLong.substr(0, 31), 32);

// The payload that names an object; two bytes are zero.
Bytes Named(const std::string& name, const char* id) {
  return Field(name.substr(0, 31), 32) + Hex(id) + Bytes(2);
}

TEST(Commands, SendTheirBytes) {
  ExpectRequests(
      1, {},
      {
          {[](R r) { return HQOS_lib_AddSP("gold", 0x0102, r); }, 3, Named("gold", "0102")},
          {[](R r) { return HQOS_lib_DelSP("gold", r); }, 4, Named("gold", "ffff")},
          {[](R r) { return HQOS_lib_SetSPUnit("", 0xA1B2C3D4, r); }, 8,
           Field("", 32) + Hex("a1b2 c3d4")},
          {[](R r) { return HQOS_lib_ResetSPUnit("gold", r); }, 9, Named("gold", "ffff")},
          {[](R r) { return HQOS_lib_DelFG("fg1", r); }, 11, Named("fg1", "ffff")},
          {[](R r) { return HQOS_lib_AddFP("fp1", 0xFFFF, r); }, 17, Named("fp1", "ffff")},
          {[](R r) { return HQOS_lib_DelFP("fp1", r); }, 18, Named("fp1", "ffff")},
          {[](R r) { return HQOS_lib_AddDP(kLong.c_str(), 7, r); }, 27, Named(kLong, "0007")},
          {[](R r) { return HQOS_lib_DelDP(kLong.c_str(), r); }, 28, Named(kLong, "ffff")},
      });
}

TEST(Commands, SetTheirBytes) {
  static constexpr uint32_t kQueue[] = {7, 1, 100}, kGTS[] = {0x01020304, 2, 3, 0xFFFFFFFF};
  static constexpr uint32_t kNoBandwidth = 0;
  const Bytes fp = Tlv(1, Field("fp1", 36)), object = Named("fp1", "ffff");
  const char* cut = kLong.c_str();
  ExpectRequests(1, {},
                 {
                     {[](R r) { return HQOS_lib_AddQueue("fp1", kQueue, r); }, 19,
                      fp + Tlv(4, Hex("00000007 00000001 00000064"))},
                     {[](R r) { return HQOS_lib_DelQueue("fp1", 7, r); }, 20,
                      fp + Tlv(4, Hex("00000007 00000000 00000000"))},
                     {[](R r) { return HQOS_lib_AddGTS("fp1", kGTS, r); }, 21,
                      fp + Tlv(3, Hex("01020304 00000002 00000003 ffffffff"))},
                     {[](R r) { return HQOS_lib_DelGTS("fp1", r); }, 22, object},
                     {[](R r) { return HQOS_lib_AddBandwidth("fp1", &kNoBandwidth, r); }, 23,
                      fp + Tlv(5, Bytes(4))},
                     {[](R r) { return HQOS_lib_DelBandwidth("fp1", r); }, 24, object},
                     {[](R r) { return HQOS_lib_FPReferDP("fp1", "dp1", r); }, 25,
                      fp + Tlv(2, Field("dp1", 36))},
                     {[=](R r) { return HQOS_lib_FPReferDP(cut, cut, r); }, 25,
                      Tlv(1, kLongCut + Bytes(4)) + Tlv(2, kLongCut + Bytes(4))},
                     {[](R r) { return HQOS_lib_DelFPReferDP("fp1", r); }, 26, object},
                     {[](R r) {
                        return HQOS_lib_AddDPThreshold("dp1", 2, {0x0A0B, 20, 30, 40}, r);
                      },
                      29, Field("dp1", 32) + Hex("00000002 0a0b 0014 0000001e 00000028")},
                     {[=](R r) { return HQOS_lib_DelDPThreshold(cut, 0xA1B2C3D4, r); }, 30,
                      kLongCut + Hex("a1b2c3d4") + Bytes(12)},
                     {[](R r) { return HQOS_lib_AddDPWeight("dp1", 0x01020309, r); }, 31,
                      Field("dp1", 32) + Hex("01020309")},
                     {[](R r) { return HQOS_lib_DelDPWeight("dp1", r); }, 32, Named("dp1", "ffff")},
                 });
}

TEST(Commands, NestTheirBytes) {
  const Bytes sp = Field("sp1", 32), fg = Field("fg1", 32), fc = Field("fc1", 32);
  const Bytes fp = Field("fp1", 32), none(32), noRule(36);
  const char* cut = kLong.c_str();
  ExpectRequests(
      1, {},
      {
          {[](R r) { return HQOS_lib_AddSPNestFG("sp1", &kRule, "fg1", "fp1", r); }, 6,
           sp + fg + fp + kRuleBytes},
          {[](R r) { return HQOS_lib_AddSPNestFG("sp1", nullptr, "fg1", nullptr, r); }, 6,
           sp + fg + none + noRule},
          {[](R r) { return HQOS_lib_DelSPNestFG("sp1", &kRule, "fg1", r); }, 7,
           sp + fg + none + kRuleBytes},
          {[](R r) { return HQOS_lib_AddFGNestFG("fg1", &kRule, "fc1", "fp1", r); }, 13,
           fg + fc + fp + kRuleBytes},
          {[](R r) { return HQOS_lib_DelFGNestFG("fg1", &kRule, "fc1", r); }, 14,
           fg + fc + none + kRuleBytes},
          {[](R r) { return HQOS_lib_AddFGNestFC("fg1", "fc1", "fp1", r); }, 15,
           fg + fc + fp + noRule},
          {[](R r) { return HQOS_lib_DelFGNestFC("fg1", "fc1", r); }, 16, fg + fc + none + noRule},
          {[=](R r) { return HQOS_lib_AddFGNestFC(cut, cut, cut, r); }, 15,
           kLongCut + kLongCut + kLongCut + noRule},
          {[](R r) { return HQOS_lib_DelSPMatch("sp1", &kRule, r); }, 5, sp + kRuleBytes},
          {[=](R r) { return HQOS_lib_DelFGMatch(cut, &kRule, r); }, 12, kLongCut + kRuleBytes},
      });
}

TEST(Commands, MatchRemovalNeedsAName) {
  for (const auto command : {HQOS_lib_DelSPMatch, HQOS_lib_DelFGMatch}) {
    HQOS_Result result{7, "untouched"};
    Seen seen;
    EXPECT_EQ(Play({}, seen, [&] { return command("", &kRule, &result); }),
              uint32_t{HQOS_ERR_FAILED});
    EXPECT_EQ(seen.sockets, 0);
    EXPECT_EQ(result.code, 7u);
  }
}

// The verdict on a debug command is not handed on, whatever it is.
TEST(Commands, DebugReturnsZeroOnAnyVerdict) {
  Script script;
  script.reply = Status(9, "no such selector");
  ExpectRequests(1, script,
                 {{[](R) { return HQOS_lib_SetDebug(258); }, 33, Hex("0000 0102")},
                  {[](R) { return HQOS_lib_ResetDebug(0xFFFFFFFE); }, 34, Hex("ffff fffe")}});
  script.reply = Message(2, 1, {});
  Seen seen;
  EXPECT_EQ(Play(script, seen, [] { return HQOS_lib_SetDebug(1); }), uint32_t{HQOS_ERR_BADREPLY});
}

TEST(SPQueries, SendTheirBytes) {
  Script script;
  script.reply = Message(2, 2, {});
  HQOS_SPInfo info;
  ExpectRequests(
      2, script,
      {{[&](R) { return HQOS_lib_GetSP(kLong.c_str(), &info); }, 1, Named(kLong, "ffff")}});
  ExpectRequests(3, script,
                 {{[&](R) { return HQOS_lib_GetNextSP(0x1207, &info); }, 2, Hex("0000 1207")}});
}

}  // namespace
