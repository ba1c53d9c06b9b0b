// SPDX-License-Identifier: MIT
// The display reader's built-in font: 5 x 7 glyphs for ASCII 20 to 7E in a
// 6 x 8 cell; other bytes show as a box.
#pragma once

#include <cstdint>

namespace orvexsim {
namespace font {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kCellWidth = 6;
constexpr int kCellHeight = 8;

// Row r (0 at the top) of the glyph for c: bit 4 is the leftmost pixel.
uint8_t Row(uint8_t c, int r);

}  // namespace font
}  // namespace orvexsim
