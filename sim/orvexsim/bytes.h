// SPDX-License-Identifier: MIT
// Byte strings and the few helpers every part of the simulated reader uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orvexsim {

using Bytes = std::vector<uint8_t>;

// "01 02 A0" (at most max bytes, then "...").
std::string Hex(const Bytes& b, size_t max = SIZE_MAX);
// Hex digits, optionally separated by spaces, tabs, colons or dashes (the
// SDK's one reading of typed hex, orvexformats::ParseHexBytes). False (and
// out untouched) on an odd digit count or a non-hex character.
bool ParseHex(const std::string& text, Bytes& out);

// count bytes of b from offset on, fewer when b is shorter.
Bytes Slice(const Bytes& b, size_t offset, size_t count = SIZE_MAX);
// a followed by b.
Bytes Concat(const Bytes& a, const Bytes& b);

inline uint32_t Be32(const Bytes& b, size_t i) {
  return uint32_t(b[i]) << 24 | uint32_t(b[i + 1]) << 16 | uint32_t(b[i + 2]) << 8 | b[i + 3];
}
inline uint32_t Le32(const Bytes& b, size_t i) {
  return uint32_t(b[i]) | uint32_t(b[i + 1]) << 8 | uint32_t(b[i + 2]) << 16 | uint32_t(b[i + 3]) << 24;
}
inline uint16_t Be16(const Bytes& b, size_t i) { return uint16_t(b[i] << 8 | b[i + 1]); }
inline uint16_t Le16(const Bytes& b, size_t i) { return uint16_t(b[i] | b[i + 1] << 8); }
// Grown by resize and then written: GCC 12 at -O3 takes an insert into an
// empty vector for an overflow and warns.
inline void PutBe32(Bytes& b, uint32_t v) {
  size_t n = b.size();
  b.resize(n + 4);
  for (int i = 0; i < 4; ++i) b[n + i] = uint8_t(v >> (24 - 8 * i));
}
inline void PutLe32(Bytes& b, uint32_t v) {
  b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)});
}
inline void PutBe16(Bytes& b, uint16_t v) { b.insert(b.end(), {uint8_t(v >> 8), uint8_t(v)}); }

// A deterministic byte sequence for a card's fixed secrets (signatures,
// manufacturer data): the same seed gives the same bytes on every run.
Bytes Pseudorandom(const Bytes& seed, size_t count);

}  // namespace orvexsim
