// Records of a store as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "service/model/tlvs.h"

namespace hqosd {

// The record under that key, decoded; null when it does not decode.
nlohmann::ordered_json Decoded(const std::string& key, const Bytes& value);

}  // namespace hqosd
