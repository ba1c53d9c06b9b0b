// SPDX-License-Identifier: MIT
// The display reader through the public interface: text and images shown
// (compared with the framebuffer the same drawing gives), images from the
// reader's flash, the clock, the stored running form and its text.
#include <cstring>

#include "orvexsim/display.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::Display;

namespace {

class DisplayReaderTest : public SimTest {
 protected:
  DisplayReaderTest() : SimTest(orvexsim::ReaderModel::kDisplayReader) {}
  std::array<uint8_t, 1024> Screen() {
    auto lock = sim.Lock();
    return sim.display()->framebuffer();
  }
};

}  // namespace

TEST_F(DisplayReaderTest, ShowsEnglishText) {
  unsigned char text[] = "Orvex reader";
  ASSERT_EQ(1, ov.OV_ShowEnText(1, 0, 2, 4, 12, text));
  Display want;
  want.DrawText(2, 4, Bytes(text, text + 12), Display::kSmall, false);
  EXPECT_EQ(want.framebuffer(), Screen());
}

TEST_F(DisplayReaderTest, ShowTextUsesTheChosenFont) {
  ASSERT_EQ(1, ov.OV_Config_Font_Set(1, 1));
  unsigned char font = 9;
  ASSERT_EQ(1, ov.OV_Config_Font_Get(1, &font));
  EXPECT_EQ(1, font);
  // Twenty bytes given: the library sends the first 16.
  unsigned char text[] = "0123456789ABCDEFGHIJ";
  ASSERT_EQ(1, ov.OV_ShowText(1, 0, 4, 0, 20, text));
  Display want;
  want.DrawText(4, 0, Bytes(text, text + 16), Display::kLarge, false);
  EXPECT_EQ(want.framebuffer(), Screen());
}

TEST_F(DisplayReaderTest, ShowsAnImage) {
  unsigned char img[16 * 2];
  for (int i = 0; i < 32; ++i) img[i] = static_cast<unsigned char>(i * 37);
  ASSERT_EQ(1, ov.OV_ShowImage(1, 0, 3, 50, 16, 16, img));
  Display want;
  want.DrawImage(3, 50, 16, 2, Bytes(img, img + 32), false);
  EXPECT_EQ(want.framebuffer(), Screen());
}

TEST_F(DisplayReaderTest, ShowsAFullScreenImageInOneCommand) {
  std::array<uint8_t, 1024> img;
  for (size_t i = 0; i < img.size(); ++i) img[i] = static_cast<uint8_t>((i * 7) ^ (i >> 3));
  ASSERT_EQ(1, ov.OV_ShowImage(1, 0, 0, 0, 128, 64, img.data()));
  EXPECT_EQ(img, Screen());
  EXPECT_EQ(-2, ov.OV_ShowImage(1, 0, 0, 0, 128, 65, img.data()));
}

TEST_F(DisplayReaderTest, ShowsAnImageFromFlash) {
  unsigned char img[8 * 3];
  for (int i = 0; i < 24; ++i) img[i] = static_cast<unsigned char>(0xF0 ^ i);
  ASSERT_EQ(1, ov.OV_WriteFlash(1, 0x00012345, 24, img));
  int len = 0;
  unsigned char back[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_ReadFlash(1, 0x00012345, 24, &len, back));
  EXPECT_EQ(24, len);
  EXPECT_EQ(0, std::memcmp(img, back, 24));
  ASSERT_EQ(1, ov.OV_ShowImageFromFlash(1, 0, 1, 100, 8, 24, 0x00012345));
  Display want;
  want.DrawImage(1, 100, 8, 3, Bytes(img, img + 24), false);
  EXPECT_EQ(want.framebuffer(), Screen());
}

TEST_F(DisplayReaderTest, ClockSetAndRead) {
  unsigned char set[8] = {0x26, 0x11, 0x22, 0x10, 0x30, 0x00, 0x07, 0x00}, got[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_Config_Clock_Set(1, set));
  ASSERT_EQ(1, ov.OV_Config_Clock_Get(1, got));
  EXPECT_EQ(0, std::memcmp(set, got, 5));
  EXPECT_LE(got[5], 0x02);
}

TEST_F(DisplayReaderTest, RunningFormWithText) {
  ASSERT_EQ(1, ov.OV_Config_FormRun_Set(1, Display::kFormText, 0, 0, 16, 3, 0));
  unsigned char config, timespan, width, height, line, column;
  ASSERT_EQ(1, ov.OV_Config_FormRun_Get(1, &config, &timespan, &width, &height, &line, &column));
  EXPECT_EQ(Display::kFormText, config);
  EXPECT_EQ(16, height);  // sent as 2 rows of 8 pixels
  EXPECT_EQ(3, line);
  unsigned char text[] = "WELCOME";
  ASSERT_EQ(1, ov.OV_Config_TextRun_Set(1, 7, text));
  unsigned char len = 0, back[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_Config_TextRun_Get(1, &len, back));
  EXPECT_EQ(0, std::memcmp(text, back, 7));
  EXPECT_EQ(' ', back[63]);
  Display want;
  want.DrawText(3, 0, Bytes(text, text + 7), Display::kSmall, false);
  EXPECT_EQ(want.framebuffer(), Screen());
}

TEST_F(DisplayReaderTest, ClearByLineAndBackLight) {
  unsigned char text[] = "XXXXXXXXXXXXXXXX";
  ASSERT_EQ(1, ov.OV_ShowEnText(1, 0, 0, 0, 16, text));
  ASSERT_EQ(1, ov.OV_ShowEnText(1, 0, 1, 0, 16, text));
  ASSERT_EQ(1, ov.OV_ClearLCDByLine(1, 0x01));
  Display want;
  want.DrawText(1, 0, Bytes(text, text + 16), Display::kSmall, false);
  EXPECT_EQ(want.framebuffer(), Screen());
  ASSERT_EQ(1, ov.OV_ControlLCDBackLight(1, 0, 0));
  auto lock = sim.Lock();
  EXPECT_FALSE(sim.display()->backlight());
}
