// SPDX-License-Identifier: MIT
// Command APDUs as the tool takes them, from its arguments or from a script
// file, one per line:
//
//   # select the master file
//   00A4000002 3F00 = 9000
//   0084000008          = 9000
//   00B0950000          = 6CXX
//
// A line holds the command in hex (spaces, ':' and '-' between digits are
// allowed), optionally followed by "=" and the status word the card must
// answer: four hex digits, any of them 'X' for "any digit". "#" starts a
// comment; blank lines are skipped. Also the ISO 7816-4 status words in
// words, and the follow-up command a 61XX or 6CXX answer calls for. Pure
// code, shared by the tool's apdu and sam apdu.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvexformats {

struct ApduLine {
  int line = 0;                  // 1-based line (or argument) number
  std::vector<uint8_t> command;  // at least the 4-byte header
  bool checked = false;          // an expected status word was given
  uint16_t sw = 0, sw_mask = 0;  // expected: (answer & sw_mask) == sw
  std::string expected;          // the expected status word as written ("61XX")
  // Whether the status word sw1 sw2 is the one expected (true when none was given).
  bool Matches(uint8_t sw1, uint8_t sw2) const;
};

// One line of the grammar above. Returns false for a blank or comment-only
// line. Throws std::invalid_argument with the reason (no line number) when
// the line is malformed or its command is longer than max_bytes.
bool ParseApduLine(const std::string& text, size_t max_bytes, ApduLine& out);

// A whole script. Throws std::invalid_argument "line N: reason" at the first
// malformed line.
std::vector<ApduLine> ParseApduScript(const std::string& text, size_t max_bytes);

// The meaning of a status word after ISO 7816-4 ("success", "wrong length"),
// "unknown status word" for one the table does not hold.
std::string StatusWordMeaning(uint8_t sw1, uint8_t sw2);

// The command a card's answer calls for: after 61XX a GET RESPONSE for XX
// bytes (00 for 256), after 6CXX the same command again with Le = XX.
// Nothing for any other status word.
std::optional<std::vector<uint8_t>> FollowUpCommand(const std::vector<uint8_t>& command, uint8_t sw1, uint8_t sw2);

}  // namespace orvexformats
