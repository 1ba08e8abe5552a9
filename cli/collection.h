// Commands of the library that are collected instead of sent.
#pragma once

#include "client/commands.h"

namespace hqosctl {

// While one lives, the library cannot open a socket, and its commands are kept here: the TLV that
// it encodes last before it would is the command's.
class Collection {
 public:
  Collection();
  ~Collection();
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  static Collection* Active();  // null: commands are sent

  void Note(uint16_t type, const void* value, uint16_t length);  // a TLV that is encoded
  void Keep();                                                   // the last one, as a command

  const client::Commands& commands() const { return commands_; }

 private:
  client::Commands commands_;
  uint16_t type_ = 0;
  std::vector<uint8_t> value_;
};

}  // namespace hqosctl
