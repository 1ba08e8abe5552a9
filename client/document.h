// A file as a tree of values, whichever language it is written in: TOML or JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "client/fault.h"

namespace client {

// Where a value, or the key that names it, begins in the text; line 0: unknown.
struct Position {
  uint32_t line = 0;
  uint32_t column = 0;
};

struct Member;

// A value. A number that is not a whole one of 64 bits, or of a kind that only TOML has, is Other.
struct Node {
  struct Other {};
  using Items = std::vector<Node>;
  using Members = std::vector<Member>;
  std::variant<Other, bool, int64_t, std::string, Items, Members> value;
  Position position;
};

struct Member {
  std::string key;
  Node node;  // at the position of its key
};

class Document {
 public:
  // Reads a text, as JSON if it begins with "{". A text that breaks the language's rules leaves
  // an empty table and one fault; keys that JSON has twice are faults too.
  static Document Read(std::string_view text, Faults& faults);

  // Whether the text is one of its language; otherwise that is its only fault.
  bool IsRead() const { return isRead_; }

  const Node& root() const { return root_; }

  // Where the value is: "12:3", or for JSON its pointer "/fp/web/queue". "" for the whole of a
  // TOML file. What is not there is reported where its parent is.
  std::string Locate(const Path& path) const;

  // Sorts faults in the order of the text.
  void Sort(Faults& faults) const;

 private:
  Position Find(const Path& path) const;

  Node root_{Node::Members{}, {}};
  bool isJson_ = false;
  bool isRead_ = false;
};

// The two languages.
bool ReadToml(std::string_view text, Node& root, Faults& faults);
bool ReadJson(std::string_view text, Node& root, Faults& faults);

}  // namespace client
