// SPDX-License-Identifier: MIT
// The display reader's LCD and what drives it: a 128 x 64 monochrome
// framebuffer, the backlight, a flash store for images, a configuration
// flash, a clock, the font choice, and the two stored forms the reader shows
// by itself: the power-on form (for its time span after power-on) and the
// running form (then on), each with an image, a text, and on the running
// form the time and the date.
//
// Positions: a line is an 8-pixel row (0 to 7), a column a pixel (0 to
// 127). Bitmaps are in the LCD's page layout: for each 8-pixel row from the
// top, one byte per column, bit 0 the top pixel.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

#include "orvexsim/bytes.h"

namespace orvexsim {

class Display {
 public:
  static constexpr int kWidth = 128;
  static constexpr int kHeight = 64;
  static constexpr int kLines = kHeight / 8;
  static constexpr size_t kFlashSize = 1 << 20;
  static constexpr size_t kConfigFlashSize = 1 << 16;

  // Config bits of the immediate text and image commands.
  static constexpr uint8_t kInvert = 0x01;     // light pixels on a dark ground
  static constexpr uint8_t kClearLine = 0x02;  // clear the lines first
  // Config bits of a form.
  static constexpr uint8_t kFormImage = 0x01;
  static constexpr uint8_t kFormText = 0x02;

  // Fonts: 0 the 6 x 8 font, 1 the same doubled (12 x 16).
  enum Font : uint8_t { kSmall = 0, kLarge = 1 };

  struct Form {
    uint8_t config = 0;    // kFormImage | kFormText
    uint8_t timespan = 0;  // power-on form: seconds it stays
    uint8_t width = 0;     // image width in pixels
    uint8_t rows = 0;      // image height in 8-pixel rows
    uint8_t line = 0;
    uint8_t column = 0;
    Bytes text = Bytes(64, ' ');
    Bytes image;
  };
  struct Placement {
    uint8_t enable = 0;
    uint8_t line = 0;
    uint8_t column = 0;
  };

  Display();

  // ---- What the LCD shows ----
  bool Pixel(int x, int y) const;
  // 1024 bytes in page layout.
  const std::array<uint8_t, kWidth * kLines>& framebuffer() const { return fb_; }
  // The screen as 64 lines of 128 characters, '#' lit and '.' dark.
  std::string Ascii() const;
  // Changes whenever what the LCD shows changes (pixels or backlight).
  uint64_t generation() const { return generation_; }
  bool backlight() const { return backlight_; }
  bool WritePng(const std::string& path, std::string& error) const;

  // ---- Drawing ----
  void Clear();
  // Clears the lines whose bits are set in mask (bit 0 the top line).
  void ClearLines(uint8_t mask);
  // Draws text at (line, column); returns the width used in pixels.
  int DrawText(int line, int column, const Bytes& text, Font font, bool invert);
  // Draws a width x (rows x 8) bitmap in page layout at (line, column).
  void DrawImage(int line, int column, int width, int rows, const Bytes& bitmap, bool invert);

  // ---- Stored settings ----
  // The image flash, kFlashSize bytes erased (FF), made on first use: a
  // reader that never touches it costs no megabyte.
  Bytes& Flash() {
    if (flash_.empty()) flash_.assign(kFlashSize, 0xFF);
    return flash_;
  }
  Bytes config_flash = Bytes(kConfigFlashSize, 0xFF);
  Form power_on;
  Form running;
  Placement time_display;
  Placement date_display;
  uint8_t font = kSmall;

  // ---- The clock ----
  // 8 bytes: year (BCD, 20yy), month, day, hour, minute, second (BCD),
  // weekday (1 Monday to 7 Sunday), 00. False for a record that is no date.
  bool SetClock(const Bytes& record);
  Bytes Clock() const;

  // ---- Backlight: 0 off, 1 on, 2 on for timespan seconds ----
  void SetBacklight(uint8_t config, uint8_t timespan);

  // Power-on: the power-on form for its time span, then the running form.
  void PowerOn();
  // Shows the running form again (after its settings changed).
  void ShowRunningForm();
  // Lets time pass: the power-on form gives way, the shown time and date
  // follow the clock, a timed backlight goes out.
  void Tick();
  bool showing_running_form() const { return !in_power_on_; }

 private:
  using SysClock = std::chrono::system_clock;
  void SetPixel(int x, int y, bool on);
  void Changed() { ++generation_; }
  void DrawForm(const Form& f);
  void DrawTimeAndDate();
  std::tm Now() const;

  std::array<uint8_t, kWidth * kLines> fb_{};
  Bytes flash_;  // see Flash()
  uint64_t generation_ = 0;
  bool backlight_ = true;
  SysClock::time_point backlight_off_{};
  bool backlight_timed_ = false;
  std::chrono::seconds clock_offset_{0};
  bool in_power_on_ = false;
  SysClock::time_point power_on_until_{};
  std::string shown_time_;  // the time and date text last drawn
};

}  // namespace orvexsim
