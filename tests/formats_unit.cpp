// SPDX-License-Identifier: MIT
// MIFARE Classic access conditions: decoding, encoding, validation and the
// self-locking check.
#include <gtest/gtest.h>

#include "mifare_access.h"

namespace {

using namespace orvexformats;

TEST(MifareAccess, TransportConfiguration) {
  const uint8_t b[3] = {0xFF, 0x07, 0x80};
  Access a;
  ASSERT_TRUE(DecodeAccess(b, a));
  EXPECT_EQ(0, a.c[0]);
  EXPECT_EQ(0, a.c[1]);
  EXPECT_EQ(0, a.c[2]);
  EXPECT_EQ(1, a.c[3]);
  EXPECT_TRUE(SelfLocking(a).empty());
  EXPECT_EQ("A|B", DataBlockRights(a.c[0]).write);
  EXPECT_EQ("A", TrailerBlockRights(a.c[3]).write_access);
}

TEST(MifareAccess, EveryPatternRoundTrips) {
  for (int g0 = 0; g0 < 8; ++g0)
    for (int t = 0; t < 8; ++t) {
      Access a;
      a.c[0] = g0;
      a.c[1] = (g0 + 3) & 7;
      a.c[2] = (g0 + 5) & 7;
      a.c[3] = t;
      uint8_t b[3];
      EncodeAccess(a, b);
      Access back;
      ASSERT_TRUE(DecodeAccess(b, back));
      for (int i = 0; i < 4; ++i) EXPECT_EQ(a.c[i], back.c[i]);
    }
}

TEST(MifareAccess, AnyFlippedBitIsInvalid) {
  const uint8_t good[3] = {0xFF, 0x07, 0x80};
  for (int byte = 0; byte < 3; ++byte)
    for (int bit = 0; bit < 8; ++bit) {
      uint8_t b[3] = {good[0], good[1], good[2]};
      b[byte] ^= static_cast<uint8_t>(1 << bit);
      Access a;
      EXPECT_FALSE(DecodeAccess(b, a)) << byte << ":" << bit;
    }
}

TEST(MifareAccess, SelfLockingTrailers) {
  const uint8_t all_never[3] = {0x00, 0xF0, 0xFF};  // C1C2C3 111 everywhere
  Access a;
  ASSERT_TRUE(DecodeAccess(all_never, a));
  auto why = SelfLocking(a);
  ASSERT_EQ(6u, why.size());
  EXPECT_EQ("key A can never be changed again", why[0]);
  EXPECT_EQ("data block group 2 becomes read-only", why[5]);
  // Key B writes everything (trailer 011, data 100): nothing irreversible.
  Access b;
  b.c[0] = b.c[1] = b.c[2] = 4;
  b.c[3] = 3;
  EXPECT_TRUE(SelfLocking(b).empty());
}

}  // namespace
