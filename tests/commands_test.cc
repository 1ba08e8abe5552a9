// Exact bytes of every command and query.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "hqos.h"
#include "tests/rule_bytes.h"
#include "tests/wire.h"

namespace {

using wire::operator+;
using wire::Bytes;
using wire::Field;
using wire::Hex;
using wire::kRule;
using wire::kRuleBytes;
using wire::Play;
using wire::Script;
using wire::Seen;

struct Case {
  const char* what;
  std::function<uint32_t(HQOS_Result*)> call;
  uint8_t opClass;
  uint16_t type;
  Bytes payload;
};

void ExpectRequests(const std::vector<Case>& cases, const Script& script) {
  for (const Case& c : cases) {
    HQOS_Result result;
    Seen seen;
    EXPECT_EQ(Play(script, seen, [&] { return c.call(&result); }), 0u) << c.what;
    ASSERT_EQ(seen.requests.size(), 1u) << c.what;
    EXPECT_EQ(seen.requests[0], wire::Message(1, c.opClass, wire::Tlv(c.type, c.payload)))
        << c.what;
    EXPECT_TRUE(seen.closed) << c.what;
  }
}

const std::string kLong = "0123456789abcdef0123456789abcdefXYZ";
const Bytes kLongCut = Field(kLong.substr(0, 31), 32);

TEST(Commands, SendTheirBytes) {
  using R = HQOS_Result*;
  ExpectRequests(
      {
          {"AddSP", [](R r) { return HQOS_lib_AddSP("gold", 0x0102, r); }, 1, 3,
           Field("gold", 32) + Hex("0102 0000")},
          {"DelSP", [](R r) { return HQOS_lib_DelSP("gold", r); }, 1, 4,
           Field("gold", 32) + Hex("ffff 0000")},
          {"SetSPUnit", [](R r) { return HQOS_lib_SetSPUnit("gold", 1, r); }, 1, 8,
           Field("gold", 32) + Hex("0000 0001")},
          {"SetSPUnit, any", [](R r) { return HQOS_lib_SetSPUnit("", 0xA1B2C3D4, r); }, 1, 8,
           Field("", 32) + Hex("a1b2 c3d4")},
          {"ResetSPUnit", [](R r) { return HQOS_lib_ResetSPUnit("gold", r); }, 1, 9,
           Field("gold", 32) + Hex("ffff 0000")},
          {"AddFG", [](R r) { return HQOS_lib_AddFG("fg1", 5, r); }, 1, 10,
           Field("fg1", 32) + Hex("0005 0000")},
          {"DelFG", [](R r) { return HQOS_lib_DelFG("fg1", r); }, 1, 11,
           Field("fg1", 32) + Hex("ffff 0000")},
          {"AddFP", [](R r) { return HQOS_lib_AddFP("fp1", 0xFFFF, r); }, 1, 17,
           Field("fp1", 32) + Hex("ffff 0000")},
          {"DelFP", [](R r) { return HQOS_lib_DelFP("fp1", r); }, 1, 18,
           Field("fp1", 32) + Hex("ffff 0000")},
          {"AddDP", [](R r) { return HQOS_lib_AddDP(kLong.c_str(), 7, r); }, 1, 27,
           kLongCut + Hex("0007 0000")},
          {"DelDP", [](R r) { return HQOS_lib_DelDP(kLong.c_str(), r); }, 1, 28,
           kLongCut + Hex("ffff 0000")},
      },
      {});
}

TEST(Commands, SetTheirBytes) {
  using R = HQOS_Result*;
  static constexpr uint32_t kQueue[] = {7, 1, 100}, kGTS[] = {0x01020304, 2, 3, 0xFFFFFFFF};
  static constexpr uint32_t kNoBandwidth = 0;
  const Bytes fp = wire::Tlv(1, Field("fp1", 36)), object = Field("fp1", 32) + Hex("ffff 0000");
  const char* cut = kLong.c_str();
  ExpectRequests(
      {
          {"AddQueue", [](R r) { return HQOS_lib_AddQueue("fp1", kQueue, r); }, 1, 19,
           fp + wire::Tlv(4, Hex("00000007 00000001 00000064"))},
          {"DelQueue", [](R r) { return HQOS_lib_DelQueue("fp1", 7, r); }, 1, 20,
           fp + wire::Tlv(4, Hex("00000007 00000000 00000000"))},
          {"AddGTS", [](R r) { return HQOS_lib_AddGTS("fp1", kGTS, r); }, 1, 21,
           fp + wire::Tlv(3, Hex("01020304 00000002 00000003 ffffffff"))},
          {"DelGTS", [](R r) { return HQOS_lib_DelGTS("fp1", r); }, 1, 22, object},
          {"AddBandwidth", [](R r) { return HQOS_lib_AddBandwidth("fp1", &kNoBandwidth, r); }, 1,
           23, fp + wire::Tlv(5, Bytes(4))},
          {"DelBandwidth", [](R r) { return HQOS_lib_DelBandwidth("fp1", r); }, 1, 24, object},
          {"FPReferDP", [](R r) { return HQOS_lib_FPReferDP("fp1", "dp1", r); }, 1, 25,
           fp + wire::Tlv(2, Field("dp1", 36))},
          {"long names", [=](R r) { return HQOS_lib_FPReferDP(cut, cut, r); }, 1, 25,
           wire::Tlv(1, kLongCut + Bytes(4)) + wire::Tlv(2, kLongCut + Bytes(4))},
          {"DelFPReferDP", [](R r) { return HQOS_lib_DelFPReferDP("fp1", r); }, 1, 26, object},
          {"AddDPThreshold",
           [](R r) {
             return HQOS_lib_AddDPThreshold("dp1", 2, {0x0A0B, 20, 30, 40}, r);
           },
           1, 29, Field("dp1", 32) + Hex("00000002 0a0b 0014 0000001e 00000028")},
          {"DelDPThreshold", [=](R r) { return HQOS_lib_DelDPThreshold(cut, 0xA1B2C3D4, r); }, 1,
           30, kLongCut + Hex("a1b2c3d4") + Bytes(12)},
          {"AddDPWeight", [](R r) { return HQOS_lib_AddDPWeight("dp1", 0x01020309, r); }, 1, 31,
           Field("dp1", 32) + Hex("01020309")},
          {"DelDPWeight", [](R r) { return HQOS_lib_DelDPWeight("dp1", r); }, 1, 32,
           Field("dp1", 32) + Hex("ffff 0000")},
      },
      {});
}

TEST(Commands, NestTheirBytes) {
  using R = HQOS_Result*;
  const Bytes sp = Field("sp1", 32), fg = Field("fg1", 32), fc = Field("fc1", 32);
  const Bytes fp = Field("fp1", 32), none(32), noRule(36);
  const char* cut = kLong.c_str();
  ExpectRequests(
      {
          {"AddSPNestFG", [](R r) { return HQOS_lib_AddSPNestFG("sp1", &kRule, "fg1", "fp1", r); },
           1, 6, sp + fg + fp + kRuleBytes},
          {"without rule and third name",
           [](R r) { return HQOS_lib_AddSPNestFG("sp1", nullptr, "fg1", nullptr, r); }, 1, 6,
           sp + fg + none + noRule},
          {"DelSPNestFG", [](R r) { return HQOS_lib_DelSPNestFG("sp1", &kRule, "fg1", r); }, 1, 7,
           sp + fg + none + kRuleBytes},
          {"AddFGNestFG", [](R r) { return HQOS_lib_AddFGNestFG("fg1", &kRule, "fc1", "fp1", r); },
           1, 13, fg + fc + fp + kRuleBytes},
          {"DelFGNestFG", [](R r) { return HQOS_lib_DelFGNestFG("fg1", &kRule, "fc1", r); }, 1, 14,
           fg + fc + none + kRuleBytes},
          {"AddFGNestFC", [](R r) { return HQOS_lib_AddFGNestFC("fg1", "fc1", "fp1", r); }, 1, 15,
           fg + fc + fp + noRule},
          {"DelFGNestFC", [](R r) { return HQOS_lib_DelFGNestFC("fg1", "fc1", r); }, 1, 16,
           fg + fc + none + noRule},
          {"long names", [=](R r) { return HQOS_lib_AddFGNestFC(cut, cut, cut, r); }, 1, 15,
           kLongCut + kLongCut + kLongCut + noRule},
          {"DelSPMatch", [](R r) { return HQOS_lib_DelSPMatch("sp1", &kRule, r); }, 1, 5,
           sp + kRuleBytes},
          {"DelFGMatch", [=](R r) { return HQOS_lib_DelFGMatch(cut, &kRule, r); }, 1, 12,
           kLongCut + kRuleBytes},
      },
      {});
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
  script.reply = wire::Status(9, "no such selector");
  ExpectRequests(
      {
          {"SetDebug", [](HQOS_Result*) { return HQOS_lib_SetDebug(258); }, 1, 33,
           Hex("0000 0102")},
          {"ResetDebug", [](HQOS_Result*) { return HQOS_lib_ResetDebug(0xFFFFFFFE); }, 1, 34,
           Hex("ffff fffe")},
      },
      script);
  script.reply = wire::Message(2, 1, {});
  Seen seen;
  EXPECT_EQ(Play(script, seen, [] { return HQOS_lib_SetDebug(1); }), uint32_t{HQOS_ERR_BADREPLY});
}

TEST(SPQueries, SendTheirBytes) {
  Script script;
  script.reply = wire::Message(2, 2, {});
  HQOS_SPInfo info;
  ExpectRequests(
      {
          {"GetSP", [&](HQOS_Result*) { return HQOS_lib_GetSP(kLong.c_str(), &info); }, 2, 1,
           kLongCut + Hex("ffff 0000")},
          {"GetNextSP", [&](HQOS_Result*) { return HQOS_lib_GetNextSP(0x1207, &info); }, 3, 2,
           Hex("0000 1207")},
      },
      script);
}

const Bytes kBase = wire::Tlv(4, Field("gold", 32) + Hex("0102 eeee 11121314 21222324"));
const Bytes kWords = wire::Tlv(6, Hex("31323334 41424344"));

struct DecodeCase {
  const char* what;
  Bytes tlvs;
  std::string name;
  uint16_t id;
  uint32_t value1, value2, word0, word1;
};

TEST(SPQueries, DecodeTheRecord) {
  const std::string full(32, 'n');
  const Bytes otherWords = wire::Tlv(6, Hex("51525354 61626364"));
  const DecodeCase cases[] = {
      {"both", kBase + kWords, "gold", 0x0102, 0x11121314, 0x21222324, 0x31323334, 0x41424344},
      {"other order", kWords + kBase, "gold", 0x0102, 0x11121314, 0x21222324, 0x31323334,
       0x41424344},
      {"strangers between", wire::Tlv(5, Hex("01")) + kBase + wire::Tlv(7, Bytes(60, 1)) + kWords,
       "gold", 0x0102, 0x11121314, 0x21222324, 0x31323334, 0x41424344},
      {"no words", kBase, "gold", 0x0102, 0x11121314, 0x21222324, 0, 0},
      {"words alone", kWords, "", 0, 0, 0, 0x31323334, 0x41424344},
      {"last one counts", kWords + kBase + otherWords, "gold", 0x0102, 0x11121314, 0x21222324,
       0x51525354, 0x61626364},
      {"name without NUL", wire::Tlv(4, Field(full, 44)), full.substr(0, 31), 0, 0, 0, 0, 0},
      {"garbage behind the NUL", wire::Tlv(4, Hex("61 00 62 63") + Bytes(40)), "a", 0, 0, 0, 0, 0},
      {"longer than known", wire::Tlv(6, Hex("31323334 41424344 ff")), "", 0, 0, 0, 0x31323334,
       0x41424344},
      {"short base", wire::Tlv(4, Bytes(43, 1)) + kWords, "", 0, 0, 0, 0x31323334, 0x41424344},
      {"short words", kBase + wire::Tlv(6, Bytes(7, 1)), "gold", 0x0102, 0x11121314, 0x21222324, 0,
       0},
      {"nothing", {}, "", 0, 0, 0, 0, 0},
  };
  for (const DecodeCase& c : cases) {
    Script script;
    script.reply = wire::Message(2, 2, wire::Tlv(0x1234, c.tlvs) + wire::Tlv(1, kBase));
    HQOS_SPInfo info, expected;
    memset(&info, 0xEE, sizeof info);
    memset(&expected, 0, sizeof expected);
    c.name.copy(expected.name, sizeof expected.name);
    expected.id = c.id;
    expected.value1 = c.value1;
    expected.value2 = c.value2;
    expected.words[0] = c.word0;
    expected.words[1] = c.word1;
    Seen seen;
    EXPECT_EQ(Play(script, seen, [&] { return HQOS_lib_GetNextSP(1, &info); }), 0u) << c.what;
    EXPECT_EQ(memcmp(&info, &expected, sizeof info), 0) << c.what;
  }
}

// Every reply cut at every length: a status or a record, never a byte beyond.
TEST(SPQueries, SurviveEveryCut) {
  const Bytes whole = wire::Message(2, 2, wire::Tlv(1, kBase + kWords));
  for (size_t length = 1; length < whole.size(); ++length) {
    Script script;
    script.reply = Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    HQOS_SPInfo info, cleared{};
    Seen seen;
    const uint32_t status = Play(script, seen, [&] { return HQOS_lib_GetSP("gold", &info); });
    EXPECT_EQ(status, length < 8 ? uint32_t{HQOS_ERR_BADREPLY} : 0u) << length;
    if (status == 0) {
      EXPECT_EQ(memcmp(&info, &cleared, sizeof info), 0) << length;
    }
  }
}

}  // namespace
