// SPDX-License-Identifier: MIT
#include "key_list.h"

#include <algorithm>

#include "hex_text.h"
#include "text_lines.h"

namespace orvexformats {

int ParseKeyList(const std::string& text, std::vector<ClassicKey>& keys) {
  std::vector<ClassicKey> found;
  const std::vector<ContentLine> lines = ContentLines(text);
  for (const ContentLine& line : lines) {
    std::vector<uint8_t> b;
    if (!ParseHexBytes(line.text, b)) throw KeyListError(line.number, "\"" + Printable(line.text) + "\" is not hexadecimal");
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
