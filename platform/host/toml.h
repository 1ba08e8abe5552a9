// The reader of TOML files, without exceptions.
#pragma once

// The reader asserts what does not hold of every text, and after that reports the fault itself; it
// also takes some characters for impossible. A file that cannot be read must not end the program.
#undef NDEBUG
#define TOML_ASSERT(expr) static_cast<void>(0)
#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#include <toml++/impl/forward_declarations.h>
#pragma push_macro("TOML_UNREACHABLE")
#undef TOML_UNREACHABLE
#define TOML_UNREACHABLE return false
#include <toml++/impl/unicode.h>
#pragma pop_macro("TOML_UNREACHABLE")
// After what it builds on.
#include <toml++/toml.h>
