#include "client/quantity.h"

#include <algorithm>

namespace client {

namespace {

// A unit as a fraction of that in which the number is kept.
struct Unit {
  Quantity quantity;
  std::string_view name;
  uint64_t times, over;
};
constexpr Unit kUnits[] = {{Quantity::kKbitPerSecond, "", 1, 1},
                           {Quantity::kKbitPerSecond, "bit", 1, 1000},
                           {Quantity::kKbitPerSecond, "kbit", 1, 1},
                           {Quantity::kKbitPerSecond, "Mbit", 1000, 1},
                           {Quantity::kKbitPerSecond, "Gbit", 1000000, 1},
                           {Quantity::kBytes, "", 1, 1},
                           {Quantity::kBytes, "B", 1, 1},
                           {Quantity::kBytes, "kB", 1000, 1},
                           {Quantity::kBytes, "MB", 1000000, 1},
                           {Quantity::kBytes, "GB", 1000000000, 1},
                           {Quantity::kBytes, "KiB", 1 << 10, 1},
                           {Quantity::kBytes, "MiB", 1 << 20, 1},
                           {Quantity::kBytes, "GiB", 1 << 30, 1}};

constexpr size_t kMaxDigits = 10;  // of which any may be decimals: products stay within 64 bits

}  // namespace

std::optional<uint32_t> ParseQuantity(std::string_view text, Quantity quantity) {
  const size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
  const std::string_view number = text.substr(0, end);
  const auto* const unit = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& u) {
    return u.quantity == quantity && u.name == text.substr(end);
  });
  if (unit == std::end(kUnits)) return std::nullopt;
  uint64_t value = 0, over = unit->over;
  size_t digits = 0, points = 0;
  for (const char c : number) {
    if (c == '.') {
      ++points;
      continue;
    }
    ++digits;
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (points != 0) over *= 10;
    if (digits > kMaxDigits) return std::nullopt;
  }
  const bool isNumber = digits != 0 && points <= 1 && number.front() != '.' && number.back() != '.';
  if (!isNumber || value > UINT64_MAX / unit->times || value * unit->times % over != 0) {
    return std::nullopt;
  }
  const uint64_t whole = value * unit->times / over;
  if (whole > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(whole);
}

const char* Describe(Quantity quantity) {
  return quantity == Quantity::kBytes
             ? "a number of bytes up to 4294967295, or a text such as \"20kB\""
             : "a number of kbit/s up to 4294967295, or a text such as \"5Mbit\"";
}

}  // namespace client
