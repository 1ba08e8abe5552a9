// Between models and the commands that build them, byte for byte as the library sends them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "client/model.h"

namespace client {

// Commands one after the other, each a message of its own.
struct Commands {
  std::vector<uint8_t> bytes;
  uint32_t count = 0;
};

// Adds a command with that payload.
void Append(uint16_t code, const uint8_t* payload, size_t length, Commands& commands);

// The commands that build the model from nothing. Identifiers that the model gives come first, then
// objects that `running` has, then new ones, so that none takes what another is to keep.
Commands Encode(const Model& model, const Model& running);

// The model that the commands build. False, with a part of it, when they cannot be read.
bool Decode(std::span<const uint8_t> bytes, Model& model);

}  // namespace client
