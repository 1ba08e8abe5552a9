#include "client/document.h"

#include <algorithm>
#include <charconv>

namespace client {

namespace {

// The value that the key names; null when there is none.
const Node* Step(const Node& from, const std::string& key) {
  if (const auto* const members = std::get_if<Node::Members>(&from.value)) {
    const auto found = std::find_if(members->begin(), members->end(),
                                    [&](const Member& member) { return member.key == key; });
    return found == members->end() ? nullptr : &found->node;
  }
  const auto* const items = std::get_if<Node::Items>(&from.value);
  size_t index = 0;
  const auto read = std::from_chars(key.data(), key.data() + key.size(), index);
  if (items == nullptr || read.ec != std::errc() || index >= items->size()) return nullptr;
  return &(*items)[index];
}

std::string Pointer(const Path& path) {
  std::string pointer;
  for (const std::string& key : path) {
    pointer += '/';
    for (const char c : key) {
      if (c == '~') {
        pointer += "~0";
      } else if (c == '/') {
        pointer += "~1";
      } else {
        pointer += c;
      }
    }
  }
  return pointer;
}

}  // namespace

Document Document::Read(std::string_view text, Faults& faults) {
  Document document;
  const size_t first = text.find_first_not_of(" \t\r\n");
  document.isJson_ = first != std::string_view::npos && text[first] == '{';
  Node root;
  document.isRead_ = document.isJson_ ? ReadJson(text, root, faults) : ReadToml(text, root, faults);
  document.root_.position = root.position;
  if (document.isRead_) document.root_ = std::move(root);
  return document;
}

Position Document::Find(const Path& path) const {
  const Node* node = &root_;
  Position position = root_.position;
  for (const std::string& key : path) {
    node = Step(*node, key);
    if (node == nullptr) break;
    if (node->position.line != 0) position = node->position;
  }
  return position;
}

std::string Document::Locate(const Path& path) const {
  if (isJson_) return Pointer(path);
  const Position position = Find(path);
  if (position.line == 0) return "";
  return std::to_string(position.line) + ':' + std::to_string(position.column);
}

void Document::Sort(Faults& faults) const {
  std::vector<std::pair<std::pair<uint32_t, uint32_t>, size_t>> order;
  for (size_t i = 0; i < faults.size(); ++i) {
    const Position position = Find(faults[i].path);
    order.push_back({{position.line, position.column}, i});
  }
  std::sort(order.begin(), order.end());
  Faults sorted;
  for (const auto& [position, i] : order) sorted.push_back(std::move(faults[i]));
  faults = std::move(sorted);
}

}  // namespace client
