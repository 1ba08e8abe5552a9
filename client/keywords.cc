#include "client/keywords.h"

#include <algorithm>
#include <iterator>

namespace client {

namespace {

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// Characters beyond ASCII that change how a terminal shows what is around them: U+0080 to U+009F,
// U+202A to U+202E, U+2066 to U+2069.
bool Disturbs(const std::string& utf8) {
  for (size_t i = 0; i + 1 < utf8.size(); ++i) {
    const auto byte = [&](size_t at) { return static_cast<unsigned char>(utf8[at]); };
    if (byte(i) == 0xC2 && byte(i + 1) < 0xA0) return true;
    if (byte(i) != 0xE2 || i + 2 >= utf8.size()) continue;
    if (byte(i + 1) == 0x80 && byte(i + 2) >= 0xAA && byte(i + 2) <= 0xAE) return true;
    if (byte(i + 1) == 0x81 && byte(i + 2) >= 0xA6 && byte(i + 2) <= 0xA9) return true;
  }
  return false;
}

}  // namespace

std::optional<uint32_t> FindKeyword(Keywords keywords, const std::string& text) {
  for (uint32_t number = 0; const char* const keyword = keywords(number); ++number) {
    if (text == keyword) return number;
  }
  return std::nullopt;
}

std::string JoinKeywords(Keywords keywords, const std::string& separator,
                         const std::string& quote) {
  std::string text = quote;
  for (uint32_t number = 0; const char* const keyword = keywords(number); ++number) {
    text += (number == 0 ? "" : separator) + keyword;
  }
  return text + quote;
}

bool IsName(const std::string& name) {
  return !name.empty() && name.size() < HQOS_NAME_SIZE &&
         std::none_of(name.begin(), name.end(), IsControl) && !Disturbs(name);
}

bool IsInterfaceName(const std::string& name) {
  return !name.empty() && name.size() < HQOS_APPOBJ_NAME_SIZE &&
         std::none_of(name.begin(), name.end(), [](char c) { return c == ' ' || IsControl(c); });
}

std::string TargetText(const Target& target) {
  const char* const direction = HQOS_util_GetDirStr(target.direction);
  const std::string end =
      ' ' + (direction != nullptr ? direction : std::to_string(target.direction));
  switch (target.type) {
    case HQOS_APPOBJ_SLOT:
      return "slot " + std::to_string(target.number) + end;
    case HQOS_APPOBJ_ID:
      return "identifier " + std::to_string(target.number) + end;
    case HQOS_APPOBJ_SYSTEM:
      return "system" + end;
    default:
      return "interface " + target.interface + end;
  }
}

}  // namespace client
