// Numbers with a unit, as people write them: "5Mbit", "20kB".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace client {

enum class Quantity { kKbitPerSecond, kBytes };

// Reads a decimal number with a unit: bit, kbit, Mbit or Gbit for a rate (1 kbit = 1000 bit); B,
// kB, MB or GB, or KiB, MiB or GiB for bytes. Without a unit it is kbit/s or bytes. Nothing when
// the text is something else, or does not give a whole number of 32 bits.
std::optional<uint32_t> ParseQuantity(std::string_view text, Quantity quantity);

// What such a text is, for messages.
const char* Describe(Quantity quantity);

}  // namespace client
