// SPDX-License-Identifier: MIT
// Bytes as hex text: upper-case digits, two a byte, no separator, the way
// every program of the SDK writes bytes for people and in its files; and
// the way all of them read bytes a person typed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orvexformats {

std::string HexText(const uint8_t* p, size_t n);

// Why typed hex was refused.
enum class HexRefusal { kNone, kNotADigit, kOddDigits };

// Bytes typed as hex digits, two a byte, either case, with spaces, tabs,
// carriage returns, colons or hyphens anywhere between the digits
// ("04:A1:B2", "00 A4 04 00"). False on anything else, out then untouched,
// refusal (when given) saying which, and why (when given) in words: "'x' is
// not a hex digit" (a control character written as \n, \t or \xNN) or
// "odd number of hex digits".
bool ParseHexBytes(const std::string& text, std::vector<uint8_t>& out, std::string* why = nullptr,
                   HexRefusal* refusal = nullptr);

// A character, or text, for a message: as it is when printable, else
// \n, \r, \t or \xNN, so that a message stays on one line whatever a
// person typed.
std::string Printable(char c);
std::string Printable(const std::string& text);

}  // namespace orvexformats
