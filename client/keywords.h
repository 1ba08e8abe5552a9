// Names and keywords, as files have them.
#pragma once

#include <optional>
#include <string>

#include "client/model.h"

namespace client {

// The keyword of a number; null after the last. The library has such functions.
using Keywords = const char* (*)(uint32_t number);

std::optional<uint32_t> FindKeyword(Keywords keywords, const std::string& text);

// All keywords, each between `quote`, with `separator` in between.
std::string JoinKeywords(Keywords keywords, const std::string& separator, const std::string& quote);

// Whether an object can have the name.
bool IsName(const std::string& name);
inline constexpr char kNameRule[] =
    "a name has 1 to 31 bytes, and no control or bidirectional character";

bool IsInterfaceName(const std::string& name);

// "interface eth0 outbound"
std::string TargetText(const Target& target);

}  // namespace client
