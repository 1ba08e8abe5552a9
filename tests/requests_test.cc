// What the service makes of calls of the library, as data: tests/requests/*.session. "$ " begins a
// call with its arguments, below it are "= " with what it returned and wrote. "! NAME INDEX up"
// makes an interface, "! NAME down" and "! NAME gone" change it; "! counters JSON" writes the file
// of the counters. HQOS_UPDATE=1 writes the sessions anew.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli/rates.h"
#include "tests/call_text.h"
#include "tests/in_process.h"

namespace {

using std::string;

class Requests {
 public:
  Requests() : counters_(testing::TempDir() + "hqos-counters-" + std::to_string(getpid())) {
    service_.model.counters = hqosd::FileCounters(counters_);
  }
  ~Requests() { std::filesystem::remove(counters_); }

  void Change(std::istringstream line) {
    string name, word;
    line >> name >> word;
    auto& interfaces = service_.interfaces;
    if (name == "counters") {
      std::ofstream(counters_) << word << line.rdbuf();
    } else if (word == "gone") {
      interfaces.all.erase(name);
    } else if (word == "down") {
      interfaces.all.at(name).up = false;
    } else {
      interfaces.Add(name, static_cast<uint32_t>(std::stoul(word)));
    }
  }

  string Call(const string& line) {  // NOLINT(readability-convert-member-functions-to-static)
    std::ostringstream out;
    EXPECT_TRUE(call_text::WithNamed(line, [&](auto* function, const string& arguments) {
      Call(function, arguments, out);
    })) << line;
    return out.str();
  }

 private:
  template <class... P>
  void Call(uint32_t (*function)(P...), const string& arguments, std::ostream& out) {
    std::deque<string> texts;
    std::istringstream in(arguments);
    calls::Call call(function, call_text::Words{in, texts},
                     [this](auto run) { return service_.Run(run); });
    out << "= " << std::hex << call.status;
    if constexpr (sizeof...(P) > 1) call_text::ShowOutput(out, call);
    out << '\n';
  }

  string counters_;
  wire::InProcess service_;
};

TEST(Requests, AreAnsweredAsTheSessionsAreWritten) {
  for (const auto& file : std::filesystem::directory_iterator(REQUESTS)) {
    std::ifstream in(file.path());
    Requests service;
    std::ostringstream written, actual;
    for (string line; std::getline(in, line);) {
      written << line << '\n';
      if (line.starts_with("= ")) continue;
      actual << line << '\n';
      if (line.starts_with("! ")) service.Change(std::istringstream(line.substr(2)));
      if (line.starts_with("$ ")) actual << service.Call(line.substr(2));
    }
    EXPECT_EQ(actual.str(), written.str()) << file.path();
    if (std::getenv("HQOS_UPDATE") != nullptr) std::ofstream(file.path()) << actual.str();
  }
}

TEST(Rates, ComeFromWhatWasAdded) {
  using hqosctl::Rate;
  EXPECT_EQ(Rate(100, 250, 3), 50u);
  EXPECT_EQ(Rate(100, 101, 2), 1u);  // to the nearest
  EXPECT_EQ(Rate(100, 30, 1), 30u);  // begun again at zero
  EXPECT_EQ(Rate(0xFFFFFFFF, 0x1FFFFFFFF, 1), 0x100000000u);
  EXPECT_EQ(Rate(1, 2, 0), 0u);
}

}  // namespace
