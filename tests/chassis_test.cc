// A chassis of several slots, each a service process of its own.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "hqos.h"
#include "platform/interface.h"
#include "platform/lip.h"
#include "platform/service_manager.h"
#include "platform/slot.h"
#include "tests/process.h"

namespace {

using nlohmann::json;
using process::Outcome;

class Chassis : public testing::Test {
 protected:
  Chassis() : dir_(testing::TempDir() + "hqos-chassis-" + std::to_string(getpid())) {
    std::filesystem::create_directories(dir_);
    setenv("HQOS_RUNTIME_DIR", dir_.c_str(), 1);
    setenv("HQOS_STATE_DIR", (dir_ + "/state").c_str(), 1);
    setenv("HQOSD", HQOSD, 1);
    setenv("HQOS_CHASSIS", (dir_ + "/chassis").c_str(), 1);
    Write(
        "self = 1\n[[slot]]\nnumber = 0\n[[slot]]\nnumber = 1\n[[slot]]\nnumber = 2\n"
        "node = 300\ninterfaces = [\"lo\"]\n[[slot]]\nnumber = 4\nup = false\n");
  }
  void TearDown() override {
    EndAll();
    for (const char* name : {"HQOS_CHASSIS", "HQOSD", "HQOS_STATE_DIR"}) unsetenv(name);
    std::filesystem::remove_all(dir_);
  }

  void EndAll() const {
    int rounds = 0;
    while (EndServices() && ++rounds < 250) usleep(20'000);
    EXPECT_LT(rounds, 250);
  }

  // Ends the detached services that know this test's directory; true while there were any.
  bool EndServices() const {
    bool any = false;
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
      // Reading from a process that has just ended fails.
      std::ostringstream cmdline, environment;
      cmdline << std::ifstream(process.path() / "cmdline").rdbuf();
      environment << std::ifstream(process.path() / "environ").rdbuf();
      const std::string command = cmdline.str(), variables = environment.str();
      if (command.find("--node") == std::string::npos ||
          variables.find(std::string("HQOS_RUNTIME_DIR=") + dir_ + '\0') == std::string::npos) {
        continue;
      }
      kill(std::stoi(process.path().filename()), SIGTERM);
      any = true;
    }
    return any;
  }
  void Write(const std::string& text) { std::ofstream(dir_ + "/chassis") << text; }

  // Of each slot whether its service runs.
  static json Running() {
    json running;
    const Outcome outcome = process::Run({HQOSCTL, "--json", "service", "status"});
    for (const json& slot : json::parse(outcome.out)) running.push_back(slot["running"]);
    return running;
  }
  std::string dir_;
};

TEST_F(Chassis, StartsItsServices) {
  EXPECT_EQ(Running(), (json{false, false, false, false}));
  HQOS_util_StartServiceOnAllSlot();
  EXPECT_EQ(Running(), (json{true, false, true, false}));
  EXPECT_EQ(process::Run({HQOSCTL, "service", "start", "1"}).status, 0);
  EXPECT_EQ(Running(), (json{true, true, true, false}));
  EndAll();
  EXPECT_EQ(Running(), (json{false, false, false, false}));
  EXPECT_EQ(process::Run({HQOSCTL, "service", "start-all"}).err, "");
  EXPECT_EQ(Running(), (json{true, true, true, false}));
  EXPECT_EQ(HQOS_util_StartService(2), 1u);  // runs already
  for (const char* file : {"hqosd.db", "hqosd-1.db", "hqosd-300.db"}) {
    EXPECT_TRUE(std::filesystem::exists(dir_ + "/state/" + file)) << file;
  }
  HQOS_Result result;
  EXPECT_EQ(HQOS_lib_AddSP("gold", 1, &result), 0u);  // the own slot's answers
  EXPECT_EQ(result.code, 0u) << result.text;
}

TEST_F(Chassis, TellsWhyAServiceDoesNotStart) {
  EXPECT_EQ(HQOS_util_StartService(9), uint32_t{EINVAL});
  setenv("HQOSD", "/none", 1);
  EXPECT_EQ(HQOS_util_StartService(0), uint32_t{ENOENT});
  setenv("HQOSD", "/bin/false", 1);
  EXPECT_EQ(HQOS_util_StartService(0), uint32_t{ECHILD});
  EXPECT_EQ(process::Run({HQOSCTL, "service", "start-all"}).status, 3);
  uint32_t status = 9;
  EXPECT_EQ(SERVICE_GetStatus(1, "other", 0, &status), uint32_t{EINVAL});
  EXPECT_EQ(status, 9u);
  const auto start = [](const std::string& slot) {
    return process::Run({HQOSCTL, "service", "start", slot});
  };
  EXPECT_EQ(start("0").err,
            "hqosctl: the service of slot 0 ended before it answered; run hqosd --node 1 to see "
            "why\n");
  setenv("HQOSD", "/none", 1);
  EXPECT_EQ(start("0").err,
            "hqosctl: the service of slot 0 cannot be started: /none: No such file or directory; "
            "set HQOSD to the program's path\n");
  EXPECT_EQ(start("9").err, "hqosctl: there is no slot 9; the chassis has 0, 1, 2, 4\n");
  EXPECT_EQ(start("4").err, "hqosctl: slot 4 is down; set up = true in the file of HQOS_CHASSIS\n");
  // It listens, and nobody accepts.
  const int hung = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  const sockaddr_lip address{sizeof address, LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(300), {}};
  uint32_t candidate;
  ASSERT_EQ(LIP_Listen(hung, &address, 5, &candidate), 0);
  EXPECT_EQ(start("2").err,
            "hqosctl: the service of slot 2 is there but does not answer; end it before you start "
            "another\n");
  const Outcome shown = process::Run({HQOSCTL, "--json", "service", "status"});
  EXPECT_EQ(shown.status, 3);
  EXPECT_EQ(shown.err, "hqosctl: no answer from the service of slot 2\n");
  EXPECT_EQ(json::parse(shown.out)[2]["state"], "no answer");
  close(hung);
}

TEST_F(Chassis, IsReadFromItsFile) {
  uint16_t lowest, highest, slot = 9;
  DEV_GetSlotRange(&lowest, &highest);
  EXPECT_EQ(lowest, 0);
  EXPECT_EQ(highest, 4);
  EXPECT_EQ(DEV_GetSelfSlot(), 1);
  EXPECT_EQ(IF_IsSlotUp(2), 1);
  EXPECT_EQ(IF_IsSlotUp(4), 0);
  EXPECT_EQ(IF_IsSlotUp(3), 0);
  EXPECT_EQ(HQOS_util_GetLipBySlotId(2), 300u);
  EXPECT_EQ(HQOS_util_GetLipBySlotId(4), 5u);
  EXPECT_EQ(HQOS_util_GetLipBySlotId(3), 0xFFFFu);
  EXPECT_EQ(IF_GetDataByIfIndex(1, IF_DATA_SLOT, &slot), 0u);  // lo
  EXPECT_EQ(slot, 2);
  // What cannot be used is no chassis: one slot.
  const std::pair<const char*, const char*> faults[] = {
      {"", "1: there is no [[slot]]"},
      {"self = 0", "1: there is no [[slot]]"},
      {"self = [", "1: "},
      {"[`", "1: "},
      {"\xEF\xBB\xBFself = 0", "1: there is no [[slot]]"},
      {"slot = 5\nself = 5", "1: there is no [[slot]]"},
      {"self = 7\n[[slot]]\nnumber = 1", "1: self is none of the slots"},
      {"self = 0\n[[slot]]\nnumber = 65535", "2: the slot has no number from 0 to 65534"},
      {"self = 0\n[[slot]]\nnumber = 0\nup = 1", "4: up is neither true nor false"},
      {"self = 0\n[[slot]]\nnumber = 0\ninterfaces = [5]",
       "4: interfaces is not an array of names"},
      {"self = 0\n[[slot]]\nnumber = 0\nnode = 0", "4: node is not a number from 1 to 65534"},
      {"self = 0\n[[slot]]\nnumber = 0\n[[slot]]\nnumber = 65534",
       "4: slot 65534 needs a node of its own"},
      {"self = 0\n[[slot]]\nnumber = 0\n[[slot]]\nnumber = 0\nnode = 9",
       "4: another slot has this number"},
      {"self = 0\n[[slot]]\nnumber = 0\nnode = 2\n[[slot]]\nnumber = 1",
       "5: another slot has this node"}};
  for (const auto& [text, why] : faults) {
    Write(text);
    DEV_GetSlotRange(&lowest, &highest);
    EXPECT_EQ(highest, 0) << text;
    EXPECT_EQ(DEV_GetSelfSlot(), 0) << text;
    EXPECT_EQ(HQOS_util_GetLipBySlotId(0), 1u) << text;
    const Outcome shown = process::Run({HQOSCTL, "service", "status"});
    EXPECT_EQ(shown.status, 2);
    EXPECT_NE(shown.err.find(dir_ + "/chassis:" + why), std::string::npos) << shown.err;
  }
}

}  // namespace
