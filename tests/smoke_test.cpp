// SPDX-License-Identifier: MIT
#include "reader_fixture.h"

using namespace orvex_test;

TEST_F(FakeReaderTest, BeepRoundTrip) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Buzzer(1, 10, 5, 2));
  ExpectSent(0x06, {10, 5, 2});
}
