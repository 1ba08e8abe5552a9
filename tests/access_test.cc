// Who may configure: by the kernel's credentials of the client.
#include "service/server/access.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "msg/sealed_file.h"
#include "service/server/transactor.h"
#include "tests/client.h"
#include "tests/process.h"

namespace {

using hqosd::Access;

constexpr uid_t kNobody = 65534;
constexpr gid_t kGroup = 4242;

struct Identity {
  uid_t user;
  gid_t group;
  std::vector<gid_t> others;
};

// A connection from a process of that identity, which must be root's to take.
class Connection {
 public:
  explicit Connection(const Identity& identity) {
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{AF_UNIX, {}};  // of no file
    std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "hqos-test-%d", getpid());
    const auto* const at = reinterpret_cast<const sockaddr*>(&address);
    EXPECT_EQ(bind(listener, at, sizeof address), 0);
    EXPECT_EQ(listen(listener, 1), 0);
    child_ = fork();
    if (child_ == 0) {
      const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
      char end;
      _exit(setgroups(identity.others.size(), identity.others.data()) == 0 &&
                    setgid(identity.group) == 0 && setuid(identity.user) == 0 &&
                    connect(fd, at, sizeof address) == 0 && recv(fd, &end, 1, 0) == 0
                ? 0
                : 1);
    }
    const timeval timeout{10, 0};
    setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    fd_ = accept(listener, nullptr, nullptr);
    EXPECT_GE(fd_, 0);
    close(listener);
  }
  ~Connection() {
    close(fd_);
    int status = -1;
    waitpid(child_, &status, 0);
    EXPECT_EQ(status, 0);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int fd() const { return fd_; }

 private:
  pid_t child_;
  int fd_;
};

TEST(Access, IsRootsTheServicesAndTheGroups) {
  const std::string why = process::WhyNotAsNobody();
  if (!why.empty()) GTEST_SKIP() << why;
  std::vector<gid_t> many(100, kNobody);
  many.push_back(kGroup);
  const struct {
    Identity client;
    bool byUser, byGroup;
  } cases[] = {
      {{0, 0, {}}, true, true},
      {{1234, kNobody, {}}, true, true},  // the service's own, see below
      {{kNobody, kNobody, {}}, false, false},
      {{kNobody, 0, {0}}, false, false},
      {{kNobody, kGroup, {}}, false, true},
      {{kNobody, kNobody, {kNobody, kGroup}}, false, true},
      {{kNobody, kNobody, many}, false, true},
  };
  for (const auto& c : cases) {
    const Connection client(c.client);
    ASSERT_EQ(seteuid(1234), 0);
    EXPECT_EQ(Access(std::nullopt).MayConfigure(client.fd()), c.byUser) << c.client.user;
    EXPECT_EQ(Access(kGroup).MayConfigure(client.fd()), c.byGroup) << c.client.group;
    EXPECT_TRUE(Access::Open().MayConfigure(client.fd()));
    ASSERT_EQ(seteuid(0), 0);
  }
  EXPECT_FALSE(Access(kGroup).MayConfigure(-1));
}

TEST(Access, OthersQueryUnlessTheServiceIsOpen) {
  const std::string why = process::WhyNotAsNobody();
  if (!why.empty()) GTEST_SKIP() << why;
  for (const bool open : {false, true}) {
    const process::Service service(open ? std::vector<std::string>{"--open"}
                                        : std::vector<std::string>{});
    ASSERT_EQ(chmod(service.dir().c_str(), 0755), 0);
    const auto ask = [](const std::string& command) {
      return process::Run(
          {"/bin/sh", "-c", std::string(process::kAsNobody) + HQOSCTL " " + command});
    };
    EXPECT_EQ(process::Run({HQOSCTL, "sp", "add", "gold"}).status, 0);
    const process::Outcome refused = ask("sp add tin");
    EXPECT_EQ(refused.status, open ? 0 : 1);
    EXPECT_EQ(refused.err.find("hqosctl: only root, the service's user and members of group hqos "
                               "may configure\n") == std::string::npos,
              open);
    const process::Outcome shown = ask("--json sp show gold");
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_NE(shown.out.find("\"gold\""), std::string::npos);
    EXPECT_EQ(ask("sp show tin").status, open ? 0 : 1);
  }
}

// A decision is a change even where its file says that it only checks.
TEST(Access, OthersOnlyCheckTransactions) {
  const struct {
    uint32_t mode, check, code, codeForOthers;
  } cases[] = {
      {HQOSD_MODE_REPLACE, 0, 0, HQOSD_NOT_ALLOWED},
      {HQOSD_MODE_REPLACE, 1, 0, 0},
      {HQOSD_MODE_CONFIRM, 0, HQOSD_NOT_FOUND, HQOSD_NOT_ALLOWED},
      {HQOSD_MODE_CONFIRM, 1, HQOSD_MALFORMED, HQOSD_NOT_ALLOWED},
      {HQOSD_MODE_REVERT, 0, HQOSD_NOT_FOUND, HQOSD_NOT_ALLOWED},
      {HQOSD_MODE_REVERT, 1, HQOSD_MALFORMED, HQOSD_NOT_ALLOWED},
  };
  hqosd::Transactor transactor((hqosd::Model()));
  const std::vector<uint8_t> request{8, 1, 1, HQOSD_OP_STATE,       1, 0,
                                     0, 0, 0, HQOSD_STATE_TRANSACT, 0, 0};
  for (const auto& c : cases) {
    std::vector<uint8_t> bytes(hqos::kStateHead.size), out;
    const hqos::StateHead head{hqos::kStateFormat, c.mode, c.check, 0, hqos::kAnyRevision,
                               bytes.size(),       0,      0,       {}};
    hqos::Encode(hqos::kStateHead, head, bytes.data());
    const hqosd::RequestFile file(dup(hqos::SealedFile(bytes).fd()));
    for (const bool mayConfigure : {true, false}) {
      const std::vector<uint8_t> reply =
          transactor.RespondState(request, file, "somebody", mayConfigure, out).reply;
      HQOS_Result result{};
      hqos::Tlv tlv = hqos::FirstTlv(reply.data(), static_cast<uint16_t>(reply.size()));
      ASSERT_TRUE(hqos::Decode(hqos::kResultCode, tlv.value, tlv.length, result));
      EXPECT_EQ(result.code, mayConfigure ? c.code : c.codeForOthers)
          << c.mode << " check " << c.check;
      while (transactor.IsBusy()) transactor.Continue();
    }
  }
}

// Another user's connections, as many as there may be.
TEST(Access, NobodyPushesOthersOut) {
  const std::string why = process::WhyNotAsNobody();
  if (!why.empty()) GTEST_SKIP() << why;
  process::Service service;
  ASSERT_EQ(chmod(service.dir().c_str(), 0755), 0);
  service.LimitDescriptors(60);
  const process::Client early;
  const pid_t child = fork();
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(1);
    const std::vector<process::Client> many(200);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  early.Send({8});
  EXPECT_FALSE(early.Receive().empty());
}

}  // namespace
