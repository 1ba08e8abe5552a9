// A kernel that fails at any message of a change.
#include "service/kernel/enforcer.h"

#include "service/model/refusal.h"
#include "service/server/transactor.h"
#include "tests/built_model.h"
#include "tests/kernel.h"

namespace {

using namespace hqosd::kernel;
using hqosd::Model;
using net::Trees;

constexpr char kObjects[] = "[fg.a]\n[fg.b]\n[fg.c]\n[fp.p]\nbandwidth = 1000\n";
const std::string kNone = std::string(kObjects) + "[sp.s]\n";
const std::string kFlat =
    "[sp.s]\nchildren = [{fg = \"a\", match = \"dot1p:1\"}, {fg = \"b\", match = \"dot1p:2\"}]\n" +
    std::string(kObjects);
const std::string kDeep =
    "[sp.s]\nchildren = [{fg = \"a\", match = \"dot1p:1-3\", fp = \"p\"}]\n"
    "[fg.a]\nchildren = [{fg = \"c\", match = \"dot1p:2\"}, {fg = \"b\", match = \"group\"}]\n"
    "[fg.b]\n[fg.c]\n[fp.p]\nbandwidth = 2000\n";
std::string Applied(const std::string& direction) {
  return "[[apply]]\nsp = \"s\"\ninterface = \"near\"\ndirection = \"" + direction + "\"\n";
}

class FailingKernel : public net::Kernel {
 protected:
  static Model Next(const Model& from, const std::string& toml) {
    Model model = built::Build(built::Parse(toml), from);
    hqosd::KeepClasses(from, model);
    return model;
  }

  static void GoTo(Enforcer& enforcer, Model& model) {
    enforcer.Begin(model, Enforcer::Scope::All);
    enforcer.Build(model, hqosd::Slice());
    enforcer.Finish();
  }

  // A service at the one model goes on to the other, and fails at that message; false when the
  // change has no message of that number.
  bool Fails(const std::string& from, const std::string& to, int message, bool fails) {
    auto transport = std::make_unique<net::Disturber>();
    net::Disturber& kernel = *transport;
    Enforcer enforcer({{"near", 100'000'000}}, std::move(transport));
    Model old = Next({}, from);
    enforcer.Restore(old);
    const Trees before = ReadTrees();
    Model fresh = Next(old, to);
    kernel.Refuse(message, fails);
    bool isBuilt = true;
    try {
      GoTo(enforcer, fresh);
    } catch (const hqosd::Refusal&) {
      isBuilt = false;
      EXPECT_EQ(ReadTrees(), before) << message;
      enforcer.Restore(old);
      EXPECT_EQ(ReadTrees(), before) << message;
      EXPECT_FALSE(enforcer.due());
      fresh = Next(old, to);
      GoTo(enforcer, fresh);
    }
    const bool isLeft = enforcer.due().has_value();
    if (isLeft) enforcer.Restore(fresh);
    EXPECT_FALSE(enforcer.due());
    ExpectWhole(fresh);
    return !isBuilt || isLeft;
  }

  // Another service finds nothing to do, and then nothing is left.
  void ExpectWhole(Model& model) {
    const Trees trees = ReadTrees();
    Enforcer other({{"near", 100'000'000}});
    other.Restore(model);
    EXPECT_EQ(ReadTrees(), trees);
    EXPECT_FALSE(other.due());
    for (const auto& [key, application] : model.applications) {
      EXPECT_EQ(application.diag, uint32_t{HQOSD_DIAG_IN_EFFECT});
    }
    Release(*netlink_);
    EXPECT_EQ(ReadTrees(), (Trees{{"noqueue", 0, 0, {}, {}}, {}, false}));
  }
};

TEST_F(FailingKernel, EndsAsBefore) {
  const std::pair<std::string, std::string> cases[] = {
      {kNone, kFlat + Applied("both")},
      {kFlat + Applied("both"), kDeep + Applied("both")},
      {kDeep + Applied("outbound"), kFlat + Applied("outbound")},
      {kFlat + Applied("both"), kDeep + Applied("inbound")},
      {kDeep + Applied("both"), kNone},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    for (const bool fails : {false, true}) {
      int message = 1;
      while (Fails(cases[i].first, cases[i].second, message, fails) && !HasFailure()) ++message;
      ASSERT_FALSE(HasFailure()) << "transition " << i << " message " << message;
      EXPECT_GT(message, 2) << i;
    }
  }
}

TEST_F(FailingKernel, CannotBeAsked) {
  auto transport = std::make_unique<net::Disturber>();
  net::Disturber& kernel = *transport;
  Enforcer enforcer({}, std::move(transport));
  Model model = Next({}, kFlat + Applied("both"));
  enforcer.Restore(model);
  kernel.End();
  EXPECT_THROW(enforcer.Check(model), hqosd::Refusal);
  EXPECT_THROW(enforcer.Begin(model, Enforcer::Scope::Dirty), hqosd::Refusal);
  enforcer.LookLater();
  enforcer.LookAround(model);
  EXPECT_TRUE(enforcer.due());
}

}  // namespace
