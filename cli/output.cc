#include "cli/output.h"

#include <algorithm>
#include <iostream>

namespace hqosctl {

namespace {

// Characters of a UTF-8 text.
size_t Width(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

void Output::Begin(std::vector<std::string> headers) {
  if (records_.is_null()) records_ = nlohmann::ordered_json::array();
  lines_.clear();
  if (!headers.empty()) lines_.push_back(std::move(headers));
}

void Output::Add(std::vector<std::string> cells, Record record) {
  for (std::string& cell : cells) {
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    std::replace_if(cell.begin(), cell.end(), isControl, '?');
  }
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
  using nlohmann::json;
  std::cout << records_.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
}

}  // namespace hqosctl
