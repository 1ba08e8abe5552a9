// Looking into the store of hqosd, by hqosd itself.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace hqosctl {

namespace {

// $HQOSD, else hqosd beside this program, else hqosd by PATH.
std::string FindService() {
  const char* const given = std::getenv("HQOSD");
  if (given != nullptr && *given != '\0') return given;
  std::error_code error;
  const auto beside =
      std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("hqosd");
  return access(beside.c_str(), X_OK) == 0 ? beside.string() : "hqosd";
}

// Runs the program. Returns what it prints, and its exit status; throws a Failure if it cannot run.
std::pair<std::string, int> Run(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure(kUsage, std::strerror(errno));
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
  pid_t pid = 0;
  const int error = posix_spawnp(&pid, argv[0], &files, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  close(ends[1]);
  std::string text;
  char block[4096];
  for (ssize_t size; (size = read(ends[0], block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(size));
  }
  close(ends[0]);
  if (error != 0) {
    throw Failure(kUsage, "cannot run " + arguments[0] + ", which reads the store: " +
                              std::strerror(error) + "; set HQOSD to its path");
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return {text, status};
}

void Dump(const std::string& file, bool withBytes, Output& output) {
  std::vector<std::string> arguments{FindService(), "--dump"};
  if (output.json) arguments.emplace_back("--json");
  if (withBytes) arguments.emplace_back("--bytes");
  if (!file.empty()) arguments.push_back(file);
  const auto [text, status] = Run(arguments);
  if (status != 0) throw Failure(kUsage, arguments[0] + " cannot read the store");
  if (output.json) {
    const auto records = Output::Record::parse(text, nullptr, false);
    if (!records.is_array()) throw Failure(kUsage, arguments[0] + " prints no JSON array");
    output.Begin({});
    for (const Output::Record& record : records) output.Line("", record);
  } else {
    output.Begin({});
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) output.Line(line);
  }
  output.End();
}

void Restore(const std::vector<std::string>& keys, Output& output) {
  std::vector<std::string> arguments{FindService()};
  for (const std::string& key : keys) arguments.insert(arguments.end(), {"--restore", key});
  const auto [text, status] = Run(arguments);
  output.Begin({});
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) output.Line(line, {{"restored", line}});
  output.End();
  if (status != 0) throw Failure(kRefused, "not all records are restored");
}

}  // namespace

void AddDbCommands(CLI::App& app, Output& output) {
  CLI::App* const db = AddGroup(app, "db", "The store of hqosd, also while it runs");
  const auto file = std::make_shared<std::string>();
  const auto add = [&](const char* name, const char* help) {
    CLI::App* const command = db->add_subcommand(name, help);
    Offer(command->add_option("FILE", *file, "the store; hqosd's default without it"), "@file");
    return command;
  };
  add("dump", "Print its keys with their records decoded")->callback([file, &output] {
    Dump(*file, false, output);
  });
  add("export", "The same as JSON, with the bytes of every record")->callback([file, &output] {
    output.json = true;
    Dump(*file, true, output);
  });
  const auto keys = std::make_shared<std::vector<std::string>>();
  CLI::App* const restore = db->add_subcommand(
      "restore", "Restore quarantined records that fit again, while hqosd does not run");
  restore->add_option("KEY", *keys, "as hqosd --check prints it")->required();
  restore->callback([keys, &output] { Restore(*keys, output); });
}

}  // namespace hqosctl
