// Names of command views and sub views.
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/guard.h"
#include "hqos.h"

namespace {

using fuzz::Require;

// What a view name holds, in room of exactly the sizes that the header tells.
struct View {
  std::unique_ptr<char[]> obj = std::make_unique<char[]>(HQOS_VIEW_OBJ_SIZE);
  std::unique_ptr<char[]> name = std::make_unique<char[]>(HQOS_NAME_SIZE);
  std::unique_ptr<char[]> subName = std::make_unique<char[]>(HQOS_SUBVIEW_NAME_SIZE);
  HQOS_MatchRule rule{HQOS_MATCH_NONE, {}};
};

void CheckName(const char* text) {
  View view, again;
  if (HQOS_util_GetNameByCmdView(text, view.name.get()) != 0) return;
  const std::string name = view.name.get();
  Require(!name.empty() && std::strstr(text, ("-" + name).c_str()) != nullptr, "the name is there");
  Require(HQOS_util_GetNameByCmdView(("a-b-" + name).c_str(), again.name.get()) == 0 &&
              name == again.name.get(),
          "a name is read as it was written");
}

void CheckObj(const char* text) {
  View view, again;
  if (HQOS_util_GetObjByCmdView(text, view.obj.get(), view.name.get()) != 0) return;
  const std::string made = std::string("a-") + view.obj.get() + "-" + view.name.get();
  Require(std::strstr(text, made.c_str() + 1) != nullptr, "kind and name are there");
  Require(HQOS_util_GetObjByCmdView(made.c_str(), again.obj.get(), again.name.get()) == 0 &&
              std::strcmp(view.obj.get(), again.obj.get()) == 0 &&
              std::strcmp(view.name.get(), again.name.get()) == 0,
          "a view is read as it was written");
}

void CheckSubView(const char* text) {
  View view, again;
  if (HQOS_util_GetInfoBySubCmdView(text, view.obj.get(), view.subName.get(), &view.rule) != 0 ||
      view.rule.type > 9999) {
    return;
  }
  char rule[HQOS_MATCHRULE_STR_SIZE];
  HQOS_util_MatchRuleToStr(&view.rule, rule);
  const std::string made =
      std::string("a-") + view.obj.get() + "-" + view.subName.get() + "-" + rule;
  const uint32_t status = HQOS_util_GetInfoBySubCmdView(made.c_str(), again.obj.get(),
                                                        again.subName.get(), &again.rule);
  Require(status == 0 && std::strcmp(view.obj.get(), again.obj.get()) == 0 &&
              std::strcmp(view.subName.get(), again.subName.get()) == 0 &&
              std::memcmp(&view.rule, &again.rule, sizeof view.rule) == 0,
          "a sub view is read as it was written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  const char* const text = guard.Text(data, size);
  CheckName(text);
  CheckObj(text);
  CheckSubView(text);
  return 0;
}
