// The reader of files with a hierarchy, TOML and JSON. What it accepts is the same when it is
// written in either language, or as commands, and read again.
#include <sstream>

#include "client/check.h"
#include "client/commands.h"
#include "client/difference.h"
#include "client/read_model.h"
#include "client/write_model.h"
#include "fuzz/guard.h"

namespace {

using fuzz::Require;

void RequireSame(const client::Model& model, const std::string& text) {
  client::Faults faults;
  const auto document = client::Document::Read(text, faults);
  const client::Model again = client::ReadModel(document, faults);
  Require(faults.empty(), "what is written can be read");
  Require(client::Differences(model, again).empty(), "a model is read as it was written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::Guard guard;
  const auto* const text = reinterpret_cast<const char*>(guard.Bytes(data, size));
  client::Faults faults;
  const auto document = client::Document::Read({text, size}, faults);
  const client::Model model = client::ReadModel(document, faults);
  document.Sort(faults);
  for (const client::Fault& fault : faults) document.Locate(fault.path);
  for (const client::Fault& fault : client::Check(model)) document.Locate(fault.path);
  if (!faults.empty()) return 0;
  std::ostringstream toml, json;
  client::WriteToml(model, 1, toml);
  client::WriteJson(model, 1, json);
  RequireSame(model, toml.str());
  RequireSame(model, json.str());
  client::Model decoded;
  Require(client::Decode(client::Encode(model, {}).bytes, decoded) &&
              client::Differences(model, decoded).empty(),
          "commands build the model");
  return 0;
}
