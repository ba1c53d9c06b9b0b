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

std::string Printable(char c) {
  switch (c) {
    case '\n': return "\\n";
    case '\r': return "\\r";
    case '\t': return "\\t";
    default: break;
  }
  const auto u = static_cast<unsigned char>(c);
  if (u >= 0x20 && u < 0x7F) return std::string(1, c);
  return "\\x" + HexText(&u, 1);
}

std::string Printable(const std::string& text) {
  std::string s;
  for (char c : text) s += Printable(c);
  return s;
}

bool ParseHexBytes(const std::string& text, std::vector<uint8_t>& out, std::string* why, HexRefusal* refusal) {
  std::vector<uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  int high = -1;
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == ':' || c == '-') continue;
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
    if (d < 0) {
      if (why) *why = "'" + Printable(c) + "' is not a hex digit";
      if (refusal) *refusal = HexRefusal::kNotADigit;
      return false;
    }
    if (high < 0) {
      high = d;
    } else {
      bytes.push_back(static_cast<uint8_t>(high << 4 | d));
      high = -1;
    }
  }
  if (high >= 0) {
    if (why) *why = "odd number of hex digits";
    if (refusal) *refusal = HexRefusal::kOddDigits;
    return false;
  }
  out = std::move(bytes);
  return true;
}

}  // namespace orvexformats
