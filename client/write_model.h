// From a model to files, in an order that depends on nothing but the model: kinds from the top of
// the hierarchy down, then names.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "client/model.h"

namespace client {

using Record = nlohmann::ordered_json;

// A text as UTF-8; bytes that are not are written as "\xff".
std::string Utf8(const std::string& text);

// Objects as files have them. What is not set is left out.
Record RecordOf(const SP& sp);
Record RecordOf(const FG& fg);
Record RecordOf(const FP& fp);
Record RecordOf(const DP& dp);
Record RecordOf(const Children::value_type& child);
Record RecordOf(const std::pair<const Target, Application>& application);

// A value in one line, in the words of TOML: { fg = "voice", match = "group" }.
std::string Inline(const Record& value);

void WriteToml(const Model& model, uint64_t revision, std::ostream& out);
void WriteJson(const Model& model, uint64_t revision, std::ostream& out);

// The model without its identifiers.
Model WithoutIds(Model model);

}  // namespace client
