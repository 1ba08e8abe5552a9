// The endpoints of a host: their names, who listens at them, who is trusted.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/lip.h"

namespace {

namespace fs = std::filesystem;

sockaddr_lip Address(uint16_t port) {
  return {sizeof(sockaddr_lip), LIP_FAMILY, htons(port), htonl(0x80000000), {}};
}

// A socket after a call, which has failed when there is a reason.
class Socket {
 public:
  template <class Call>
  explicit Socket(Call call) : fd_(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL)) {
    if (call(fd_) != 0) reason = errno;
  }
  ~Socket() { close(fd_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Where the listener is that it reaches; empty when there is none.
  std::string Peer() const {
    sockaddr_un name{};
    socklen_t length = sizeof name;
    getpeername(fd_, reinterpret_cast<sockaddr*>(&name), &length);
    return name.sun_path;
  }

  int reason = 0;

 private:
  int fd_;
};

Socket Connect(const sockaddr_lip& address) {
  return Socket([&](int fd) { return LIP_Connect(fd, &address, sizeof address); });
}
Socket Listen(const sockaddr_lip& address) {
  return Socket([&](int fd) {
    uint32_t candidate = 9;
    const int result = LIP_Listen(fd, &address, 5, &candidate);
    EXPECT_EQ(candidate, 0u);
    return result;
  });
}

class Endpoints : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/hqos-test-XXXXXX";
    dir_ = mkdtemp(pattern);
    setenv("HQOS_RUNTIME_DIR", dir_.c_str(), 1);
    unsetenv("XDG_RUNTIME_DIR");
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path dir_;
};

std::string Endpoint(uint16_t port, uint32_t candidate) {
  char path[256] = "-";
  const uint32_t length = LIP_GetEndpoint(0x80000000, port, candidate, path, sizeof path);
  EXPECT_EQ(length, length == 0 ? 0 : strlen(path));
  return length == 0 ? "" : path;
}

TEST_F(Endpoints, AreNamedByNodeAndPort) {
  EXPECT_EQ(Endpoint(1174, 0), dir_ / "lip-80000000-1174");
  EXPECT_EQ(Endpoint(0, 0), dir_ / "lip-80000000-0");
  EXPECT_EQ(Endpoint(1174, 1), "");

  setenv("HQOS_RUNTIME_DIR", "", 1);
  setenv("HOME", "/home/me", 1);
  EXPECT_EQ(Endpoint(1174, 0), "/run/hqos/lip-80000000-1174");
  EXPECT_EQ(Endpoint(1174, 1), "/home/me/.hqos/lip-80000000-1174");
  EXPECT_EQ(Endpoint(1174, 2), "");
  setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
  EXPECT_EQ(Endpoint(1174, 1), "/run/user/7/hqos/lip-80000000-1174");
  EXPECT_EQ(Endpoint(1174, 2), "/home/me/.hqos/lip-80000000-1174");
  EXPECT_EQ(Endpoint(1174, 3), "");
  unsetenv("HOME");
  const std::string home = getpwuid(geteuid())->pw_dir;
  EXPECT_EQ(Endpoint(1174, 2), home + "/.hqos/lip-80000000-1174");
}

TEST_F(Endpoints, NeedRoomForTheirPath) {
  const std::string path = dir_ / "lip-0000000a-65535";
  for (uint32_t room = 0; room <= path.size() + 1; ++room) {
    std::string out(path.size() + 2, 'x');
    const bool fits = room == path.size() + 1;
    EXPECT_EQ(LIP_GetEndpoint(10, 65535, 0, out.data(), room), fits ? path.size() : 0);
    EXPECT_EQ(out.substr(room), std::string(out.size() - room, 'x'));
    if (fits) {
      EXPECT_STREQ(out.c_str(), path.c_str());
    }
  }
  setenv("HQOS_RUNTIME_DIR", std::string(200, 'd').c_str(), 1);
  EXPECT_EQ(Connect(Address(1)).reason, ENAMETOOLONG);
}

TEST_F(Endpoints, TakeTheirOwnFamilyOnly) {
  EXPECT_EQ(LIP_Socket(AF_UNIX, SOCK_DGRAM, 1), -1);
  EXPECT_EQ(errno, EAFNOSUPPORT);
  EXPECT_EQ(LIP_Socket(LIP_FAMILY, SOCK_STREAM, 1), -1);
  EXPECT_EQ(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, 0), -1);
  sockaddr_lip address = Address(1);
  EXPECT_EQ(LIP_Connect(0, &address, 15), -1);
  EXPECT_EQ(errno, EINVAL);
  address.slip_family = AF_UNIX;
  EXPECT_EQ(Connect(address).reason, EINVAL);
}

TEST_F(Endpoints, ReachOneLiveListener) {
  EXPECT_EQ(Connect(Address(1)).reason, ENOENT);
  {
    const Socket listener = Listen(Address(1));
    ASSERT_EQ(listener.reason, 0);
    struct stat info;
    ASSERT_EQ(stat(Endpoint(1, 0).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u);
    EXPECT_EQ(Connect(Address(1)).Peer(), Endpoint(1, 0));
    EXPECT_EQ(Listen(Address(1)).reason, EADDRINUSE);
    EXPECT_EQ(Listen(Address(2)).reason, 0);
  }
  // Dead, and taken over by the next.
  EXPECT_EQ(Connect(Address(1)).reason, ECONNREFUSED);
  const Socket next = Listen(Address(1));
  EXPECT_EQ(next.reason, 0);
  EXPECT_EQ(Connect(Address(1)).reason, 0);

  fs::remove(Endpoint(1, 0));
  std::ofstream(Endpoint(1, 0)) << "a file of somebody's";
  EXPECT_EQ(Listen(Address(1)).reason, EADDRINUSE);
  EXPECT_TRUE(fs::is_regular_file(Endpoint(1, 0)));
}

TEST_F(Endpoints, AreNotPutWhereOthersCouldReplaceThem) {
  const fs::path dir = dir_ / "run", link = dir_ / "link";
  setenv("HQOS_RUNTIME_DIR", dir.c_str(), 1);
  const mode_t before = umask(077);
  EXPECT_EQ(Listen(Address(1)).reason, 0);
  umask(before);
  EXPECT_EQ(fs::status(dir).permissions(), fs::perms(0755));  // made for all to reach it
  const int locked = open(dir.c_str(), O_RDONLY);             // as anybody can
  EXPECT_EQ(flock(locked, LOCK_EX), 0);
  EXPECT_EQ(Listen(Address(1)).reason, 0);
  close(locked);
  EXPECT_EQ(fs::status(Endpoint(1, 0)).permissions(), fs::perms(0666));
  for (const auto& [mode, reason] :
       {std::pair(0777, EPERM), std::pair(0775, EPERM), std::pair(01777, 0)}) {
    fs::permissions(dir, fs::perms(mode));
    EXPECT_EQ(Listen(Address(1)).reason, reason);
  }
  fs::create_directory_symlink(dir, link);
  const auto listenAt = [](const fs::path& path) {
    setenv("HQOS_RUNTIME_DIR", path.c_str(), 1);
    return Listen(Address(1)).reason;
  };
  EXPECT_EQ(listenAt(link), 0);
  if (geteuid() != 0) return;
  ASSERT_EQ(lchown(link.c_str(), 65534, 65534), 0);
  for (const char* end : {"", "/", "/./"}) EXPECT_EQ(listenAt(link.string() + end), EPERM);
  ASSERT_EQ(chown(dir.c_str(), 65534, 65534), 0);
  EXPECT_EQ(listenAt(dir), EPERM);
}

// In a directory that all may write to, another user can be first: with a lock, or with a socket.
TEST_F(Endpoints, AreNotBelievedFromOthersInASharedDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
  constexpr uid_t kNobody = 65534, kOwner = 65533;
  fs::permissions(dir_, fs::perms(01777));
  const fs::path file = dir_ / "lip.lock";
  const int lock = open(file.c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  EXPECT_EQ(Listen(Address(1)).reason, EWOULDBLOCK);
  ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(Listen(Address(1)).reason, EPERM);
  close(lock);
  fs::remove(file);

  const struct {
    uid_t listener, client, owner;
    int reason;
  } cases[] = {{0, kNobody, 0, 0},          {kNobody, kNobody, 0, 0}, {kNobody, 0, 0, EPERM},
               {kNobody, kOwner, 0, EPERM}, {kOwner, 0, kOwner, 0},   {kOwner, kNobody, kOwner, 0},
               {kNobody, 0, kOwner, EPERM}};
  uint16_t port = 1;
  for (const auto& c : cases) {
    ASSERT_EQ(chown(dir_.c_str(), 0, 0), 0);
    fs::remove(file);
    ASSERT_EQ(seteuid(c.listener), 0);
    const Socket listener = Listen(Address(++port));
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_EQ(listener.reason, 0);
    ASSERT_EQ(chown(dir_.c_str(), c.owner, c.owner), 0);
    ASSERT_EQ(seteuid(c.client), 0);
    EXPECT_EQ(Connect(Address(port)).reason, c.reason) << port;
    ASSERT_EQ(seteuid(0), 0);
  }
}

// Without HQOS_RUNTIME_DIR a directory that is another user's, or that others can write to, is
// skipped; HOME is the next.
TEST_F(Endpoints, AreNotTakenFromOthers) {
  const fs::path planted = dir_ / "hqos", own = dir_ / ".hqos";
  setenv("HQOS_RUNTIME_DIR", planted.c_str(), 1);
  const Socket first = Listen(Address(1));
  setenv("HQOS_RUNTIME_DIR", own.c_str(), 1);
  const Socket second = Listen(Address(1));
  unsetenv("HQOS_RUNTIME_DIR");
  setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
  const auto expectPlanted = [&](bool trusted) {
    const std::string name = "/lip-80000000-1", path = planted.string() + name;
    setenv("HOME", dir_.c_str(), 1);
    EXPECT_EQ(Connect(Address(1)).Peer(), trusted ? path : own.string() + name);
    setenv("HOME", "/nonexistent", 1);
    EXPECT_EQ(Connect(Address(1)).Peer(), trusted ? path : "");
  };
  expectPlanted(true);
  for (const auto mode : {0720, 0702}) {
    fs::permissions(planted, fs::perms(mode));
    expectPlanted(false);
  }
  fs::permissions(planted, fs::perms(0700));
  if (geteuid() == 0) {
    ASSERT_EQ(chown(planted.c_str(), 65534, 65534), 0);
    expectPlanted(false);
    ASSERT_EQ(chown(planted.c_str(), 0, 0), 0);
  }
  fs::rename(planted, dir_ / "real");
  fs::create_symlink(dir_ / "real", planted);
  expectPlanted(false);
}

}  // namespace
