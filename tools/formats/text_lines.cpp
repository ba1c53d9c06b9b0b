// SPDX-License-Identifier: MIT
#include "text_lines.h"

#include <algorithm>

namespace orvexformats {

std::vector<ContentLine> ContentLines(const std::string& text) {
  std::vector<ContentLine> out;
  int number = 0;
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    at = end + 1;
    ++number;
    line.erase(std::min(line.find('#'), line.size()));
    if (line.find_first_not_of(" \t\r") != std::string::npos) out.push_back({number, line});
  }
  return out;
}

}  // namespace orvexformats
