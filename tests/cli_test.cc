// hqosctl: sessions replayed from tests/cli, and how long it waits.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>

#include "hqos.h"
#include "platform/lip.h"
#include "tests/process.h"

namespace {

using process::Outcome;
using process::Service;

constexpr char kLate[] = "the service has not answered in time\n";

class Session : public testing::TestWithParam<std::string> {};

TEST_P(Session, GoesAsItIsWritten) {
  const Outcome outcome = process::Run({SESSIONS "/replay", BIN_DIR, GetParam()});
  EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

std::set<std::string> Sessions() {
  std::set<std::string> files;
  for (const auto& file : std::filesystem::directory_iterator(SESSIONS)) {
    if (file.path().extension() == ".session") files.insert(file.path());
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(Cli, Session, testing::ValuesIn(Sessions()), [](const auto& session) {
  return std::filesystem::path(session.param).stem().string();
});

// The bound applies to each command of a batch and each round of a watch, not to the time between.
TEST(Timeout, AppliesToEachCommand) {
  Service service;
  EXPECT_EQ(process::Run({HQOSCTL, "--timeout", "0.5", "stats", "--watch", "0.6", "--rounds", "3"})
                .status,
            0);
  const auto batch = [](const std::string& options) {
    return process::Run({"/bin/sh", "-c",
                         "{ echo sp show; sleep 0.6; echo; echo sp show; } | timeout 10 " HQOSCTL
                         " --timeout 0.5 --batch - " +
                             options});
  };
  EXPECT_EQ(batch("").err, "");
  service.Signal(SIGSTOP);
  const Outcome late = batch("--json --force");
  EXPECT_EQ(late.status, 3);
  EXPECT_NE(late.out.find("\"name\":\"HQOS_ERR_FAILED\""), std::string::npos) << late.out;
  EXPECT_EQ(late.err, std::string("hqosctl: standard input:1: ") + kLate);
}

// A service that does not answer, and one that does not accept while its backlog is full.
TEST(Timeout, BoundsEveryWait) {
  using std::chrono::steady_clock;
  Service service;
  service.Signal(SIGSTOP);
  const auto expectLate = [] {
    const auto begin = steady_clock::now();
    const Outcome outcome =
        process::Run({"/usr/bin/timeout", "10", HQOSCTL, "--timeout", "0.3", "sp", "show"});
    const std::chrono::duration<double> took = steady_clock::now() - begin;
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, std::string("hqosctl: ") + kLate);
    EXPECT_GE(took.count(), 0.3);
    EXPECT_LT(took.count(), 2.0);
  };
  expectLate();

  const sockaddr_lip address{
      sizeof address, LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
  const auto open = [] { return LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL); };
  const std::string dir = service.dir() + "/full";
  setenv("HQOS_RUNTIME_DIR", dir.c_str(), 1);
  const int listener = open(), first = open(), second = open();
  uint32_t candidate = 0;
  ASSERT_EQ(LIP_Listen(listener, &address, 0, &candidate), 0);
  ASSERT_EQ(LIP_Connect(first, &address, sizeof address), 0);
  fcntl(second, F_SETFL, O_NONBLOCK);
  ASSERT_EQ(LIP_Connect(second, &address, sizeof address), -1);
  ASSERT_EQ(errno, EAGAIN);  // the backlog is full
  expectLate();
  for (const int fd : {listener, first, second}) close(fd);
}

}  // namespace
