// SPDX-License-Identifier: MIT
// APDU script lines: parsing, expected status words, their meanings and the
// follow-up commands of 61XX and 6CXX.
#include <gtest/gtest.h>

#include <stdexcept>

#include "apdu_script.h"

namespace {

using namespace orvexformats;
using B = std::vector<uint8_t>;

std::string ErrorOf(const std::string& text, size_t max = 255) {
  try {
    ParseApduScript(text, max);
  } catch (const std::invalid_argument& e) {
    return e.what();
  }
  return "(no error)";
}

TEST(ApduScript, LinesCommentsAndExpectedWords) {
  auto lines =
      ParseApduScript("# header\n\n00A4 0400 00 = 9000\n  00:84:00:00:08 # challenge\n00B0950000=6cxx\r\n", 255);
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ(3, lines[0].line);
  EXPECT_EQ((B{0x00, 0xA4, 0x04, 0x00, 0x00}), lines[0].command);
  EXPECT_TRUE(lines[0].checked);
  EXPECT_EQ("9000", lines[0].expected);
  EXPECT_TRUE(lines[0].Matches(0x90, 0x00));
  EXPECT_FALSE(lines[0].Matches(0x6A, 0x82));
  EXPECT_EQ(4, lines[1].line);
  EXPECT_FALSE(lines[1].checked);
  EXPECT_TRUE(lines[1].Matches(0x6A, 0x82));
  EXPECT_EQ(5, lines[2].line);
  EXPECT_EQ("6CXX", lines[2].expected);
  EXPECT_TRUE(lines[2].Matches(0x6C, 0x12));
  EXPECT_FALSE(lines[2].Matches(0x6B, 0x12));
}

TEST(ApduScript, MalformedLinesNameTheirNumber) {
  EXPECT_EQ("line 2: 'G' is not a hex digit", ErrorOf("00A4040000\n00G4\n"));
  EXPECT_EQ("line 1: odd number of hex digits", ErrorOf("00A404000"));
  EXPECT_EQ("line 3: shorter than a 4-byte header", ErrorOf("#\n\n00A4 = 9000"));
  EXPECT_EQ("line 1: the expected status word \"900\" is not 4 hex digits", ErrorOf("00A4040000 = 900"));
  EXPECT_EQ("line 1: the expected status word \"90Q0\" is not 4 hex digits (X for any)", ErrorOf("00A4040000 = 90Q0"));
  EXPECT_EQ("line 1: no command before \"=\"", ErrorOf(" = 9000"));
  EXPECT_EQ("line 1: 6 bytes: at most 5 bytes fit in one command", ErrorOf("00A404000100", 5));
  EXPECT_TRUE(ParseApduScript("# only comments\n\n   \n", 255).empty());
}

TEST(ApduScript, StatusWordMeanings) {
  EXPECT_EQ("success", StatusWordMeaning(0x90, 0x00));
  EXPECT_EQ("more response bytes available (GET RESPONSE)", StatusWordMeaning(0x61, 0x10));
  EXPECT_EQ("file or application not found", StatusWordMeaning(0x6A, 0x82));
  EXPECT_EQ("wrong parameters P1-P2", StatusWordMeaning(0x6A, 0x00));
  EXPECT_EQ("warning: verification failed, counter in the low digit (tries left)", StatusWordMeaning(0x63, 0xC2));
  EXPECT_EQ("warning: memory changed", StatusWordMeaning(0x63, 0x00));
  EXPECT_EQ("unknown status word", StatusWordMeaning(0x12, 0x34));
}

TEST(ApduScript, FollowUpCommands) {
  EXPECT_EQ((B{0x00, 0xC0, 0x00, 0x00, 0x1A}), *FollowUpCommand({0x00, 0xA4, 0x04, 0x00, 0x00}, 0x61, 0x1A));
  // 6CXX: Le added to a header, replaced in a case 2, added after data, replaced after data.
  EXPECT_EQ((B{0x00, 0xB0, 0x00, 0x00, 0x08}), *FollowUpCommand({0x00, 0xB0, 0x00, 0x00}, 0x6C, 0x08));
  EXPECT_EQ((B{0x00, 0xB0, 0x00, 0x00, 0x08}), *FollowUpCommand({0x00, 0xB0, 0x00, 0x00, 0x20}, 0x6C, 0x08));
  EXPECT_EQ((B{0x00, 0x88, 0x00, 0x00, 0x01, 0xAA, 0x04}),
            *FollowUpCommand({0x00, 0x88, 0x00, 0x00, 0x01, 0xAA}, 0x6C, 0x04));
  EXPECT_EQ((B{0x00, 0x88, 0x00, 0x00, 0x01, 0xAA, 0x04}),
            *FollowUpCommand({0x00, 0x88, 0x00, 0x00, 0x01, 0xAA, 0x00}, 0x6C, 0x04));
  EXPECT_FALSE(FollowUpCommand({0x00, 0x88, 0x00, 0x00, 0x05, 0xAA}, 0x6C, 0x04));  // Lc disagrees
  EXPECT_FALSE(FollowUpCommand({0x00, 0xA4, 0x04, 0x00, 0x00}, 0x90, 0x00));
  EXPECT_FALSE(FollowUpCommand({0x00, 0xA4, 0x04, 0x00, 0x00}, 0x6A, 0x82));
}

}  // namespace
