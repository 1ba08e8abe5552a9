// Keys of the database. The first byte chooses the kind, the rest is the key.
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/guard.h"
#include "hqos.h"

namespace {

using fuzz::Require;

// Room of exactly that size for a text.
std::unique_ptr<char[]> Room(size_t size) {
  auto room = std::make_unique<char[]>(size);
  std::memset(room.get(), 0x5A, size);
  return room;
}

void IfRun(const char* key) {
  uint32_t first = 0x5A, second = 0x5A;
  HQOS_dbmtype_DecapIfRunKey(1, key, &second, &first);
  for (uint32_t layer = 0; layer < 4; ++layer) {
    const auto made = Room(HQOS_DBKEY_SIZE);
    const uint32_t length = HQOS_dbmtype_EncapIfRunKey(layer, second, first, made.get());
    Require(length == std::strlen(made.get()), "a key has its length");
    uint32_t firstAgain = 0x5A, secondAgain = 0x5A;
    HQOS_dbmtype_DecapIfRunKey(layer, made.get(), &secondAgain, &firstAgain);
    Require(first == firstAgain && second == secondAgain, "a key is read as it was written");
  }
}

void IfCfg(const char* key) {
  const auto name = Room(HQOS_APPOBJ_NAME_SIZE), again = Room(HQOS_APPOBJ_NAME_SIZE);
  uint32_t number = 0x5A, numberAgain = 0x5A;
  HQOS_dbmtype_DecapIfCfgKey(key, name.get(), &number);
  const std::string text = name.get();
  Require(text.empty() || std::strstr(key, text.c_str()) != nullptr, "a name is that of the key");
  HQOS_dbmtype_DecapIfCfgKey(("IFCFG-" + std::to_string(number) + "-" + text).c_str(), again.get(),
                             &numberAgain);
  Require(number == numberAgain && text == again.get(), "a key is read as it was written");
}

void Nest(const char* key, uint32_t kind) {
  const auto name = Room(HQOS_NAME_SIZE), again = Room(HQOS_NAME_SIZE);
  const std::string prefix = kind == 1 ? "SP-nest-" : "FG-nest-";
  name[0] = '\0';  // a key that does not match leaves it
  const int found = HQOS_dbmtype_DecapNestKey(kind, key, name.get());
  const std::string text = name.get();
  Require((found == 1) == !text.empty() && found >= -1 && found <= 1, "a name is found or not");
  if (found != 1) return;
  Require(std::strncmp(key, (prefix + text).c_str(), prefix.size() + text.size()) == 0,
          "a name is that of the key");
  Require(HQOS_dbmtype_DecapNestKey(kind, (prefix + text).c_str(), again.get()) == 1 &&
              text == again.get(),
          "a key is read as it was written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  if (size == 0) return 0;
  const char* const key = guard.Text(data + 1, size - 1);
  switch (data[0] % 4) {
    case 0:
      IfRun(key);
      break;
    case 1:
      IfCfg(key);
      break;
    default:
      Nest(key, data[0] % 4 - 1u);
  }
  return 0;
}
