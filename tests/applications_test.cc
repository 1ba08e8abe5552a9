// Where the service lets SPs be applied, and what it tells of them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/rates.h"
#include "hqosd.h"
#include "tests/in_process.h"
#include "tests/records.h"
#include "tests/rule_bytes.h"

namespace {

using wire::InProcess;

HQOS_AppObj Object(uint32_t type, uint32_t value, uint32_t param, const std::string& name = "") {
  HQOS_AppObj obj{type, value, param, {}};
  name.copy(obj.name, sizeof obj.name - 1);
  return obj;
}
HQOS_AppObj Named(const std::string& name, uint32_t dir) { return Object(4, 0, dir, name); }

class Applications : public testing::Test {
 protected:
  Applications() {
    service.interfaces.Add("eth0", 3);
    service.interfaces.Add("eth1", 4, false);
    for (const char* sp : {"gold", "tin"}) service.Do(HQOS_lib_AddSP, sp, HQOS_ID_NONE);
  }
  uint32_t Apply(const HQOS_AppObj& obj, const char* sp) {
    return service.Do(HQOS_lib_ApplySP, &obj, sp);
  }
  uint32_t Undo(const HQOS_AppObj& obj, const char* sp) {
    return service.Do(HQOS_lib_UndoApplySP, &obj, sp);
  }
  HQOS_ApplyInfo Get(const HQOS_AppObj& obj, uint32_t expected = 0) {
    HQOS_ApplyInfo info{};
    EXPECT_EQ(service.Run([&] { return HQOS_lib_GetApplyStat(&obj, &info); }), expected);
    return info;
  }
  // "in effect" and why not.
  std::pair<uint32_t, uint32_t> Diagnosis(const HQOS_AppObj& obj) {
    HQOS_ApplyInfo info{};
    EXPECT_EQ(service.Run([&] { return HQOS_lib_GetApplyDiag(&obj, &info); }), 0u);
    return {info.sp.words[0], info.sp.words[1]};
  }

  InProcess service;
};

TEST_F(Applications, CollideByObjectAndDirection) {
  const struct {
    HQOS_AppObj obj;
    uint32_t code;
    const char* text;
  } cases[] = {
      {Object(4, 3, 0), 0, ""},
      {Object(4, 3, 0, "eth0"), HQOSD_APPLIED, "interface eth0 inbound: SP gold is applied"},
      {Named("eth0", 2), HQOSD_APPLIED, "interface eth0 both: SP gold is applied"},
      {Named("eth0", 1), 0, ""},
      {Object(4, 4, 2, "eth1"), 0, ""},
      {Named("eth1", 1), HQOSD_APPLIED, "interface eth1 outbound: SP gold is applied"},
      {Object(1, 7, 0), 0, ""},
      {Object(1, 7, 0), HQOSD_APPLIED, "slot 7 inbound: SP gold is applied"},
      {Object(2, 7, 0), 0, ""},
      {Object(2, 7, 2), HQOSD_APPLIED, "identifier 7 both: SP gold is applied"},
      {Object(3, 99, 2), 0, ""},
      {Object(3, 0, 1), HQOSD_APPLIED, "system outbound: SP gold is applied"},
      {Object(4, 4, 0, "eth0"), HQOSD_BAD_VALUE, "interface eth0 has the index 3, not 4"},
      {Object(4, 9, 0), HQOSD_NOT_FOUND, "interface 9 does not exist"},
      {Named("eth9", 0), HQOSD_NOT_FOUND, "interface eth9 does not exist"},
      {Object(1, 9, 3), HQOSD_BAD_VALUE, "there is no direction 3"},
      {Object(5, 1, 0), HQOSD_BAD_VALUE, "there is no application object of type 5"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Apply(c.obj, "gold"), c.code) << c.text;
    EXPECT_EQ(service.text, c.text);
  }
  EXPECT_EQ(Apply(Object(1, 9, 0), "lead"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(service.text, "SP lead does not exist");
}

TEST_F(Applications, AreReadAndTakenOff) {
  const HQOS_AppObj eth0 = Named("eth0", 1);
  EXPECT_EQ(Apply(eth0, "gold"), 0u);
  const HQOS_ApplyInfo info = Get(Object(4, 3, 1));
  EXPECT_TRUE(wire::Same(info.obj, Object(4, 3, 1, "eth0")));
  EXPECT_STREQ(info.sp.name, "gold");
  Get(Named("eth0", 0), HQOSD_NOT_FOUND);
  EXPECT_EQ(service.Do(HQOS_lib_DelSP, "gold"), uint32_t{HQOSD_IN_USE});
  EXPECT_EQ(service.text, "SP gold is applied to interface eth0 outbound");

  EXPECT_EQ(Undo(eth0, "tin"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(service.text, "SP tin is not applied to interface eth0 outbound");
  EXPECT_EQ(Undo(Named("eth0", 0), "gold"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(Undo(eth0, "gold"), 0u);
  EXPECT_EQ(Undo(eth0, "gold"), uint32_t{HQOSD_NOT_FOUND});
  EXPECT_EQ(service.Do(HQOS_lib_DelSP, "gold"), 0u);
  EXPECT_EQ(Apply(Object(3, 5, 2), "tin"), 0u);
  EXPECT_EQ(Get(Object(3, 7, 2)).obj.value, 0u);  // the system has no value
}

// An interface that goes, comes back with another index, or is down.
TEST_F(Applications, OutliveTheirInterface) {
  EXPECT_EQ(Apply(Named("eth0", 2), "gold"), 0u);
  EXPECT_EQ(Diagnosis(Named("eth0", 2)), (std::pair(1u, uint32_t{HQOSD_DIAG_IN_EFFECT})));
  service.interfaces.all.erase("eth0");
  EXPECT_EQ(Diagnosis(Object(4, 3, 2)), (std::pair(0u, uint32_t{HQOSD_DIAG_NO_INTERFACE})));
  EXPECT_EQ(Get(Named("eth0", 2)).obj.value, 3u);
  EXPECT_EQ(Apply(Named("eth0", 0), "tin"), uint32_t{HQOSD_APPLIED});
  service.interfaces.Add("eth0", 8, false);
  EXPECT_EQ(Diagnosis(Object(4, 8, 2)), (std::pair(0u, uint32_t{HQOSD_DIAG_INTERFACE_DOWN})));
  EXPECT_EQ(Get(Named("eth0", 2)).obj.value, 8u);
  service.interfaces.all.erase("eth0");
  EXPECT_EQ(Undo(Named("eth0", 2), "gold"), 0u);
  EXPECT_EQ(Apply(Named("eth0", 2), "gold"), uint32_t{HQOSD_NOT_FOUND});
}

TEST_F(Applications, AreWalkedByNameAndDirection) {
  std::vector<std::pair<std::string, uint32_t>> expected;
  for (uint32_t i = 999; i >= 600; --i) {  // in reverse
    const std::string name = "veth" + std::to_string(i);
    service.interfaces.Add(name, i);
    for (const uint32_t dir : {1u, 0u}) {
      EXPECT_EQ(Apply(Object(4, i, dir), "gold"), 0u);
      expected.emplace_back(name, dir);
    }
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(Apply(Object(1, 1, 0), "gold"), 0u);  // not in the walk
  for (const auto next : {HQOS_lib_GetNextIfApplyStat, HQOS_lib_GetNextIfApplyDiag}) {
    std::vector<std::pair<std::string, uint32_t>> walked;
    HQOS_ApplyInfo info;
    uint32_t status = service.Run([&] { return next(0, nullptr, 9, &info); });
    while (status == 0 && walked.size() <= expected.size()) {
      walked.emplace_back(info.obj.name, info.obj.param);
      status = service.Run([&] { return next(5, info.obj.name, info.obj.param, &info); });
    }
    EXPECT_EQ(status, uint32_t{HQOSD_END});
    EXPECT_EQ(walked, expected);
  }
  HQOS_ApplyInfo info;  // from a key that is not there
  EXPECT_EQ(service.Run([&] { return HQOS_lib_GetNextIfApplyStat(0, "veth601", 7, &info); }), 0u);
  EXPECT_STREQ(info.obj.name, "veth602");
}

HQOS_MatchRule Dot1p(uint16_t low, uint16_t high) {
  return wire::Rule(HQOS_MATCH_DOT1P, {{low, high}});
}

// gold > a (0-3) > b (2-5) > c (2), d (5), and FC f below c.
class Children : public Applications {
 protected:
  Children() {
    for (const char* fg : {"a", "b", "c", "d"}) service.Do(HQOS_lib_AddFG, fg, HQOS_ID_NONE);
    const HQOS_MatchRule a = Dot1p(0, 3), b = Dot1p(2, 5), c = Dot1p(2, 2), d = Dot1p(5, 5);
    const char* const none = nullptr;
    EXPECT_EQ(service.Do(HQOS_lib_AddSPNestFG, "gold", &a, "a", none), 0u);
    EXPECT_EQ(service.Do(HQOS_lib_AddFGNestFG, "a", &b, "b", none), 0u);
    EXPECT_EQ(service.Do(HQOS_lib_AddFGNestFG, "b", &c, "c", none), 0u);
    EXPECT_EQ(service.Do(HQOS_lib_AddFGNestFC, "c", "f", none), 0u);
    EXPECT_EQ(service.Do(HQOS_lib_AddFGNestFG, "b", &d, "d", none), 0u);
  }
  const HQOS_SPSonPath start{{0, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}};

  // The children as one of the listings tells them.
  template <class Record, class Query>
  std::vector<Record> List(Query query, const HQOS_AppObj* obj, uint32_t expected) {
    std::vector<Record> infos(HQOS_BULK_SPSON_MAX);
    uint32_t n = 0;
    EXPECT_EQ(service.Run([&] { return query(obj, &start, 0, &n, infos.data()); }), expected);
    infos.resize(n);
    return infos;
  }
  std::vector<HQOS_SPSonStat> Stats(const HQOS_AppObj* obj, uint32_t expected = 0) {
    return List<HQOS_SPSonStat>(HQOS_lib_GetBulkSPSonStat, obj, expected);
  }
  // The reason of each child, in order.
  std::vector<uint32_t> Reasons(const HQOS_AppObj* obj) {
    std::vector<uint32_t> reasons;
    for (const auto& son : List<HQOS_SPSonDiag>(HQOS_lib_GetBulkSPSonDiag, obj, 0)) {
      EXPECT_EQ(son.diag[0], son.diag[1] == 0 ? 1u : 0u);
      reasons.push_back(son.diag[1]);
    }
    return reasons;
  }
};

TEST_F(Children, AreDiagnosed) {
  const HQOS_AppObj eth0 = Named("eth0", 1), eth1 = Named("eth1", 1), other = Named("eth0", 0);
  using Codes = std::vector<uint32_t>;
  EXPECT_EQ(Reasons(&eth0), Codes(5, HQOSD_DIAG_NOT_APPLIED));
  Apply(eth0, "gold");
  Apply(eth1, "gold");
  Apply(other, "tin");
  EXPECT_EQ(Reasons(&eth0), (Codes{0, 0, 0, 0, HQOSD_DIAG_NO_VALUES}));  // a b c f d
  EXPECT_EQ(Reasons(&eth1), Codes(5, HQOSD_DIAG_INTERFACE_DOWN));
  EXPECT_EQ(Reasons(&other), Codes(5, HQOSD_DIAG_NOT_APPLIED));
  EXPECT_EQ(Reasons(nullptr), Codes(5, HQOSD_DIAG_NOT_APPLIED));
  // The applied hierarchy follows its SP.
  const char* const none = nullptr;
  EXPECT_EQ(Get(eth0).sp.words[0], 5u);
  EXPECT_EQ(service.Do(HQOS_lib_AddFGNestFC, "d", "g", none), 0u);
  EXPECT_EQ(Get(eth0).sp.words[0], 6u);
  EXPECT_EQ(Reasons(&eth0).back(), uint32_t{HQOSD_DIAG_NO_VALUES});
}

TEST_F(Children, HaveTheCountersOfTheFile) {
  const HQOS_AppObj eth0 = Named("eth0", 1);
  const std::string file = testing::TempDir() + "hqos-counters-" + std::to_string(getpid());
  service.model.counters = hqosd::FileCounters(file);
  EXPECT_EQ(Stats(nullptr).size(), 5u);
  Stats(&eth0, HQOSD_NOT_FOUND);
  Apply(eth0, "gold");
  Stats(&eth0, HQOSD_NO_COUNTERS);
  std::ofstream(file) << R"([{"place": "interface eth0 outbound", "path": ["a", "b", "c", "f"],
      "stat32": [1, 4294967295], "stat64": [0, 18446744073709551615, 4294967296]},
      {"place": "interface eth0 inbound", "path": ["a"], "stat64": [9]}])";
  const auto stats = Stats(&eth0);
  ASSERT_EQ(stats.size(), 5u);
  EXPECT_STREQ(stats[3].son.cfg.name1, "f");
  EXPECT_EQ(stats[3].counters.stat32[1], 4294967295u);
  EXPECT_EQ(stats[3].counters.stat64[1], 18446744073709551615u);
  EXPECT_EQ(stats[3].counters.stat64[2], 4294967296u);
  EXPECT_EQ(stats[0].counters.stat64[0], 0u);  // of another place
  for (const char* bad :
       {"", "{", "[{\"path\": []}]", "[{\"place\": \"x\", \"path\": [], \"stat32\": [4294967296]}]",
        "[{\"place\": \"x\", \"path\": [], \"stat64\": [-1]}]",
        "[{\"place\": \"x\", \"path\": [], \"stat64\": [1.5]}]",
        "[{\"place\": \"x\", \"path\": [], \"stat32\": [1,2,3,4,5,6]}]"}) {
    std::ofstream(file) << bad;
    Stats(&eth0, HQOSD_NO_COUNTERS);
  }
  std::filesystem::remove(file);
}

TEST(Rates, ComeFromWhatWasAdded) {
  using hqosctl::Rate;
  EXPECT_EQ(Rate(100, 250, 3), 50u);
  EXPECT_EQ(Rate(100, 101, 2), 1u);  // to the nearest
  EXPECT_EQ(Rate(100, 30, 1), 30u);  // begun again at zero
  EXPECT_EQ(Rate(0xFFFFFFFF, 0x1FFFFFFFF, 1), 0x100000000u);
  EXPECT_EQ(Rate(1, 2, 0), 0u);
}

}  // namespace
