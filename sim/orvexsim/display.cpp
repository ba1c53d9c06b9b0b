// SPDX-License-Identifier: MIT
#include "orvexsim/display.h"

#include <png.h>

#include <cstdio>
#include <ctime>

#include "orvexsim/font.h"

namespace orvexsim {
namespace {

uint8_t ToBcd(int v) { return static_cast<uint8_t>((v / 10) << 4 | (v % 10)); }
int FromBcd(uint8_t b, bool& ok) {
  if ((b >> 4) > 9 || (b & 0x0F) > 9) ok = false;
  return (b >> 4) * 10 + (b & 0x0F);
}

}  // namespace

Display::Display() { PowerOn(); }

bool Display::Pixel(int x, int y) const {
  if (x < 0 || x >= kWidth || y < 0 || y >= kHeight) return false;
  return (fb_[static_cast<size_t>((y / 8) * kWidth + x)] >> (y % 8)) & 1;
}

void Display::SetPixel(int x, int y, bool on) {
  if (x < 0 || x >= kWidth || y < 0 || y >= kHeight) return;
  uint8_t& b = fb_[static_cast<size_t>((y / 8) * kWidth + x)];
  uint8_t bit = static_cast<uint8_t>(1 << (y % 8));
  uint8_t nb = on ? (b | bit) : (b & ~bit);
  if (nb != b) {
    b = nb;
    Changed();
  }
}

std::string Display::Ascii() const {
  std::string s;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) s += Pixel(x, y) ? '#' : '.';
    s += '\n';
  }
  return s;
}

void Display::Clear() { ClearLines(0xFF); }

void Display::ClearLines(uint8_t mask) {
  for (int line = 0; line < kLines; ++line) {
    if (!((mask >> line) & 1)) continue;
    for (int x = 0; x < kWidth; ++x) {
      uint8_t& b = fb_[static_cast<size_t>(line * kWidth + x)];
      if (b) {
        b = 0;
        Changed();
      }
    }
  }
}

int Display::DrawText(int line, int column, const Bytes& text, Font f, bool invert) {
  const int scale = f == kLarge ? 2 : 1;
  const int cw = font::kCellWidth * scale, ch = font::kCellHeight * scale;
  int x0 = column;
  const int y0 = line * 8;
  for (uint8_t c : text) {
    for (int y = 0; y < ch; ++y) {
      uint8_t row = font::Row(c, y / scale);
      for (int x = 0; x < cw; ++x) {
        int gx = x / scale;
        bool lit = gx < font::kGlyphWidth && ((row >> (font::kGlyphWidth - 1 - gx)) & 1);
        SetPixel(x0 + x, y0 + y, lit != invert);
      }
    }
    x0 += cw;
  }
  return x0 - column;
}

void Display::DrawImage(int line, int column, int width, int rows, const Bytes& bitmap, bool invert) {
  for (int r = 0; r < rows; ++r) {
    for (int x = 0; x < width; ++x) {
      size_t i = static_cast<size_t>(r * width + x);
      uint8_t b = i < bitmap.size() ? bitmap[i] : 0;
      for (int bit = 0; bit < 8; ++bit) SetPixel(column + x, (line + r) * 8 + bit, (((b >> bit) & 1) != 0) != invert);
    }
  }
}

std::tm Display::Now() const {
  std::time_t t = SysClock::to_time_t(SysClock::now() + clock_offset_);
  std::tm tm{};
  gmtime_r(&t, &tm);
  return tm;
}

bool Display::SetClock(const Bytes& r) {
  if (r.size() != 8) return false;
  bool ok = true;
  std::tm tm{};
  tm.tm_year = 100 + FromBcd(r[0], ok);
  tm.tm_mon = FromBcd(r[1], ok) - 1;
  tm.tm_mday = FromBcd(r[2], ok);
  tm.tm_hour = FromBcd(r[3], ok);
  tm.tm_min = FromBcd(r[4], ok);
  tm.tm_sec = FromBcd(r[5], ok);
  if (!ok || tm.tm_mon < 0 || tm.tm_mon > 11 || tm.tm_mday < 1 || tm.tm_mday > 31 || tm.tm_hour > 23 ||
      tm.tm_min > 59 || tm.tm_sec > 59 || r[6] < 1 || r[6] > 7)
    return false;
  std::time_t set = timegm(&tm);
  clock_offset_ = std::chrono::duration_cast<std::chrono::seconds>(SysClock::from_time_t(set) - SysClock::now());
  DrawTimeAndDate();
  return true;
}

Bytes Display::Clock() const {
  std::tm tm = Now();
  int weekday = tm.tm_wday == 0 ? 7 : tm.tm_wday;
  return {ToBcd(tm.tm_year % 100), ToBcd(tm.tm_mon + 1), ToBcd(tm.tm_mday), ToBcd(tm.tm_hour),
          ToBcd(tm.tm_min),        ToBcd(tm.tm_sec),     static_cast<uint8_t>(weekday), 0x00};
}

void Display::SetBacklight(uint8_t config, uint8_t timespan) {
  bool on = config != 0;
  backlight_timed_ = config == 2;
  if (backlight_timed_) backlight_off_ = SysClock::now() + std::chrono::seconds(timespan);
  if (on != backlight_) {
    backlight_ = on;
    Changed();
  }
}

// The image at the form's place; the text below it (or at the form's line
// without an image), wrapped at the screen's width, trailing spaces dropped.
void Display::DrawForm(const Form& f) {
  Clear();
  int line = f.line;
  if ((f.config & kFormImage) && !f.image.empty()) {
    DrawImage(f.line, f.column, f.width, f.rows, f.image, false);
    line += f.rows;
  }
  if (f.config & kFormText) {
    Bytes t = f.text;
    while (!t.empty() && (t.back() == ' ' || t.back() == 0)) t.pop_back();
    Font fo = font == kLarge ? kLarge : kSmall;
    size_t per_line = static_cast<size_t>(kWidth / (font::kCellWidth * (fo == kLarge ? 2 : 1)));
    for (size_t i = 0; i < t.size() && line < kLines; i += per_line) {
      DrawText(line, 0, Slice(t, i, per_line), fo, false);
      line += fo == kLarge ? 2 : 1;
    }
  }
}

void Display::DrawTimeAndDate() {
  if (in_power_on_ || (!time_display.enable && !date_display.enable)) return;
  std::tm tm = Now();
  char t[40], d[40];
  std::snprintf(t, sizeof t, "%02d:%02d:%02d", tm.tm_hour, tm.tm_min, tm.tm_sec);
  std::snprintf(d, sizeof d, "%04d-%02d-%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
  std::string shown = std::string(time_display.enable ? t : "") + (date_display.enable ? d : "");
  if (shown == shown_time_) return;
  shown_time_ = shown;
  if (time_display.enable) DrawText(time_display.line, time_display.column, Bytes(t, t + 8), kSmall, false);
  if (date_display.enable) DrawText(date_display.line, date_display.column, Bytes(d, d + 10), kSmall, false);
}

void Display::PowerOn() {
  in_power_on_ = power_on.timespan > 0;
  if (!in_power_on_) {
    ShowRunningForm();
    return;
  }
  power_on_until_ = SysClock::now() + std::chrono::seconds(power_on.timespan);
  DrawForm(power_on);
}

void Display::ShowRunningForm() {
  in_power_on_ = false;
  DrawForm(running);
  shown_time_.clear();
  DrawTimeAndDate();
}

void Display::Tick() {
  auto now = SysClock::now();
  if (in_power_on_ && now >= power_on_until_) ShowRunningForm();
  DrawTimeAndDate();
  if (backlight_timed_ && now >= backlight_off_) {
    backlight_timed_ = false;
    if (backlight_) {
      backlight_ = false;
      Changed();
    }
  }
}

bool Display::WritePng(const std::string& path, std::string& error) const {
  constexpr int kScale = 4;
  const int w = kWidth * kScale, h = kHeight * kScale;
  std::string tmp = path + ".tmp";
  FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) {
    error = "cannot write " + tmp;
    return false;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!png || !info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    error = "cannot encode the PNG";
    return false;
  }
  png_init_io(png, f);
  png_set_IHDR(png, info, static_cast<png_uint_32>(w), static_cast<png_uint_32>(h), 8, PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const uint8_t lit[3] = {0x1E, 0x2A, 0x1E};
  const uint8_t ground_on[3] = {0x9E, 0xC2, 0x7A};
  const uint8_t ground_off[3] = {0x4A, 0x58, 0x40};
  const uint8_t* ground = backlight_ ? ground_on : ground_off;
  std::vector<uint8_t> row(static_cast<size_t>(w) * 3);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const uint8_t* c = Pixel(x / kScale, y / kScale) ? lit : ground;
      std::copy(c, c + 3, row.begin() + x * 3);
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  if (std::fclose(f) != 0 || std::rename(tmp.c_str(), path.c_str()) != 0) {
    error = "cannot write " + path;
    return false;
  }
  return true;
}

}  // namespace orvexsim
