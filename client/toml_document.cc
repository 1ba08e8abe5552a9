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

}  // namespace

bool ReadToml(std::string_view text, Node& root, Faults& faults) {
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
