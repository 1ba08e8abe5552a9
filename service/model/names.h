// What a name may be, and how any name is shown.
#pragma once

#include <string>

namespace hqosd {

bool IsUtf8(const std::string& text);

// Whether a new object may have the name: UTF-8, not empty, and without control characters and
// those that change the direction of writing, with which a terminal shows something else than there
// is.
bool IsUsableName(const std::string& name);

// Whether a stored object keeps it: older versions accepted more. Line feeds divide keys.
bool IsStoredName(const std::string& name);

// The text as a terminal shows it faithfully: unless it is a usable name, all bytes that are not
// printable ASCII become \xNN.
std::string Shown(const std::string& text);

}  // namespace hqosd
