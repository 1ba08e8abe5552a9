#include "service/model/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace hqosd {

namespace {

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

constexpr uint32_t kInvalid = 0xFFFFFFFF;

// Takes the first character from the text, which is not empty; kInvalid when it is not UTF-8.
uint32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const size_t length = first < 0x80 ? 1 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (text.size() < length || (first >= 0x80 && first < 0xC2) || first > 0xF4) return kInvalid;
  uint32_t character = length == 1 ? first : first & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((text[i] & 0xC0) != 0x80) return kInvalid;
    character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
  }
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < kLeast[length] || character > 0x10FFFF || isSurrogate) return kInvalid;
  text.remove_prefix(length);
  return character;
}

// Whether the text is UTF-8 and `accepts` each of its characters.
template <class Accepts>
bool AllOf(std::string_view text, const Accepts& accepts) {
  while (!text.empty()) {
    const uint32_t character = TakeCharacter(text);
    if (character == kInvalid || !accepts(character)) return false;
  }
  return true;
}

// Control characters, marks of the direction of writing, and ends of lines with the embeddings,
// overrides and isolates.
constexpr uint32_t kRefused[][2] = {{0, 0x1F},        {0x7F, 0x9F},     {0x061C, 0x061C},
                                    {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

}  // namespace

bool IsUtf8(const std::string& text) {
  return AllOf(text, [](uint32_t) { return true; });
}

bool IsUsableName(const std::string& name) {
  return !name.empty() && AllOf(name, [](uint32_t character) {
    return std::none_of(std::begin(kRefused), std::end(kRefused), [character](const auto& range) {
      return character >= range[0] && character <= range[1];
    });
  });
}

bool IsStoredName(const std::string& name) {
  return !name.empty() && std::none_of(name.begin(), name.end(), IsControl);
}

std::string Shown(const std::string& text) {
  if (IsUsableName(text)) return text;
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    shown += byte >= 0x20 && byte < 0x7F ? std::string(1, c) : fmt::format("\\x{:02x}", byte);
  }
  return shown;
}

}  // namespace hqosd
