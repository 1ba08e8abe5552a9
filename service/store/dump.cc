#include "service/store/dump.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "service/model/names.h"
#include "service/store/decoded.h"
#include "service/store/store.h"

namespace hqosd {

namespace {

using Json = nlohmann::ordered_json;

std::string Hex(const Bytes& value) { return fmt::format("{:02x}", fmt::join(value, "")); }

// JSON has no other bytes than UTF-8: names that are none are shown with escapes.
void MakeUtf8(Json& json) {
  if (json.is_string() && !IsUtf8(json.get_ref<const std::string&>())) json = Shown(json);
  if (!json.is_structured()) return;
  for (Json& one : json) MakeUtf8(one);
}

std::string Text(Json json, int indent) {
  MakeUtf8(json);
  return json.dump(indent);
}

// On one line of a terminal.
std::string Printable(std::string text) {
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return Shown(text);
}

void PrintColumns(const Json& entries) {
  size_t width = 3;
  for (const Json& entry : entries) width = std::max(width, Printable(entry["key"]).size());
  std::cout << "KEY" << std::string(width - 1, ' ') << "RECORD\n";
  for (const Json& entry : entries) {
    const std::string key = Printable(entry["key"]);
    std::cout << key << std::string(width + 2 - key.size(), ' ');
    if (entry.contains("quarantined")) {
      std::cout << "quarantined, " << Printable(entry["quarantined"]) << ": ";
    }
    const bool isDecoded = !entry["record"].is_null();
    std::cout << (isDecoded ? Printable(Text(entry["record"], -1))
                            : "does not decode: " + Printable(entry["bytes"]))
              << '\n';
  }
}

}  // namespace

std::string DumpStore(const std::string& file, DumpForm form) {
  std::string why;
  const auto store = OpenStore(file, Purpose::Read, why);
  if (store == nullptr) return why;
  std::vector<StoredRecord> records;
  std::vector<QuarantinedRecord> quarantine;
  why = store->Read(records, &quarantine);
  if (!why.empty()) return why;
  Json entries = Json::array();
  const auto add = [&](const std::string& key, const Bytes& value) -> Json& {
    const Json record = Decoded(key, value);
    Json entry = {{"key", key}, {"record", record}};
    if (form.bytes || record.is_null()) entry["bytes"] = Hex(value);
    return entries.emplace_back(std::move(entry));
  };
  for (const StoredRecord& record : records) add(record.key, record.value);
  for (const QuarantinedRecord& record : quarantine) {
    add(record.key, record.value)["quarantined"] = record.reason;
  }
  if (form.json) {
    std::cout << Text(entries, 2) << '\n';
  } else {
    PrintColumns(entries);
  }
  return std::cout.flush() ? "" : "cannot write to standard output";
}

}  // namespace hqosd
