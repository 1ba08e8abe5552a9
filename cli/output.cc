#include "cli/output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string_view>

namespace hqosctl {

namespace {

using nlohmann::json;

bool IsUtf8(const std::string& text) {
  try {
    return !json(text).dump().empty();  // which checks it
  } catch (const json::type_error&) {
    return false;
  }
}

// The bytes of a control character or one that changes the direction of writing, at the beginning
// of the text; 0 when there is none.
size_t Unshowable(std::string_view text) {
  constexpr struct {
    std::string_view lead;
    unsigned char low, high;
  } kRanges[] = {{"", 0, 0x1F},           {"", 0x7F, 0x7F},         {"\xC2", 0x80, 0x9F},
                 {"\xD8", 0x9C, 0x9C},    {"\xE2\x80", 0x8E, 0x8F}, {"\xE2\x80", 0xA8, 0xAE},
                 {"\xE2\x81", 0xA6, 0xA9}};
  for (const auto& [lead, low, high] : kRanges) {
    if (!text.starts_with(lead) || text.size() == lead.size()) continue;
    const auto last = static_cast<unsigned char>(text[lead.size()]);
    if (last >= low && last <= high) return lead.size() + 1;
  }
  return 0;
}

// JSON has no other bytes than UTF-8.
void MakeUtf8(Output::Record& record) {
  if (record.is_string()) {
    const std::string text = record;
    if (!IsUtf8(text)) record = Shown(text);
  }
  if (!record.is_structured()) return;
  for (Output::Record& one : record) MakeUtf8(one);
}

// Characters of a UTF-8 text.
size_t Width(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

std::string Shown(const std::string& text) {
  const bool isUtf8 = IsUtf8(text);
  const std::string_view view = text;
  std::string shown;
  for (size_t i = 0; i < text.size();) {
    const bool isBare = !isUtf8 && (text[i] & 0x80) != 0;
    const size_t end = i + (isBare ? 1 : Unshowable(view.substr(i)));
    if (end == i) {
      shown += text[i++];
      continue;
    }
    for (; i < end; ++i) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(text[i]));
      shown += escape;
    }
  }
  return shown;
}

std::string ShownLines(const std::string& text) {
  const size_t end = text.find('\n');
  if (end == std::string::npos) return Shown(text);
  return Shown(text.substr(0, end)) + '\n' + ShownLines(text.substr(end + 1));
}

void Output::Begin(std::vector<std::string> headers) {
  if (records_.is_null()) records_ = nlohmann::ordered_json::array();
  lines_.clear();
  if (!headers.empty()) lines_.push_back(std::move(headers));
}

void Output::Add(std::vector<std::string> cells, Record record) {
  for (std::string& cell : cells) cell = Shown(cell);
  MakeUtf8(record);
  lines_.push_back(std::move(cells));
  if (!record.is_null()) records_.push_back(std::move(record));
}

void Output::Line(std::string text, Record record) { Add({std::move(text)}, std::move(record)); }

void Output::End() {
  if (json) return;
  if (!first_) std::cout << '\n';
  first_ = false;
  std::vector<size_t> widths;
  for (const auto& line : lines_) {
    widths.resize(std::max(widths.size(), line.size()));
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], Width(line[i]));
  }
  for (const auto& line : lines_) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) {
      text += line[i];
      if (i + 1 < line.size()) text.append(widths[i] - Width(line[i]) + 2, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    std::cout << text << '\n';
  }
}

void Output::Finish() {
  if (!json || records_.is_null()) return;
  std::cout << records_.dump(2) << '\n';
}

}  // namespace hqosctl
