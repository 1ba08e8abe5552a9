#include <algorithm>
#include <nlohmann/json.hpp>

#include "client/document.h"

namespace client {

namespace {

using nlohmann::json;

constexpr size_t kMaxDepth = 64;  // arrays and objects within each other

// Builds the tree from what the reader finds in the text.
class Builder : public nlohmann::json_sax<json> {
 public:
  Builder(Node& root, Faults& faults) : root_(root), faults_(faults) {}

  bool null() override { return Put({}); }
  bool boolean(bool value) override { return Put(value); }
  bool number_integer(int64_t value) override { return Put(value); }
  bool number_unsigned(uint64_t value) override {
    if (value > INT64_MAX) return Put({});
    return Put(static_cast<int64_t>(value));
  }
  bool number_float(double, const std::string&) override { return Put({}); }
  bool string(std::string& value) override { return Put(std::move(value)); }
  bool binary(binary_t&) override { return false; }

  bool start_object(size_t) override { return Open(Node::Members{}); }
  bool start_array(size_t) override { return Open(Node::Items{}); }
  bool key(std::string& name) override {
    std::get<Node::Members>(open_.back()->value).push_back({std::move(name), {}});
    return true;
  }
  bool end_object() override {
    FindTwins();
    open_.pop_back();
    return true;
  }
  bool end_array() override {
    open_.pop_back();
    return true;
  }

  bool parse_error(size_t, const std::string&, const json::exception& error) override {
    const std::string text = error.what();
    const size_t place = text.find("at line ");
    Fail(place == std::string::npos ? text : text.substr(place));
    return false;
  }

 private:
  // Where the next value belongs.
  Node& Next() {
    if (open_.empty()) return root_;
    if (auto* const items = std::get_if<Node::Items>(&open_.back()->value)) {
      return items->emplace_back();
    }
    return std::get<Node::Members>(open_.back()->value).back().node;
  }

  bool Put(decltype(Node::value) value) {
    Next().value = std::move(value);
    return true;
  }

  bool Open(decltype(Node::value) value) {
    if (open_.size() == kMaxDepth) {
      Fail("arrays and objects are nested too deep");
      return false;
    }
    Node& node = Next();
    node.value = std::move(value);
    open_.push_back(&node);
    return true;
  }

  // The text's only fault.
  void Fail(std::string text) {
    faults_.clear();
    faults_.push_back({{}, std::move(text)});
  }

  // Reports keys that the object has twice.
  void FindTwins() {
    std::vector<std::string_view> keys;
    for (const Member& member : std::get<Node::Members>(open_.back()->value)) {
      keys.push_back(member.key);
    }
    std::sort(keys.begin(), keys.end());
    for (auto at = keys.begin(); (at = std::adjacent_find(at, keys.end())) != keys.end();) {
      Path path = PathOfOpen();
      path.emplace_back(*at);
      faults_.push_back({std::move(path), "the key \"" + std::string(*at) + "\" is there twice"});
      at = std::upper_bound(at, keys.end(), *at);
    }
  }

  // The path of the innermost object.
  Path PathOfOpen() const {
    Path path;
    for (size_t i = 0; i + 1 < open_.size(); ++i) {
      const Node& node = *open_[i];
      if (const auto* const items = std::get_if<Node::Items>(&node.value)) {
        path.push_back(std::to_string(items->size() - 1));
      } else {
        path.push_back(std::get<Node::Members>(node.value).back().key);
      }
    }
    return path;
  }

  Node& root_;
  Faults& faults_;
  std::vector<Node*> open_;  // arrays and objects around the next value; none grows but the last
};

}  // namespace

bool ReadJson(std::string_view text, Node& root, Faults& faults) {
  Builder builder(root, faults);
  return json::sax_parse(text.begin(), text.end(), &builder);
}

}  // namespace client
