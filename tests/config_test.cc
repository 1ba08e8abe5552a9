// Whole hierarchies applied from files: random transitions, refusals, and a service that is killed.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "client/write_model.h"
#include "hqosd.h"
#include "tests/process.h"
#include "tests/random_model.h"

namespace {

using process::Outcome;
using process::Service;

Outcome Config(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {HQOSCTL, "config"});
  return process::Run(arguments);
}

std::string Export() { return Config({"show"}).out; }

std::string WriteFile(const Service& service, const client::Model& model) {
  const std::string file = service.dir() + "/model";
  std::ofstream out(file);
  client::WriteToml(model, 0, out);
  return file;
}

// No transition is refused, nothing is left to do, and what is exported changes nothing.
TEST(Config, GoesFromAnyHierarchyToAnyOther) {
  Service service({"--store", "@/store"});
  std::mt19937 random(5);
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    const std::string file = WriteFile(service, RandomModel(random).Draw());
    const Outcome applied = Config({"apply", file});
    ASSERT_EQ(applied.status, 0) << applied.err;
    const Outcome diff = Config({"diff", file});
    EXPECT_EQ(diff.status, 0) << diff.out;
    EXPECT_EQ(Config({"apply", file}).out.find("nothing to do"), 0u);
    const std::string exported = Export();
    std::ofstream(file) << exported;
    EXPECT_EQ(Config({"apply", file}).out.find("nothing to do"), 0u);
    if (round % 10 != 0) continue;
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0);
    service.Start();
    EXPECT_EQ(Export(), exported);
  }
  EXPECT_EQ(service.Log().find("quarantined"), std::string::npos) << service.Log();
}

TEST(Config, RefusedChangesNothing) {
  Service service;
  std::mt19937 random(6);
  const client::Model model = RandomModel(random).Draw();
  ASSERT_EQ(Config({"apply", WriteFile(service, model)}).status, 0);
  const std::string before = Export();
  client::Model wrong = RandomModel(random).Draw();
  wrong.sp["extra"];
  wrong.apply[{HQOS_APPOBJ_IFINDEX, "missing", 0, HQOS_DIR_INBOUND}] = {"extra"};
  const Outcome refused = Config({"apply", WriteFile(service, wrong)});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err, "hqosctl: interface missing does not exist\n");
  EXPECT_EQ(Export(), before);
}

// Whenever the service is killed, it has the one state or the other, and what was acknowledged.
TEST(Config, IsWholeAfterAKill) {
  Service service({"--store", "@/store"});
  std::mt19937 random(7);
  std::string states[2];
  std::vector<std::string> files;
  for (int i = 0; i < 2; ++i) {
    client::Model model;
    for (int fp = 0; fp < 2000; ++fp) model.fp["fp" + std::to_string(fp)].bandwidth = i;
    files.push_back(WriteFile(service, model) + std::to_string(i));
    std::rename((service.dir() + "/model").c_str(), files.back().c_str());
    ASSERT_EQ(Config({"apply", files.back()}).status, 0);
    states[i] = Config({"show", "--json"}).out;
  }
  const auto withoutRevision = [](const std::string& text) {
    return text.substr(text.find("\"sp\""));
  };
  size_t known = 1;
  for (int round = 0; round < 12 && !HasFailure(); ++round) {
    const size_t next = 1 - known;
    Outcome applied;
    std::thread thread([&] { applied = Config({"apply", files[next]}); });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 120'000));
    service.Signal(SIGKILL);
    thread.join();
    EXPECT_EQ(service.Wait(), 128 + SIGKILL);
    service.Start();
    const std::string now = withoutRevision(Config({"show", "--json"}).out);
    const bool isNew = now == withoutRevision(states[next]);
    EXPECT_TRUE(isNew || (applied.status != 0 && now == withoutRevision(states[known])));
    if (isNew) known = next;
  }
}

// A transaction that was not confirmed is reverted when its time is over, and by a restart.
TEST(Config, RevertsWhatIsNotConfirmed) {
  Service service({"--store", "@/store"});
  std::mt19937 random(8);
  ASSERT_EQ(Config({"apply", WriteFile(service, RandomModel(random).Draw())}).status, 0);
  const auto withoutRevision = [] {
    const std::string text = Export();
    return text.substr(text.find('['));
  };
  const std::string before = withoutRevision();
  for (const bool isKilled : {true, false}) {
    const std::string file = WriteFile(service, RandomModel(random).Draw());
    ASSERT_EQ(Config({"apply", file, "--confirm", isKilled ? "600" : "1"}).status, 0);
    if (isKilled) {
      EXPECT_NE(withoutRevision(), before);
      service.Signal(SIGKILL);
      service.Wait();
      service.Start();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    }
    EXPECT_EQ(withoutRevision(), before);
    EXPECT_EQ(Config({"confirm"}).status, 1);
  }
}

// While a large transaction is carried out, queries are answered and commands are refused; a dry
// run gives way to a command.
TEST(Config, HoldsNobodyUp) {
  Service service({"--store", "@/store"});
  client::Model model;
  for (int fp = 0; fp < 20'000; ++fp) model.fp["fp" + std::to_string(fp)].bandwidth = 7;
  const std::string file = WriteFile(service, model);
  const auto runBeside = [&](std::vector<std::string> arguments, int& answered) {
    Outcome applied;
    std::atomic<bool> isDone = false;
    uint32_t busy = 0;
    std::thread thread([&] {
      applied = Config(std::move(arguments));
      isDone = true;
    });
    while (!isDone) {
      HQOS_Result result{};
      HQOS_FPInfo info{};
      EXPECT_EQ(HQOS_lib_DelSP("missing", &result), 0u);
      const bool isBusy = result.code == HQOSD_BUSY;
      EXPECT_TRUE(isBusy || result.code == HQOSD_NOT_FOUND) << result.text;
      const uint32_t status = HQOS_lib_GetFP("fp7", &info);
      EXPECT_NE(status, HQOS_ERR_FAILED);
      if (isBusy && ++busy != 0) answered += status == HQOSD_NOT_FOUND ? 1 : 0;
    }
    thread.join();
    return applied;
  };
  int fromBefore = 0;
  const Outcome dryRun = runBeside({"apply", file, "--dry-run"}, fromBefore);
  EXPECT_TRUE(dryRun.status == 1 || dryRun.status == 4) << dryRun.err;
  EXPECT_EQ(fromBefore, 0);
  // On a busy machine this thread may have no turn meanwhile.
  for (int round = 0; round < 20 && fromBefore == 0; ++round) {
    EXPECT_EQ(runBeside({"apply", file}, fromBefore).status, 0);
    const Outcome undone = Config({"rollback"});
    EXPECT_EQ(undone.status, 0) << undone.err;
  }
  EXPECT_GT(fromBefore, 0);
}

}  // namespace
