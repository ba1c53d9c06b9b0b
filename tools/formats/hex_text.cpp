// SPDX-License-Identifier: MIT
#include "hex_text.h"

namespace orvexformats {

std::string HexText(const uint8_t* p, size_t n) {
  static const char* d = "0123456789ABCDEF";
  std::string s;
  for (size_t i = 0; i < n; ++i) {
    s += d[p[i] >> 4];
    s += d[p[i] & 15];
  }
  return s;
}

}  // namespace orvexformats
