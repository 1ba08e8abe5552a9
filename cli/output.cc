#include "cli/output.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <iostream>
#include <string_view>

#include "client/write_model.h"

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
  if (record.is_string()) record = client::Utf8(record.get_ref<const std::string&>());
  if (!record.is_structured()) return;
  for (Output::Record& one : record) MakeUtf8(one);
}

// The columns of a terminal that a text takes: none for a combining character, two for a wide one.
size_t Width(const std::string& text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; })) {
    return text.size();
  }
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = uselocale(utf8);
  size_t width = 0;
  std::mbstate_t state{};
  for (size_t at = 0; at < text.size();) {
    wchar_t character = 0;
    const size_t length = std::mbrtowc(&character, &text[at], text.size() - at, &state);
    const bool isValid = length != 0 && length <= text.size() - at;
    if (!isValid) state = {};
    width += isValid ? static_cast<size_t>(std::max(wcwidth(character), 0)) : 1;
    at += isValid ? length : 1;
  }
  uselocale(before);
  return width;
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

void Output::BeginBatch() { isBatch_ = isBegun_ = true; }

void Output::Begin(std::vector<Column> columns) {
  isBegun_ = true;
  lines_.clear();
  columns_ = std::move(columns);
  if (columns_.empty()) return;
  std::vector<std::string>& titles = lines_.emplace_back();
  for (const Column& column : columns_) titles.push_back(column.title);
}

void Output::Add(std::vector<std::string> cells, Record record) {
  if (!json) {
    for (std::string& cell : cells) cell = Shown(cell);
    lines_.push_back(std::move(cells));
  } else if (!record.is_null()) {
    MakeUtf8(record);
    Element() << record.dump();
  }
}

void Output::Line(std::string text, Record record) { Add({std::move(text)}, std::move(record)); }

void Output::End() {
  if (json) return;
  if (!isFirst_) std::cout << '\n';
  isFirst_ = false;
  std::vector<size_t> widths;
  for (const auto& line : lines_) {
    widths.resize(std::max(widths.size(), line.size()));
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], Width(line[i]));
  }
  for (const auto& line : lines_) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) {
      const std::string blanks(widths[i] - Width(line[i]), ' ');
      const bool isRight = i < columns_.size() && columns_[i].isNumber;
      text += (i == 0 ? "" : "  ") + (isRight ? blanks + line[i] : line[i] + blanks);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    std::cout << text << '\n';
  }
}

std::ostream& Output::Element() {
  const char* const begin = isLine ? "[" : "[\n  ";
  std::cout << (!isOpen_ ? begin : isLine ? "," : ",\n  ");
  isBegun_ = isOpen_ = true;
  return std::cout;
}

std::ostream& Output::Document() { return isBatch_ ? Element() : std::cout; }

void Output::Fail(const Record& error) {
  if (isBatch_ || isOpen_) {
    Element() << error.dump();
    return;
  }
  std::cout << error.dump() << '\n';
  isBegun_ = false;
}

void Output::EndDocument() {
  if (!isBatch_) Finish();
}

void Output::Finish() {
  if (!json || !isBegun_) return;
  std::cout << (!isOpen_ ? "[]\n" : isLine ? "]\n" : "\n]\n");
  isBegun_ = isOpen_ = false;
}

}  // namespace hqosctl
