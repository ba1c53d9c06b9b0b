// SPDX-License-Identifier: MIT
#include "key_list.h"

#include <algorithm>

#include "hex_text.h"

namespace orvexformats {

std::vector<KeyLine> KeyLines(const std::string& text) {
  std::vector<KeyLine> out;
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

int ParseKeyList(const std::string& text, std::vector<ClassicKey>& keys) {
  std::vector<ClassicKey> found;
  const std::vector<KeyLine> lines = KeyLines(text);
  for (const KeyLine& line : lines) {
    std::vector<uint8_t> b;
    if (!ParseHexBytes(line.text, b)) {
      std::string shown;
      for (char c : line.text) shown += Printable(c);
      throw KeyListError(line.number, "\"" + shown + "\" is not hexadecimal");
    }
    if (b.size() != 6) throw KeyListError(line.number, "a key has 12 hex digits");
    ClassicKey k;
    std::copy(b.begin(), b.end(), k.begin());
    if (std::find(found.begin(), found.end(), k) == found.end()) found.push_back(k);
  }
  for (const ClassicKey& k : found)
    if (std::find(keys.begin(), keys.end(), k) == keys.end()) keys.push_back(k);
  return static_cast<int>(lines.size());
}

}  // namespace orvexformats
