// Applying SPs, and the queries that read where they are applied.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "hqos.h"
#include "tests/app_objects.h"
#include "tests/wire.h"

namespace {

using wire::Bytes;
using wire::Field;
using wire::Hex;
using wire::kObjCases;
using wire::ObjCase;
using wire::Object;
using wire::Play;
using wire::Script;
using wire::Seen;
using wire::operator+;

// The call's one request; its reply holds `tlvs`.
template <class Call>
Bytes RequestOf(uint8_t opClass, Call call) {
  Script script;
  if (opClass != 1) script.reply = wire::Message(2, opClass, {});
  Seen seen;
  EXPECT_EQ(Play(script, seen, call), 0u);
  return seen.requests.at(0);
}

TEST(Apply, SendsObjectAndSP) {
  const std::string name(40, 's');
  const Bytes sp = wire::Tlv(5, Field(name.substr(0, 31), 32) + Hex("ffff 0000"));
  for (const ObjCase& c : kObjCases) {
    const HQOS_AppObj obj = Object(c);
    HQOS_Result result;
    const Bytes payload = wire::Tlv(7, c.sent) + sp;
    EXPECT_EQ(RequestOf(1, [&] { return HQOS_lib_ApplySP(&obj, name.c_str(), &result); }),
              wire::Message(1, 1, wire::Tlv(1, payload)));
    EXPECT_EQ(RequestOf(1, [&] { return HQOS_lib_UndoApplySP(&obj, name.c_str(), &result); }),
              wire::Message(1, 1, wire::Tlv(2, payload)));
  }
}

TEST(ApplyQueries, SendTheirKeys) {
  HQOS_ApplyInfo info;
  for (const ObjCase& c : kObjCases) {
    const HQOS_AppObj obj = Object(c);
    EXPECT_EQ(RequestOf(2, [&] { return HQOS_lib_GetApplyStat(&obj, &info); }),
              wire::Message(1, 2, wire::Tlv(6, c.sent)));
    EXPECT_EQ(RequestOf(2, [&] { return HQOS_lib_GetApplyDiag(&obj, &info); }),
              wire::Message(1, 2, wire::Tlv(7, c.sent)));
  }
  const std::string name(50, 'i');
  const struct {
    const char* name;
    Bytes field;
  } cases[] = {{nullptr, Bytes(48)},
               {"", Bytes(48)},
               {"eth0", Field("eth0", 48)},
               {name.c_str(), Field(name.substr(0, 47), 48)}};
  for (const auto& c : cases) {
    const Bytes key = Hex("01020304 00000004 00000000 11121314") + c.field;
    EXPECT_EQ(
        RequestOf(
            3, [&] { return HQOS_lib_GetNextIfApplyStat(0x01020304, c.name, 0x11121314, &info); }),
        wire::Message(1, 3, wire::Tlv(3, key)));
    EXPECT_EQ(
        RequestOf(
            3, [&] { return HQOS_lib_GetNextIfApplyDiag(0x01020304, c.name, 0x11121314, &info); }),
        wire::Message(1, 3, wire::Tlv(4, key)));
  }
}

const Bytes kObj = wire::Tlv(7, Hex("00000004 01020304 11121314") + Field("eth0", 48));
const Bytes kBase = wire::Tlv(4, Field("gold", 32) + Hex("0506 eeee 21222324 31323334"));
const Bytes kWords = wire::Tlv(6, Hex("41424344 51525354"));

// The record that has those parts.
HQOS_ApplyInfo With(bool obj, bool base, bool words) {
  HQOS_ApplyInfo info;
  memset(&info, 0, sizeof info);
  if (obj) {
    info.obj.type = 4, info.obj.value = 0x01020304, info.obj.param = 0x11121314;
    memcpy(info.obj.name, "eth0", 4);
  }
  if (base) {
    memcpy(info.sp.name, "gold", 4);
    info.sp.id = 0x0506, info.sp.value1 = 0x21222324, info.sp.value2 = 0x31323334;
  }
  if (words) info.sp.words[0] = 0x41424344, info.sp.words[1] = 0x51525354;
  return info;
}

struct Decoded {
  HQOS_ApplyInfo info;
  uint32_t status;

  explicit Decoded(const Bytes& reply) {
    memset(&info, 0xEE, sizeof info);
    Script script;
    script.reply = reply;
    Seen seen;
    status = Play(script, seen, [&] { return HQOS_lib_GetNextIfApplyStat(0, "a", 0, &info); });
  }
  bool Is(const HQOS_ApplyInfo& expected) const {
    return memcmp(&info, &expected, sizeof info) == 0;
  }
};

TEST(ApplyQueries, DecodeWhateverComes) {
  const struct {
    const char* what;
    Bytes tlvs;
    HQOS_ApplyInfo expected;
  } cases[] = {
      {"all", kObj + kBase + kWords, With(true, true, true)},
      {"other order", kWords + kBase + kObj, With(true, true, true)},
      {"strangers", wire::Tlv(5, Bytes(36, 1)) + kObj + wire::Tlv(0, {}), With(true, false, false)},
      {"SP alone", kBase, With(false, true, false)},
      {"last one counts", wire::Tlv(7, Bytes(60, 1)) + wire::Tlv(6, Bytes(8, 1)) + kObj + kWords,
       With(true, false, true)},
      {"short", wire::Tlv(7, Bytes(59, 1)) + wire::Tlv(4, Bytes(43, 1)) + wire::Tlv(6, Bytes(7, 1)),
       With(false, false, false)},
      {"nothing", {}, With(false, false, false)},
  };
  for (const auto& c : cases) {
    const Decoded decoded(wire::Message(2, 3, wire::Tlv(77, c.tlvs) + kObj));
    EXPECT_EQ(decoded.status, 0u) << c.what;
    EXPECT_TRUE(decoded.Is(c.expected)) << c.what;
  }
  EXPECT_TRUE(Decoded(wire::Message(2, 3, {})).Is(With(false, false, false)));
}

TEST(ApplyQueries, UnpackTheValueOfEachType) {
  const struct {
    uint8_t type;
    uint32_t value;
  } cases[] = {{1, 0x2345}, {2, 0x2345}, {3, 0}, {4, 0x12345}, {5, 0}, {0, 0}};
  for (const auto& c : cases) {
    const Decoded decoded(
        wire::Message(2, 3,
                      wire::Tlv(1, wire::Tlv(7, Bytes{0, 0, 0, c.type} + Hex("00012345") +
                                                    Bytes(4) + Field(std::string(48, 'n'), 48)))));
    EXPECT_EQ(decoded.info.obj.type, c.type);
    EXPECT_EQ(decoded.info.obj.value, c.value);
    EXPECT_EQ(std::string(decoded.info.obj.name), std::string(47, 'n'));
  }
}

TEST(ApplyQueries, SurviveDamageAndRefusals) {
  const Bytes whole = wire::Message(2, 3, wire::Tlv(1, kObj + kBase + kWords));
  HQOS_ApplyInfo untouched;
  memset(&untouched, 0xEE, sizeof untouched);
  for (const Bytes& reply : wire::Damaged(whole)) {
    const Decoded decoded(reply);
    EXPECT_TRUE(decoded.status == 0 || decoded.Is(untouched));
    if (reply.size() >= whole.size()) continue;
    EXPECT_EQ(decoded.status, reply.size() < 8 ? uint32_t{HQOS_ERR_BADREPLY} : 0u);
  }
  EXPECT_EQ(Decoded(wire::Status(5, "")).status, 5u);
}

}  // namespace
