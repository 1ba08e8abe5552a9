#include <algorithm>
#include <cstring>

#include "client/document.h"
#include "platform/host/toml.h"

namespace client {

namespace {

Position PositionOf(const toml::source_region& source) {
  return {static_cast<uint32_t>(source.begin.line), static_cast<uint32_t>(source.begin.column)};
}

Node Convert(const toml::node& from) {
  Node node{{}, PositionOf(from.source())};
  if (const auto* const flag = from.as_boolean()) {
    node.value = flag->get();
  } else if (const auto* const number = from.as_integer()) {
    node.value = number->get();
  } else if (const auto* const text = from.as_string()) {
    node.value = text->get();
  } else if (const auto* const array = from.as_array()) {
    Node::Items items;
    items.reserve(array->size());
    for (const toml::node& item : *array) items.push_back(Convert(item));
    node.value = std::move(items);
  } else if (const auto* const table = from.as_table()) {
    Node::Members members;
    members.reserve(table->size());
    for (const auto& [key, value] : *table) {
      members.push_back({std::string(key.str()), Convert(value)});
      members.back().node.position = PositionOf(key.source());
    }
    node.value = std::move(members);
  }
  return node;
}

// Where the string at that place ends.
size_t EndOfString(std::string_view text, size_t at) {
  const std::string quotes(3, text[at]);
  const bool isLong = text.substr(at, 3) == quotes;
  const std::string end = quotes.substr(0, isLong ? 3 : 1);
  for (at += end.size(); at < text.size() && text.substr(at, end.size()) != end; ++at) {
    if (text[at] == '\\' && quotes[0] == '"') ++at;
    if (!isLong && at < text.size() && text[at] == '\n') return at;  // it is not closed
  }
  if (isLong) {  // which may end with quotes of its own
    while (at + 1 < text.size() && text.substr(at + 1, 3) == quotes) ++at;
  }
  return std::min(at + end.size(), text.size());
}

// The place of a key with too many dots; npos when there is none. The parser, which limits the
// depth of values, goes as deep as a key has dots.
size_t FindDeepKey(std::string_view text) {
  constexpr int kMaxDots = 16;
  int dots = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"' || c == '\'') {
      at = EndOfString(text, at) - 1;
    } else if (c == '#') {
      at = std::min(text.find('\n', at), text.size());
      dots = 0;
    } else if (c == '.') {
      if (++dots > kMaxDots) return at;
    } else if (std::strchr("=[]{},\n", c) != nullptr) {
      dots = 0;
    }
  }
  return std::string_view::npos;
}

}  // namespace

bool ReadToml(std::string_view text, Node& root, Faults& faults) {
  if (const size_t at = FindDeepKey(text); at != std::string_view::npos) {
    const std::string_view before = text.substr(0, at);
    root.position.line = static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n') + 1);
    root.position.column = static_cast<uint32_t>(at - (before.rfind('\n') + 1) + 1);
    faults.push_back({{}, "the key has too many dots"});
    return false;
  }
  const toml::parse_result parsed = toml::parse(text);
  if (parsed) {
    root = Convert(parsed.table());
    return true;
  }
  root.position = PositionOf(parsed.error().source());
  faults.push_back({{}, std::string(parsed.error().description())});
  return false;
}

}  // namespace client
