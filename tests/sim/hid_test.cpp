// SPDX-License-Identifier: MIT
// The HID front end: one HID-shape command frame in, the HID-shape answer out.
#include <gtest/gtest.h>

#include "orvexsim/hid.h"

using namespace orvexsim;

TEST(SimHid, AnswersAnHidFrame) {
  Simulator sim;
  auto a = HidExchange(sim, {0x00, 0x06, 0x00, 0x01, 0x03, 0x04});
  ASSERT_TRUE(a.has_value());
  EXPECT_EQ((Bytes{0x00, 0x09, 0x00, 0x01, 0x03, 0x00, 0x00, 0x01, 0x0A}), *a);
}

TEST(SimHid, DataBytesAreNotEscaped) {
  Simulator sim;
  // SendCMD echo of 02 03 10: length 0B, checksum over all bytes.
  Bytes cmd = {0x00, 0x0B, 0x00, 0x01, 0xFB, 0x00, 0x01, 0x02, 0x03, 0x10};
  uint8_t x = 0;
  for (uint8_t b : cmd) x ^= b;
  cmd.push_back(x);
  auto a = HidExchange(sim, cmd);
  ASSERT_TRUE(a.has_value());
  EXPECT_EQ((Bytes{0x00, 0x0A, 0x00, 0x01, 0xFB, 0x00, 0x02, 0x03, 0x10, 0xE1}), *a);
}

TEST(SimHid, NoAnswerToABadFrameOrAnotherReader) {
  Simulator sim;
  EXPECT_FALSE(HidExchange(sim, {0x00, 0x06, 0x00, 0x01, 0x03, 0x05}).has_value());
  EXPECT_FALSE(HidExchange(sim, {0x00, 0x07, 0x00, 0x01, 0x03, 0x03}).has_value());
  EXPECT_FALSE(HidExchange(sim, {0x00, 0x06, 0x00, 0x02, 0x03, 0x07}).has_value());
}
