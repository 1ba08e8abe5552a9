#include "tests/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "hqos.h"

namespace process {

namespace {

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string MakeDir() {
  char pattern[] = "/tmp/hqos-test-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp");
  return pattern;
}

// Starts a program; its outputs go to files.
pid_t Spawn(const std::vector<std::string>& arguments, const std::string& out,
            const std::string& err) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid;
  const int failed = posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (failed != 0) throw std::runtime_error("cannot start " + arguments[0]);
  return pid;
}

int WaitFor(pid_t pid) {
  int status;
  if (waitpid(pid, &status, 0) != pid) throw std::runtime_error("waitpid");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

Outcome Run(const std::vector<std::string>& arguments) {
  const std::string dir = MakeDir();
  Outcome outcome;
  outcome.status = WaitFor(Spawn(arguments, dir + "/out", dir + "/err"));
  outcome.out = ReadFile(dir + "/out");
  outcome.err = ReadFile(dir + "/err");
  std::filesystem::remove_all(dir);
  return outcome;
}

std::string WhyNotAsNobody() {
  if (geteuid() != 0) return "only root can act as another user";
  const std::string command = std::string(kAsNobody) + HQOSD " --version";
  return Run({"/bin/sh", "-c", command}).status == 0 ? ""
                                                     : "no other user can run the programs here";
}

Service::Service(std::vector<std::string> arguments)
    : dir_(MakeDir()), arguments_(std::move(arguments)) {
  if (arguments_.empty() || arguments_[0] != "--store") {
    arguments_.insert(arguments_.begin(), "--ephemeral");
  }
  arguments_.insert(arguments_.begin(), HQOSD);
  for (std::string& argument : arguments_) {
    const size_t at = argument.find('@');
    if (at != std::string::npos) argument.replace(at, 1, dir_);
  }
  setenv("HQOS_RUNTIME_DIR", dir_.c_str(), 1);
  Start();
}

Service::~Service() {
  if (pid_ > 0) {
    Signal(SIGCONT);
    Signal(SIGTERM);
    Wait();
  }
  std::filesystem::remove_all(dir_);
}

void Service::Start() {
  pid_ = Spawn(arguments_, dir_ + "/out", dir_ + "/err");
  for (int i = 0; i < 1000; ++i) {
    HQOS_SPInfo info;
    if (HQOS_lib_GetNextSP(HQOS_ID_NONE, &info) != HQOS_ERR_FAILED) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error("hqosd does not answer");
}

void Service::Signal(int signal) const { kill(pid_, signal); }

void Service::LimitDescriptors(unsigned max) const {
  const rlimit limit{max, max};
  prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr);
}

std::string Service::Log() const { return ReadFile(dir_ + "/err"); }

int Service::Wait() {
  const int status = WaitFor(pid_);
  pid_ = -1;
  return status;
}

}  // namespace process
