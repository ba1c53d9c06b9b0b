// SPDX-License-Identifier: MIT
// The display reader: text and images drawn into the 128 x 64 framebuffer,
// the flash, the clock, the forms, the backlight and the PNG picture.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "orvexsim/display.h"
#include "orvexsim/font.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

class DisplayTest : public ::testing::Test {
 protected:
  DisplayTest() : sim(ReaderModel::kDisplayReader), lcd(*sim.display()) {}
  Reply Lcd(const Bytes& d) { return sim.Handle(1, 0xC3, d).value_or(Reply::Fail(0xFF)); }
  // Is the glyph of c drawn with its top-left corner at (x, y)?
  bool GlyphAt(uint8_t c, int x, int y, int scale = 1) {
    for (int r = 0; r < 8 * scale; ++r)
      for (int col = 0; col < 6 * scale; ++col) {
        int gx = col / scale;
        bool want = gx < 5 && ((font::Row(c, r / scale) >> (4 - gx)) & 1);
        if (lcd.Pixel(x + col, y + r) != want) return false;
      }
    return true;
  }
  int LitPixels() {
    int n = 0;
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 128; ++x) n += lcd.Pixel(x, y);
    return n;
  }
  Simulator sim;
  Display& lcd;
};

}  // namespace

TEST(SimFont, EveryPrintableGlyphButSpaceHasPixels) {
  for (int c = 0x21; c <= 0x7E; ++c) {
    int lit = 0;
    for (int r = 0; r < 7; ++r) lit += font::Row(static_cast<uint8_t>(c), r) != 0;
    EXPECT_GT(lit, 0) << char(c);
  }
  for (int r = 0; r < 7; ++r) EXPECT_EQ(0, font::Row(' ', r));
  EXPECT_EQ(0x0E, font::Row('A', 0));
  EXPECT_EQ(0x1F, font::Row('A', 4));
}

TEST_F(DisplayTest, StartsBlankAndAnswersWithTheEcho) {
  EXPECT_EQ(0, LitPixels());
  EXPECT_EQ((Bytes{0x22, 0x00}), Lcd({0x22}).data);  // font
}

TEST_F(DisplayTest, ShowsEnglishTextInTheSmallFont) {
  EXPECT_EQ((Bytes{0x2C}), Lcd({0x2C, 0x00, 1, 10, 'O', 'K'}).data);
  EXPECT_TRUE(GlyphAt('O', 10, 8));
  EXPECT_TRUE(GlyphAt('K', 16, 8));
  EXPECT_FALSE(lcd.Pixel(9, 8));
  EXPECT_EQ(status::kBadParameter, Lcd({0x2C, 0x00, 8, 0, 'X'}).status);  // no line 8
  Bytes long_text = {0x2C, 0x00, 0, 0};
  long_text.insert(long_text.end(), 17, 'x');
  EXPECT_EQ(status::kBadParameter, Lcd(long_text).status);
}

TEST_F(DisplayTest, ShowTextFollowsTheFontSettingAndInverts) {
  ASSERT_EQ(status::kOk, Lcd({0x22, 0x01}).status);
  ASSERT_EQ(status::kOk, Lcd({0x29, 0x00, 2, 0, 'H'}).status);
  EXPECT_TRUE(GlyphAt('H', 0, 16, 2));
  ASSERT_EQ(status::kOk, Lcd({0x2C, Display::kInvert, 6, 64, ' '}).status);
  for (int x = 64; x < 70; ++x) EXPECT_TRUE(lcd.Pixel(x, 50)) << x;
  // Clearing the line first.
  ASSERT_EQ(status::kOk, Lcd({0x2C, Display::kClearLine, 6, 0, ' '}).status);
  EXPECT_FALSE(lcd.Pixel(64, 50));
}

TEST_F(DisplayTest, ShowsAnImageInPageLayout) {
  // 3 columns, 2 rows: bit 0 of each byte is the top pixel of its row.
  Bytes img = {0x2B, 0x00, 3, 100, 3, 2, 0x01, 0x00, 0x80, 0x00, 0xFF, 0x00};
  ASSERT_EQ(status::kOk, Lcd(img).status);
  EXPECT_TRUE(lcd.Pixel(100, 24));
  EXPECT_TRUE(lcd.Pixel(102, 31));
  for (int y = 32; y < 40; ++y) EXPECT_TRUE(lcd.Pixel(101, y));
  EXPECT_EQ(1 + 1 + 8, LitPixels());
  EXPECT_EQ(status::kBadParameter, Lcd({0x2B, 0x00, 0, 0, 2, 1, 0xFF}).status);  // one byte short
  // A full screen.
  Bytes full = {0x2B, 0x00, 0, 0, 128, 8};
  full.insert(full.end(), 1024, 0xFF);
  ASSERT_EQ(status::kOk, Lcd(full).status);
  EXPECT_EQ(128 * 64, LitPixels());
}

TEST_F(DisplayTest, FlashHoldsImagesToShow) {
  // Write at 0x012345 (least significant byte first), read back.
  Bytes w = {0x00, 0x45, 0x23, 0x01, 0x00};
  for (int i = 0; i < 16; ++i) w.push_back(static_cast<uint8_t>(i % 2 ? 0xF0 : 0x0F));
  ASSERT_EQ(status::kOk, Lcd(w).status);
  EXPECT_EQ(Concat({0x01}, Slice(w, 5)), Lcd({0x01, 0x45, 0x23, 0x01, 0x00, 16, 0}).data);
  EXPECT_EQ((Bytes{0x01, 0xFF}), Lcd({0x01, 0x00, 0x00, 0x00, 0x00, 1, 0}).data);  // erased flash
  // 8 x 16 pixels from that address.
  ASSERT_EQ(status::kOk, Lcd({0x2A, 0x00, 0, 0, 8, 16, 0x45, 0x23, 0x01, 0x00}).status);
  EXPECT_TRUE(lcd.Pixel(0, 0));
  EXPECT_FALSE(lcd.Pixel(0, 4));
  EXPECT_TRUE(lcd.Pixel(1, 4));
  EXPECT_TRUE(lcd.Pixel(7, 12));
  EXPECT_EQ(status::kBadParameter, Lcd({0x2A, 0x00, 0, 0, 8, 12, 0x45, 0x23, 0x01, 0x00}).status);
  // The configuration flash is separate.
  ASSERT_EQ(status::kOk, Lcd({0x03, 0x10, 0x00, 0x00, 0x00, 0xAB}).status);
  EXPECT_EQ((Bytes{0x04, 0xAB}), Lcd({0x04, 0x10, 0x00, 0x00, 0x00, 1, 0}).data);
  EXPECT_EQ((Bytes{0x01, 0xFF}), Lcd({0x01, 0x10, 0x00, 0x00, 0x00, 1, 0}).data);
}

TEST_F(DisplayTest, ClockRunsFromTheTimeSet) {
  // 2026-11-22 (a Sunday) 10:30:00.
  ASSERT_EQ(status::kOk, Lcd({0x10, 0x26, 0x11, 0x22, 0x10, 0x30, 0x00, 0x07, 0x00}).status);
  Bytes c = Lcd({0x10}).data;
  ASSERT_EQ(9u, c.size());
  EXPECT_EQ((Bytes{0x10, 0x26, 0x11, 0x22, 0x10, 0x30}), Slice(c, 0, 6));
  EXPECT_LE(c[6], 0x02);
  EXPECT_EQ(0x07, c[7]);
  EXPECT_EQ(status::kBadParameter, Lcd({0x10, 0x26, 0x13, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00}).status);
  EXPECT_EQ(status::kBadParameter, Lcd({0x10, 0x26, 0x1A, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00}).status);
}

TEST_F(DisplayTest, RunningFormShowsTimeDateAndText) {
  ASSERT_EQ(status::kOk, Lcd({0x10, 0x26, 0x11, 0x22, 0x10, 0x30, 0x00, 0x07, 0x00}).status);
  ASSERT_EQ(status::kOk, Lcd({0x21, 1, 7, 0}).status);
  EXPECT_TRUE(GlyphAt('2', 0, 56));
  EXPECT_TRUE(GlyphAt('-', 24, 56));
  EXPECT_TRUE(GlyphAt('1', 30, 56));
  EXPECT_EQ((Bytes{0x21, 1, 7, 0}), Lcd({0x21}).data);
  Bytes text = {0x26};
  const char t[] = "HELLO";
  text.insert(text.end(), t, t + 5);
  text.insert(text.end(), 59, ' ');
  ASSERT_EQ(status::kOk, Lcd({0x24, Display::kFormText, 0, 0, 0, 2, 0}).status);
  ASSERT_EQ(status::kOk, Lcd(text).status);
  EXPECT_TRUE(GlyphAt('H', 0, 16));
  EXPECT_TRUE(GlyphAt('O', 24, 16));
  EXPECT_EQ(Slice(text, 1), Slice(Lcd({0x26}).data, 1));
  EXPECT_EQ((Bytes{0x24, Display::kFormText, 0, 0, 0, 2, 0}), Lcd({0x24}).data);
  EXPECT_EQ(status::kBadParameter, Lcd({0x26, 'x'}).status);  // texts are 64 bytes
}

TEST_F(DisplayTest, PowerOnFormGivesWayToTheRunningForm) {
  // Power-on form: an 8 x 8 block for 1 second; running form: nothing.
  ASSERT_EQ(status::kOk, Lcd({0x23, Display::kFormImage, 1, 8, 1, 0, 0}).status);
  Bytes img = {0x27};
  img.insert(img.end(), 8, 0xFF);
  ASSERT_EQ(status::kOk, Lcd(img).status);
  EXPECT_EQ(0, LitPixels());  // shown only at the next power-on
  {
    auto lock = sim.Lock();
    lcd.PowerOn();
  }
  EXPECT_EQ(64, LitPixels());
  EXPECT_FALSE(lcd.showing_running_form());
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  sim.Tick();
  EXPECT_TRUE(lcd.showing_running_form());
  EXPECT_EQ(0, LitPixels());
}

TEST_F(DisplayTest, ClearByLineAndBacklight) {
  Bytes full = {0x2B, 0x00, 0, 0, 128, 8};
  full.insert(full.end(), 1024, 0xFF);
  ASSERT_EQ(status::kOk, Lcd(full).status);
  ASSERT_EQ(status::kOk, Lcd({0x2D, 0x81}).status);  // lines 0 and 7
  EXPECT_EQ(128 * 48, LitPixels());
  EXPECT_FALSE(lcd.Pixel(5, 3));
  EXPECT_TRUE(lcd.Pixel(5, 8));
  EXPECT_TRUE(lcd.backlight());
  uint64_t g = lcd.generation();
  ASSERT_EQ(status::kOk, Lcd({0x2D, 0x00, 0x00}).status);
  EXPECT_FALSE(lcd.backlight());
  EXPECT_NE(g, lcd.generation());
  EXPECT_EQ(status::kBadParameter, Lcd({0x2D, 0x03, 0x00}).status);
}

TEST_F(DisplayTest, ListenerHearsOnlyChanges) {
  int calls = 0;
  sim.set_display_listener([&](const Display&) { ++calls; });
  EXPECT_EQ(1, calls);
  Lcd({0x2C, 0x00, 0, 0, 'A'});
  EXPECT_EQ(2, calls);
  Lcd({0x2C, 0x00, 0, 0, 'A'});  // the same pixels again
  EXPECT_EQ(2, calls);
  Lcd({0x22});
  EXPECT_EQ(2, calls);
}

TEST_F(DisplayTest, WritesAPng) {
  Lcd({0x2C, 0x00, 0, 0, 'P', 'N', 'G'});
  std::string path = ::testing::TempDir() + "/sim_lcd.png", error;
  ASSERT_TRUE(lcd.WritePng(path, error)) << error;
  std::ifstream in(path, std::ios::binary);
  Bytes head(24);
  in.read(reinterpret_cast<char*>(head.data()), 24);
  EXPECT_EQ((Bytes{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}), Slice(head, 0, 8));
  EXPECT_EQ((Bytes{'I', 'H', 'D', 'R'}), Slice(head, 12, 4));
  EXPECT_EQ(512u, Be32(head, 16));  // 4 x 128
  EXPECT_EQ(256u, Be32(head, 20));  // 4 x 64
  std::remove(path.c_str());
}

TEST(SimDisplay, CardReaderHasNoDisplay) {
  Simulator sim;
  EXPECT_EQ(nullptr, sim.display());
}
