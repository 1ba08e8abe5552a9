#include "cli/collection.h"

#include <utility>

namespace hqosctl {

namespace {

Collection* g_active = nullptr;

}  // namespace

Collection::Collection() { g_active = this; }
Collection::~Collection() { g_active = nullptr; }
Collection* Collection::Active() { return g_active; }

void Collection::Note(uint16_t type, const void* value, uint16_t length) {
  const auto* const bytes = static_cast<const uint8_t*>(value);
  type_ = type;
  value_.assign(bytes, bytes + length);
}

void Collection::Keep() {
  const std::vector<uint8_t> value = std::exchange(value_, {});
  client::Append(type_, value.data(), value.size(), commands_);
}

}  // namespace hqosctl
