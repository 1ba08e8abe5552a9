// hqosd: the hqos service.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>

#include "client/quantity.h"
#include "hqos.h"
#include "platform/slot.h"
#include "service/kernel/claim.h"
#include "service/kernel/enforcer.h"
#include "service/model/log.h"
#include "service/server/endpoint.h"
#include "service/server/server.h"
#include "service/server/transactor.h"
#include "service/store/dump.h"
#include "service/store/records.h"
#include "service/store/restore.h"

namespace {

using hqosd::Level;
using hqosd::Log;
using hqosd::Purpose;

using hqosd::kernel::Enforcer;

int Serve(uint32_t node, hqosd::Transactor& transactor, hqosd::Access access) {
  const hqosd::Endpoint endpoint(node);
  if (!endpoint.fault().empty()) {
    Log(Level::Error, "cannot listen at %s: %s", endpoint.path(), endpoint.fault().c_str());
    return 1;
  }
  Log("listening at %s", endpoint.path());

  hqosd::Server server(endpoint.fd(), transactor, access);
  if (!server.Run()) {
    Log(Level::Error, "the event loop failed");
    return 1;
  }
  Log("ended");
  return 0;
}

// The default store of the own slot (node 0), or of another; "" when there is no place for it.
std::string DefaultStore(uint16_t node) {
  std::filesystem::path file = hqosd::DefaultStorePath();
  if (!file.empty() && node != 0) file.replace_filename("hqosd-" + std::to_string(node) + ".db");
  return file;
}

// Opens the store; null with a log line when it cannot be.
std::unique_ptr<hqosd::Store> Open(const std::string& file, Purpose purpose) {
  std::string why = "there is no place for it";
  auto store = file.empty() ? nullptr : hqosd::OpenStore(file, purpose, why);
  if (store == nullptr) {
    Log(Level::Error, "cannot open the store %s: %s", file.c_str(), why.c_str());
  }
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

// Takes everything of hqosd's own out of the kernel; "" or why that cannot be.
std::string Release() try {
  const hqosd::kernel::Claim claim;
  hqosd::kernel::Netlink netlink;
  hqosd::kernel::Release(netlink);
  return "";
} catch (const std::runtime_error& error) {
  return std::string("cannot release: ") + error.what();
}

// Of "eth0=100Mbit".
void AddLinkRate(const std::string& text, Enforcer::Rates& rates) {
  const size_t end = text.rfind('=');
  const auto rate =
      end == std::string::npos || end == 0
          ? std::nullopt
          : client::ParseQuantity(text.substr(end + 1), client::Quantity::kKbitPerSecond);
  if (!rate || *rate == 0) {
    throw CLI::ValidationError("--link-rate", "takes INTERFACE=RATE, such as eth0=100Mbit");
  }
  rates[text.substr(0, end)] = uint64_t{*rate} * 1000;
}

struct Options {
  std::string counters, file, backup;
  std::vector<std::string> restore;
  Enforcer::Rates linkRates;
  bool ephemeral = false, check = false, dump = false, open = false, enforce = false,
       release = false;
  hqosd::DumpForm form;
  uint16_t node = 0;
};

void AddOptions(CLI::App& app, Options& o) {
  app.set_version_flag("--version", "hqosd " HQOS_VERSION);
  app.footer(
      "It listens on a socket in $HQOS_RUNTIME_DIR; without that in /run/hqos if it can, else in\n"
      "$XDG_RUNTIME_DIR/hqos, else in .hqos in the home directory.\n"
      "Its store is hqosd.db in $HQOS_STATE_DIR; without that in /var/lib/hqos for root, for "
      "others\n"
      "in $XDG_STATE_HOME/hqos or .local/state/hqos in the home directory.");
  app.add_option("--node", o.node,
                 "serve the slot with this node address; without it, the own slot")
      ->check(CLI::Range(1, 0xFFFE));
  auto* const store = app.add_option("--store", o.file, "the store; without it, the default");
  store->type_name("FILE");
  app.add_flag("--ephemeral", o.ephemeral, "store nothing: objects end with the service")
      ->excludes(store);
  app.add_flag("--check", o.check, "only read the store, report what is in it and what is wrong");
  auto* const dump = app.add_flag("--dump", o.dump, "print the store, decoded");
  app.add_flag("--json", o.form.json, "with --dump: one JSON array")->needs(dump);
  app.add_flag("--bytes", o.form.bytes, "with --dump --json: the bytes of every record too")
      ->needs(dump);
  app.add_option("FILE", o.file, "with --dump: the store")->needs(dump)->excludes(store);
  app.add_option("--backup", o.backup, "copy the store to a new file, also while a service has it")
      ->type_name("FILE");
  app.add_option("--restore", o.restore,
                 "restore quarantined records that fit again, while no service has the store")
      ->type_name("KEY");
  app.add_flag("--open", o.open,
               "any user may configure, not only root, the service's user and group hqos");
  auto* const enforce =
      app.add_flag("--enforce", o.enforce,
                   "shape the traffic of interfaces in the kernel as applied SPs say; needs "
                   "CAP_NET_ADMIN");
  app.add_option_function<std::vector<std::string>>(
         "--link-rate",
         [&o](const std::vector<std::string>& given) {
           for (const std::string& one : given) AddLinkRate(one, o.linkRates);
         },
         "the rate of an interface's link, such as eth0=100Mbit, instead of what its driver "
         "reports")
      ->type_name("INTERFACE=RATE")
      ->needs(enforce);
  app.add_flag("--release", o.release,
               "remove from the kernel all that --enforce has put there, while no service runs");
  app.add_option("--counters", o.counters,
                 "a JSON file with the counters of children, described in docs/service.md; without "
                 "it and --enforce all are zero")
      ->type_name("FILE")
      ->excludes(enforce);
}

// What is done instead of serving; the exit status.
std::optional<int> RunOnce(const Options& o) {
  std::string why;
  if (o.dump) {
    why = hqosd::DumpStore(o.file, o.form);
    if (!why.empty()) why = fmt::format("cannot read the store {}: {}", o.file, why);
  } else if (!o.backup.empty()) {
    why = hqosd::BackUpStore(o.file, o.backup);
    if (!why.empty()) why = fmt::format("cannot copy the store {}: {}", o.file, why);
  } else if (o.release) {
    why = Release();
  } else if (!o.restore.empty()) {
    const auto store = Open(o.file, Purpose::Serve);
    return store != nullptr && hqosd::RestoreRecords(*store, o.restore) ? 0 : 1;
  } else if (o.check) {
    const auto store = Open(o.file, Purpose::Check);
    return store != nullptr && hqosd::CheckStore(*store) ? 0 : 1;
  } else {
    return std::nullopt;
  }
  if (!why.empty()) Log(Level::Error, "%s", why.c_str());
  return why.empty() ? 0 : 1;
}

// Null with a log line when this process cannot enforce.
std::unique_ptr<Enforcer> NewEnforcer(Enforcer::Rates rates) try {
  static const hqosd::kernel::Claim s_claim;
  return std::make_unique<Enforcer>(std::move(rates));
} catch (const hqosd::kernel::NetlinkError& error) {
  Log(Level::Error, "cannot enforce: %s", error.what());
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "The hqos service: keeps objects in a store and answers requests, in the foreground, until "
      "SIGTERM or SIGINT.");
  Options o;
  AddOptions(app, o);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  signal(SIGPIPE, SIG_IGN);  // the reader of the log may disappear
  umask(077);                // nobody else may read or lock the store
  RaiseDescriptorLimit();
  char fault[4096];
  if (o.node != 0 && DEV_GetChassisFault(fault, sizeof fault) != 0) {
    Log(Level::Error, "cannot use the chassis that HQOS_CHASSIS names: %s", fault);
    return 1;
  }
  // The own slot's service listens where its programs look for it.
  const bool isOwn = o.node == 0 || o.node == HQOS_util_GetLipBySlotId(DEV_GetSelfSlot());
  const uint32_t endpoint = isOwn ? HQOS_SERVICE_NODE : o.node;
  if (o.file.empty()) o.file = DefaultStore(isOwn ? 0 : o.node);
  if (const auto status = RunOnce(o)) return *status;
  hqosd::Model model;
  if (!o.counters.empty()) {
    model.counters = hqosd::FileCounters(o.counters);
    model.counters->Refresh(model);  // logs now what is wrong with it
  }
  std::unique_ptr<Enforcer> enforcer;
  if (o.enforce && (enforcer = NewEnforcer(std::move(o.linkRates))) == nullptr) return 1;
  hqosd::Transactor transactor(std::move(model));
  if (!o.ephemeral) {
    auto store = Open(o.file, Purpose::Serve);
    if (store == nullptr && CanOnlyBeRead(o.file)) {
      hqosd::Log("it is only read, and changes are refused");
      store = Open(o.file, Purpose::Read);
    }
    if (store == nullptr || !transactor.AttachStore(std::move(store))) return 1;
  }
  if (enforcer != nullptr) transactor.AttachKernel(*enforcer);
  return Serve(endpoint, transactor,
               o.open ? hqosd::Access::Open() : hqosd::Access(hqosd::ConfiguringGroup()));
}
