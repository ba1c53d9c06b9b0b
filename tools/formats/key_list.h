// SPDX-License-Identifier: MIT
// MIFARE Classic key lists: the files of keys a person keeps (orvex's
// --keys FILE and the `keys` of its configuration file). One key a line as
// typed hex (12 digits; spaces, colons or hyphens may separate them), "#"
// starts a comment, blank lines are skipped (text_lines.h). Pure code,
// shared by every program that reads key lists.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvexformats {

using ClassicKey = std::array<uint8_t, 6>;

// A line of a key list that is not a key: its number (from 1) and why, in
// words ("\"12zz\" is not hexadecimal", "a key has 12 hex digits").
struct KeyListError : std::runtime_error {
  KeyListError(int line, const std::string& why) : std::runtime_error(why), line(line) {}
  int line;
};

// The keys of a list in their order, each once (a key listed again is
// left out), appended to keys where keys does not hold them yet; returns
// how many key lines the text had (0: none, which a caller may refuse).
// Throws KeyListError for the first line that is not a key, keys then
// untouched.
int ParseKeyList(const std::string& text, std::vector<ClassicKey>& keys);

}  // namespace orvexformats
