// hqosctl: command line of the hqos service.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <fstream>
#include <iostream>

#include "cli/arguments.h"
#include "cli/batch.h"
#include "cli/collection.h"
#include "cli/commands.h"
#include "cli/complete.h"
#include "cli/deadline.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "platform/lip.h"
#include "platform/stlv.h"

namespace {

using hqosctl::Failure;

int RunBatchFile(const std::string& file, hqosctl::Batch kind, hqosctl::Output& output) {
  // A closed descriptor would be that of the next socket.
  const bool isOpen = fcntl(STDIN_FILENO, F_GETFD) >= 0;
  if (file == "-" && !isOpen) throw Failure(hqosctl::kUsage, "standard input is closed");
  if (file == "-") return hqosctl::RunBatch(std::cin, "standard input", kind, output);
  std::ifstream in(file);
  if (!in) throw Failure(hqosctl::kUsage, "cannot read " + file);
  return hqosctl::RunBatch(in, file, kind, output);
}

int Run(int argc, char** argv, hqosctl::Output& output) {
  CLI::App app("Configures the hqos service and shows its objects.", "hqosctl");
  app.set_version_flag("--version", "hqosctl " HQOS_VERSION);
  app.footer(
      "Exit status: 0 done, 1 refused by the service, 2 wrong usage, 3 no service, no answer in "
      "time, or out of memory, 4 a difference (config diff, config apply --dry-run).");
  app.fallthrough();
  app.add_flag("-j,--json", output.json, "listings as one JSON array");
  std::string batch;
  bool force = false, atomic = false;
  CLI::Option* const batchOption =
      hqosctl::Offer(
          app.add_option("--batch", batch,
                         "run the commands in FILE (-: standard input), one per line, without "
                         "hqosctl's own options"),
          "@file")
          ->type_name("FILE")
          ->group("Instead of a command");
  CLI::Option* const forceOption =
      app.add_flag("--force", force, "in a batch, continue after a refusal")
          ->needs(batchOption)
          ->group("Instead of a command");
  app.add_flag("--atomic", atomic, "the batch as one transaction: all of its commands, or none")
      ->needs(batchOption)
      ->excludes(forceOption)
      ->group("Instead of a command");
  hqosctl::Seconds(app.add_option_function<double>(
      "--timeout", hqosctl::SetTimeout,
      "give up, with status 3, when a command (each of a batch, each round of a watch) takes "
      "longer; the default is to wait for the service"));
  app.require_subcommand(0, 1);
  hqosctl::AddCommands(app, output);
  if (argc > 1 && std::string_view(argv[1]) == "__complete") {  // for the completion of shells
    hqosctl::Complete(app, {argv + 2, argv + argc});
    return hqosctl::kDone;
  }
  for (CLI::App* const command : app.get_subcommands({})) command->excludes(batchOption);
  std::vector<std::string> words = hqosctl::WithHelp(app, {argv + 1, argv + argc});
  const bool isJson = std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word == "-j" || word == "--json";
  });
  try {
    std::reverse(words.begin(), words.end());  // as parse() takes them
    app.parse(std::move(words));
    if (batchOption->count() == 0 && app.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    output.json = isJson;
    throw Failure(hqosctl::kUsage, hqosctl::UsageText(e, app));
  }
  if (batchOption->count() == 0) return hqosctl::kDone;
  using hqosctl::Batch;
  return RunBatchFile(batch,
                      atomic  ? Batch::kAtomic
                      : force ? Batch::kForced
                              : Batch::kPlain,
                      output);
}

}  // namespace

// The library encodes what it sends by this program's definition, so that its commands can be
// collected.
extern "C" uint32_t STLV_Set(void* buf, uint16_t room, uint16_t type, uint16_t length,
                             const void* value) {
  static const auto set = reinterpret_cast<decltype(&STLV_Set)>(dlsym(RTLD_NEXT, "STLV_Set"));
  if (auto* const collection = hqosctl::Collection::Active()) collection->Note(type, value, length);
  return set(buf, room, type, length, value);
}

// The library opens its sockets by this program's definition, so that none waits for longer than
// the time left. The kernel may wake a tick too early, so the bound is a tick longer.
extern "C" int LIP_Socket(int family, int type, int protocol) {
  using std::chrono::microseconds;
  constexpr microseconds kTick(10'000);
  static const auto open = reinterpret_cast<decltype(&LIP_Socket)>(dlsym(RTLD_NEXT, "LIP_Socket"));
  if (hqosctl::Collection::Active() != nullptr) return errno = ENOTCONN, -1;
  const auto left = hqosctl::TimeLeft();
  if (left == hqosctl::kUnbounded) return open(family, type, protocol);
  if (left <= microseconds::zero()) return errno = ETIMEDOUT, -1;
  const int fd = open(family, type, protocol);
  const auto wait = std::chrono::duration_cast<microseconds>(left) + kTick;
  const timeval bound{wait.count() / 1'000'000, wait.count() % 1'000'000};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);  // of connect() too
  return fd;
}

// Notes why there is no connection.
extern "C" int LIP_Connect(int fd, const sockaddr_lip* address, socklen_t length) {
  static const auto connect =
      reinterpret_cast<decltype(&LIP_Connect)>(dlsym(RTLD_NEXT, "LIP_Connect"));
  const int result = connect(fd, address, length);
  hqosctl::NoteConnection(result == 0 ? 0 : errno);
  return result;
}

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");
  hqosctl::Output output;
  int result = hqosctl::kDone;
  try {
    result = Run(argc, argv, output);
  } catch (const Failure& failure) {
    if (failure.code() != hqosctl::kDiffers) {
      std::cerr << "hqosctl: " << hqosctl::ShownLines(failure.what()) << '\n';
      if (output.json) output.Fail(hqosctl::ErrorRecord(failure));
    }
    result = failure.code();
  } catch (const std::bad_alloc&) {
    std::cerr << "hqosctl: out of memory\n";
    result = hqosctl::kNoService;
  }
  output.Finish();
  if (!std::cout.flush()) {
    std::cerr << "hqosctl: cannot write to standard output\n";
    if (result == hqosctl::kDone) result = hqosctl::kUsage;
  }
  return result;
}
