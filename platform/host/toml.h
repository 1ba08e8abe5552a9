// The reader of TOML files, without exceptions.
#pragma once

// The reader asserts conditions that some invalid texts violate, although it reports the fault
// afterwards; it also declares some characters impossible. An invalid file must not end the
// program.
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
// After the headers that it builds on.
#include <toml++/toml.h>
