// SPDX-License-Identifier: MIT
// The line files a person writes for the SDK's programs (key lists, files
// holding one key, APDU scripts): "#" to the end of a line is a comment,
// blank lines are skipped.
#pragma once

#include <string>
#include <vector>

namespace orvexformats {

// The lines of text that hold something once their comment is cut off,
// each with its number (from 1).
struct ContentLine {
  int number;
  std::string text;
};
std::vector<ContentLine> ContentLines(const std::string& text);

}  // namespace orvexformats
