#include "cli/output.h"

#include <algorithm>
#include <iostream>

namespace hqosctl {

void Output::Begin(std::vector<std::string> headers) {
  if (records_.is_null()) records_ = nlohmann::ordered_json::array();
  lines_ = {std::move(headers)};
}

void Output::Add(std::vector<std::string> cells, Record record) {
  for (std::string& cell : cells) {
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    std::replace_if(cell.begin(), cell.end(), isControl, '?');
  }
  lines_.push_back(std::move(cells));
  records_.push_back(std::move(record));
}

void Output::End() {
  if (json) return;
  if (!first_) std::cout << '\n';
  first_ = false;
  std::vector<size_t> widths(lines_[0].size());
  for (const auto& line : lines_) {
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const auto& line : lines_) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) {
      text += line[i];
      if (i + 1 < line.size()) text.append(widths[i] - line[i].size() + 2, ' ');
    }
    std::cout << text << '\n';
  }
}

void Output::Finish() {
  if (!json || records_.is_null()) return;
  using nlohmann::detail::error_handler_t;
  std::cout << records_.dump(2, ' ', false, error_handler_t::replace) << '\n';
}

}  // namespace hqosctl
