// Programs run by the tests.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace process {

struct Outcome {
  int status;  // exit status, or 128 + the signal that ended it
  std::string out, err;
};

// Runs a program to its end.
Outcome Run(const std::vector<std::string>& arguments);

// Begins a shell command that is run as another user.
inline constexpr char kAsNobody[] = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
// Why this machine cannot run the programs so; empty when it can.
std::string WhyNotAsNobody();

// hqosd, in a runtime directory of its own, which HQOS_RUNTIME_DIR names while it lives.
class Service {
 public:
  // `arguments` are hqosd's, which is ephemeral unless they begin with --store; the runtime
  // directory replaces an @ in them.
  explicit Service(std::vector<std::string> arguments = {});
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Starts it again, waiting until it answers.
  void Start();
  void Signal(int signal) const;
  // Waits for its end; the exit status as in Outcome.
  int Wait();

  // Lets it open no more than that many descriptors.
  void LimitDescriptors(unsigned max) const;
  // What it has logged.
  std::string Log() const;

  pid_t pid() const { return pid_; }
  const std::string& dir() const { return dir_; }
  std::string endpoint() const { return dir_ + "/lip-80000000-1174"; }

 private:
  std::string dir_;
  std::vector<std::string> arguments_;
  pid_t pid_ = -1;
};

}  // namespace process
