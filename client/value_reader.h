// Reading values of a document: what was expected where something else is found.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "client/document.h"
#include "client/keywords.h"
#include "client/quantity.h"

namespace client {

// Reads values at a path that it follows down. Functions that return bool report a fault and return
// false, with their output unset, when the value is another.
class ValueReader {
 public:
  explicit ValueReader(Faults& faults) : faults_(faults) {}

  void Fail(std::string text) { faults_.push_back({path_, std::move(text)}); }

  size_t FaultCount() const { return faults_.size(); }

  // Goes to the value below `key` for the time of `read`.
  template <class Read>
  void At(const std::string& key, const Read& read) {
    path_.push_back(key);
    read();
    path_.pop_back();
  }

  const Node::Members* Members(const Node& node) {
    const auto* const members = std::get_if<Node::Members>(&node.value);
    if (members == nullptr) Fail("a table is expected here");
    return members;
  }
  const Node::Items* Items(const Node& node) {
    const auto* const items = std::get_if<Node::Items>(&node.value);
    if (items == nullptr) Fail("an array is expected here");
    return items;
  }

  // A whole number from 0 to max.
  template <class Number>
  bool ReadNumber(const Node& node, uint32_t max, Number& number) {
    const auto* const value = std::get_if<int64_t>(&node.value);
    if (value == nullptr || *value < 0 || *value > max) {
      Fail("a whole number from 0 to " + std::to_string(max) + " is expected here");
      return false;
    }
    number = static_cast<Number>(*value);
    return true;
  }

  // The only place where numbers may have units.
  bool ReadQuantity(const Node& node, Quantity quantity, uint32_t& number) {
    std::optional<uint32_t> read;
    if (const auto* const text = std::get_if<std::string>(&node.value)) {
      read = ParseQuantity(*text, quantity);
    } else if (const auto* const value = std::get_if<int64_t>(&node.value)) {
      if (*value >= 0 && *value <= UINT32_MAX) read = static_cast<uint32_t>(*value);
    }
    if (!read) Fail(std::string(Describe(quantity)) + " is expected here");
    number = read.value_or(0);
    return read.has_value();
  }

  bool ReadText(const Node& node, const char* what, std::string& text) {
    const auto* const value = std::get_if<std::string>(&node.value);
    if (value == nullptr) {
      Fail(std::string(what) + ", in quotes, is expected here");
      return false;
    }
    text = *value;
    return true;
  }

  bool CheckName(const std::string& name) {
    const bool isUsable = IsName(name);
    if (!isUsable) Fail(kNameRule);
    return isUsable;
  }

  void ReadName(const Node& node, std::string& name) {
    std::string text;
    if (ReadText(node, "a name", text) && CheckName(text)) name = std::move(text);
  }

  // One of the keywords; its number.
  void ReadKeyword(const Node& node, Keywords keywords, std::optional<uint32_t>& number) {
    const auto* const text = std::get_if<std::string>(&node.value);
    const auto found = text != nullptr ? FindKeyword(keywords, *text) : std::nullopt;
    if (!found) return Fail(JoinKeywords(keywords, "\" or \"", "\"") + " is expected here");
    number = found;
  }

  // An array of N values; `read` reads each.
  template <size_t N, class Value, class Read>
  bool ReadValues(const Node& node, std::array<Value, N>& values, const Read& read) {
    const Node::Items* const items = Items(node);
    if (items == nullptr) return false;
    if (items->size() != N) {
      Fail(std::to_string(N) + " numbers are expected here, not " + std::to_string(items->size()));
      return false;
    }
    bool isRead = true;
    for (size_t i = 0; i < N; ++i) {
      At(std::to_string(i), [&] { isRead = read((*items)[i], i, values[i]) && isRead; });
    }
    return isRead;
  }

 private:
  Faults& faults_;
  Path path_;
};

}  // namespace client
