// SPDX-License-Identifier: MIT
#include "orvexsim/bytes.h"

#include <cstdio>

#include "hex_text.h"

namespace orvexsim {

std::string Hex(const Bytes& b, size_t max) {
  std::string s;
  char buf[4];
  for (size_t i = 0; i < b.size(); ++i) {
    if (i == max) {
      s += " ...";
      break;
    }
    std::snprintf(buf, sizeof buf, "%02X", b[i]);
    if (i) s += ' ';
    s += buf;
  }
  return s;
}

bool ParseHex(const std::string& text, Bytes& out) { return orvexformats::ParseHexBytes(text, out); }

Bytes Slice(const Bytes& b, size_t offset, size_t count) {
  if (offset >= b.size()) return {};
  size_t n = b.size() - offset < count ? b.size() - offset : count;
  return Bytes(b.begin() + static_cast<long>(offset), b.begin() + static_cast<long>(offset + n));
}

Bytes Concat(const Bytes& a, const Bytes& b) {
  Bytes r = a;
  r.insert(r.end(), b.begin(), b.end());
  return r;
}

Bytes Pseudorandom(const Bytes& seed, size_t count) {
  // 64-bit FNV-1a over the seed, then xorshift: stable, not cryptographic.
  uint64_t x = 1469598103934665603ull;
  for (uint8_t c : seed) x = (x ^ c) * 1099511628211ull;
  Bytes r;
  while (r.size() < count) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    r.push_back(static_cast<uint8_t>(x >> 24));
  }
  return r;
}

}  // namespace orvexsim
