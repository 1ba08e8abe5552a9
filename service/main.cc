// hqosd: stand-in for the hqos service.
#include <arpa/inet.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "hqos.h"
#include "platform/hqosd_store.h"
#include "platform/lip.h"
#include "platform/slot.h"
#include "service/dump.h"
#include "service/keeper.h"
#include "service/log.h"
#include "service/server.h"

namespace {

constexpr int kBacklog = 512;

// The endpoint where the service listens, a socket in the file system.
class Endpoint {
 public:
  explicit Endpoint(uint32_t node) : fd_(LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL)) {
    const sockaddr_lip address{
        sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(node), {}};
    uint32_t rank = 0;
    const bool listening = fd_ >= 0 && LIP_Listen(fd_, &address, kBacklog, &rank) == 0;
    reason_ = listening ? 0 : errno;
    LIP_GetEndpoint(node, HQOS_SERVICE_PORT, rank, path_, sizeof path_);
    lstat(path_, &file_);
  }
  // Removes the socket, unless another has taken its place.
  ~Endpoint() {
    struct stat now;
    if (reason_ == 0 && lstat(path_, &now) == 0 && now.st_ino == file_.st_ino &&
        now.st_dev == file_.st_dev) {
      unlink(path_);
    }
    if (fd_ >= 0) close(fd_);
  }
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  int fd() const { return fd_; }
  int reason() const { return reason_; }  // why it does not listen; 0: it does
  const char* path() const { return path_; }

 private:
  int fd_;
  int reason_;
  char path_[4096] = "";
  struct stat file_ {};
};

int Serve(uint32_t node, hqosd::Keeper& keeper, hqosd::Access access) {
  const Endpoint endpoint(node);
  if (endpoint.reason() != 0) {
    const char* const why = endpoint.reason() == EADDRINUSE ? "it is taken, by a service or a file"
                            : endpoint.reason() == EPERM    ? "others could change what is there"
                                                            : std::strerror(endpoint.reason());
    hqosd::Log("cannot listen at %s: %s", endpoint.path(), why);
    return 1;
  }
  hqosd::Log("listening at %s", endpoint.path());

  hqosd::Server server(endpoint.fd(), keeper, access);
  const bool ended = server.Run();
  hqosd::Log(ended ? "ended" : "the event loop failed");
  return ended ? 0 : 1;
}

// The default store of the own slot (node 0), or of another; "" when there is no place for it.
std::string DefaultStore(uint16_t node) {
  char path[4096];
  if (HQOSD_GetStorePath(path, sizeof path) != 0) return "";
  std::filesystem::path file = path;
  if (node != 0) file.replace_filename("hqosd-" + std::to_string(node) + ".db");
  return file;
}

// Opens the store; null with a log line when it cannot be.
std::unique_ptr<hqosd::Store> Open(const std::string& file, bool readOnly) {
  std::string why = "there is no place for it";
  auto store = file.empty() ? nullptr : hqosd::OpenStore(file, readOnly, why);
  if (store == nullptr) hqosd::Log("cannot open the store %s: %s", file.c_str(), why.c_str());
  return store;
}

// Such a store is served, and every change refused. To write takes the directory too.
bool CanOnlyBeRead(const std::string& file) {
  const std::string dir = std::filesystem::path(file).parent_path();
  const bool canWrite =
      access(file.c_str(), W_OK) == 0 && access(dir.empty() ? "." : dir.c_str(), W_OK) == 0;
  return !canWrite && access(file.c_str(), R_OK) == 0;
}

// As many descriptors, and so clients, as the system allows.
void RaiseDescriptorLimit() {
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Stand-in for the hqos service: keeps objects in a store and answers requests, in the "
      "foreground, until SIGTERM or SIGINT.");
  app.set_version_flag("--version", "hqosd " HQOS_VERSION);
  app.footer(
      "Its endpoint stands in $HQOS_RUNTIME_DIR; without that in /run/hqos if it can, else in\n"
      "$XDG_RUNTIME_DIR/hqos, else in .hqos in the home directory.\n"
      "Its store is hqosd.db in $HQOS_STATE_DIR; without that in /var/lib/hqos for root, for "
      "others\n"
      "in $XDG_STATE_HOME/hqos or .local/state/hqos in the home directory.");
  std::string counters, file;
  bool ephemeral = false, check = false, dump = false, open = false;
  hqosd::DumpForm form;
  uint16_t node = 0;
  app.add_option("--node", node, "serve the slot with this node address; without it, the own slot")
      ->check(CLI::Range(1, 0xFFFE));
  auto* const storeOption =
      app.add_option("--store", file, "the store; without it, the default")->type_name("FILE");
  app.add_flag("--ephemeral", ephemeral, "keep nothing: objects go when the service ends")
      ->excludes(storeOption);
  app.add_flag("--check", check, "only read the store, say what is in it and what is wrong");
  auto* const dumpOption = app.add_flag("--dump", dump, "print the store, decoded");
  app.add_flag("--json", form.json, "with --dump: one JSON array")->needs(dumpOption);
  app.add_flag("--bytes", form.bytes, "with --dump --json: the bytes of every record too")
      ->needs(dumpOption);
  app.add_option("FILE", file, "with --dump: the store")->needs(dumpOption)->excludes(storeOption);
  app.add_flag("--open", open,
               "let everybody configure, not only root, the service's user and group hqos");
  app.add_option("--counters", counters,
                 "a JSON file with the counters of children, docs/service.md has its form; without "
                 "it all are zero")
      ->type_name("FILE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  signal(SIGPIPE, SIG_IGN);  // the reader of the log may go
  umask(077);                // the store is nobody else's to read or lock
  RaiseDescriptorLimit();
  // The own slot's service stands where its programs look for it.
  const bool isOwn = node == 0 || node == HQOS_util_GetLipBySlotId(DEV_GetSelfSlot());
  const uint32_t endpoint = isOwn ? HQOS_SERVICE_NODE : node;
  if (file.empty()) file = DefaultStore(isOwn ? 0 : node);
  if (dump) {
    const std::string why = hqosd::DumpStore(file, form);
    if (!why.empty()) hqosd::Log("cannot read the store %s: %s", file.c_str(), why.c_str());
    return why.empty() ? 0 : 1;
  }
  if (check) {
    const auto store = Open(file, true);
    return store != nullptr && hqosd::CheckStore(*store) ? 0 : 1;
  }
  hqosd::Model model;
  if (!counters.empty()) model.counters = hqosd::FileCounters(counters);
  hqosd::Keeper keeper(std::move(model));
  if (!ephemeral) {
    auto store = Open(file, false);
    if (store == nullptr && CanOnlyBeRead(file)) store = Open(file, true);
    if (store == nullptr || !keeper.KeepIn(std::move(store))) return 1;
  }
  return Serve(endpoint, keeper,
               open ? hqosd::Access::Open() : hqosd::Access(hqosd::ConfiguringGroup()));
}
