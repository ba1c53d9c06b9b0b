// SPDX-License-Identifier: MIT
#include "ndef/forum/mad.h"

#include <gtest/gtest.h>

namespace orvex {
namespace ndef {
namespace {

TEST(Mad, CrcOfADirectoryOfNdefSectors) {
  // The directory the library writes: info byte 01, sectors 1 to 15 NDEF.
  Bytes mad = BuildMad(std::vector<uint16_t>(15, kNdefAid), 0x01);
  ASSERT_EQ(mad.size(), 32u);
  EXPECT_EQ(mad[0], 0x14);
  EXPECT_EQ(mad[2], 0x03);
  EXPECT_EQ(mad[3], 0xE1);
  EXPECT_EQ(ParseMad(mad), std::vector<uint16_t>(15, kNdefAid));
}

TEST(Mad, AWrongCrcOrSizeIsRefused) {
  Bytes mad = BuildMad(std::vector<uint16_t>(15, 0), 0);
  mad[5] ^= 1;
  EXPECT_THROW(ParseMad(mad), Error);
  EXPECT_THROW(ParseMad(Bytes(31, 0)), Error);
  EXPECT_THROW(BuildMad(std::vector<uint16_t>(14, 0), 0), Error);
  Bytes mad2 = BuildMad(std::vector<uint16_t>(23, kNdefAid), 0);
  EXPECT_EQ(ParseMad(mad2).size(), 23u);
}

}  // namespace
}  // namespace ndef
}  // namespace orvex
