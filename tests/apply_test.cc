// Applying SPs, and the queries that read SPs and where they are applied.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "hqos.h"
#include "tests/app_objects.h"
#include "tests/query.h"

namespace {

using namespace wire;

// The call's one request; its reply holds nothing but a status or a head.
Bytes RequestOf(uint8_t opClass, const std::function<uint32_t()>& call) {
  Script script;
  if (opClass != 1) script.reply = Message(2, opClass, {});
  Seen seen;
  EXPECT_EQ(Play(script, seen, call), 0u);
  return seen.requests.at(0);
}

TEST(Apply, SendsObjectAndSP) {
  const std::string name(40, 's');
  const Bytes sp = Tlv(5, Field(name.substr(0, 31), 32) + Hex("ffff 0000"));
  for (const ObjCase& c : kObjCases) {
    const HQOS_AppObj obj = Object(c);
    HQOS_Result result;
    HQOS_ApplyInfo info;
    const Bytes payload = Tlv(7, c.sent) + sp;
    EXPECT_EQ(RequestOf(1, [&] { return HQOS_lib_ApplySP(&obj, name.c_str(), &result); }),
              Message(1, 1, Tlv(1, payload)));
    EXPECT_EQ(RequestOf(1, [&] { return HQOS_lib_UndoApplySP(&obj, name.c_str(), &result); }),
              Message(1, 1, Tlv(2, payload)));
    EXPECT_EQ(RequestOf(2, [&] { return HQOS_lib_GetApplyStat(&obj, &info); }),
              Message(1, 2, Tlv(6, c.sent)));
    EXPECT_EQ(RequestOf(2, [&] { return HQOS_lib_GetApplyDiag(&obj, &info); }),
              Message(1, 2, Tlv(7, c.sent)));
  }
}

TEST(ApplyQueries, SendTheKeyOfTheWalk) {
  const std::string name(50, 'i');
  const struct {
    const char* name;
    Bytes field;
  } cases[] = {{nullptr, Bytes(48)}, {name.c_str(), Field(name.substr(0, 47), 48)}};
  for (const auto& c : cases) {
    const Bytes key = Hex("01020304 00000004 00000000 11121314") + c.field;
    HQOS_ApplyInfo info;
    const auto requestOf = [&](decltype(HQOS_lib_GetNextIfApplyStat) next) {
      return RequestOf(3, [&] { return next(0x01020304, c.name, 0x11121314, &info); });
    };
    EXPECT_EQ(requestOf(HQOS_lib_GetNextIfApplyStat), Message(1, 3, Tlv(3, key)));
    EXPECT_EQ(requestOf(HQOS_lib_GetNextIfApplyDiag), Message(1, 3, Tlv(4, key)));
  }
}

const Bytes kObj = Tlv(7, Hex("00000004 01020304 11121314") + Bytes(48, 'o'));  // no NUL
const Bytes kBase = Tlv(4, Bytes(32, 's') + Hex("0506 eeee 21222324 31323334"));
const Bytes kWords = Tlv(6, Hex("41424344 51525354"));

// The record that has those parts.
HQOS_ApplyInfo With(bool obj, bool base, bool words) {
  auto info = Filled<HQOS_ApplyInfo>(0);
  if (obj) {
    info.obj.type = 4, info.obj.value = 0x01020304, info.obj.param = 0x11121314;
    memset(info.obj.name, 'o', 47);
  }
  if (base) {
    memset(info.sp.name, 's', 31);
    info.sp.id = 0x0506, info.sp.value1 = 0x21222324, info.sp.value2 = 0x31323334;
  }
  if (words) info.sp.words[0] = 0x41424344, info.sp.words[1] = 0x51525354;
  return info;
}

// The queries, the one for an SP as a record without an object.
uint32_t AskApply(uint32_t*, HQOS_ApplyInfo* info) {
  return HQOS_lib_GetNextIfApplyStat(0, "a", 0, info);
}
uint32_t AskSP(uint32_t*, HQOS_SPInfo* info) { return HQOS_lib_GetNextSP(1, info); }

TEST(SPQueries, DecodeWhateverComes) {
  const struct {
    const char* what;
    Bytes tlvs;
    HQOS_ApplyInfo expected;
  } cases[] = {
      {"all", kObj + kBase + kWords, With(true, true, true)},
      {"other order", kWords + kBase + kObj, With(true, true, true)},
      {"strangers", Tlv(5, Bytes(44, 1)) + kBase + Tlv(0, {}) + kWords, With(false, true, true)},
      {"last one counts", Tlv(7, Bytes(60, 1)) + Tlv(6, Bytes(8, 1)) + kObj + kWords,
       With(true, false, true)},
      {"short", Tlv(7, Bytes(59, 1)) + Tlv(4, Bytes(43, 1)) + Tlv(6, Bytes(7, 1)),
       With(false, false, false)},
      {"longer than known", Tlv(6, Hex("41424344 51525354 ff")), With(false, false, true)},
      {"nothing", {}, With(false, false, false)},
  };
  for (const auto& c : cases) {
    const Bytes reply = Message(2, 3, Tlv(77, c.tlvs) + kObj + kBase);
    const Asked<HQOS_ApplyInfo> apply(reply, 1, AskApply);
    EXPECT_EQ(apply.status, 0u) << c.what;
    EXPECT_TRUE(Same(apply.infos[0], c.expected)) << c.what;
    const Asked<HQOS_SPInfo> sp(reply, 1, AskSP);
    EXPECT_EQ(sp.status, 0u) << c.what;
    EXPECT_TRUE(Same(sp.infos[0], c.expected.sp)) << c.what;
  }
}

TEST(SPQueries, SurviveDamageAndRefusals) {
  const Bytes whole = Message(2, 3, Tlv(1, kObj + kBase + kWords));
  ExpectSurvivesDamage<HQOS_ApplyInfo>(whole, AskApply);
  ExpectSurvivesDamage<HQOS_SPInfo>(whole, AskSP);
  EXPECT_EQ(Asked<HQOS_ApplyInfo>(Status(5, ""), 1, AskApply).status, 5u);
  EXPECT_TRUE(Same(Asked<HQOS_ApplyInfo>(Message(2, 3, {}), 1, AskApply).infos[0],
                   With(false, false, false)));
}

}  // namespace
