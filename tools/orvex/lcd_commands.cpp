// SPDX-License-Identifier: MIT
// Subcommands on the display reader's 128 x 64 LCD: lcd text, lcd image
// (a PNG scaled, dithered to one bit and sent as the reader's bitmap) and
// lcd clock.
#include <png.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "commands.h"

namespace orvextool {

namespace {

constexpr int kWidth = 128, kHeight = 64, kLines = kHeight / 8;
// Characters of one text command, and the width of one in the small font.
constexpr size_t kCharsPerCommand = 16;
constexpr int kCharWidth = 6;
// Config bits of the text and image commands.
constexpr unsigned char kInvert = 0x01, kClearLine = 0x02;

// The display reader's results: 1 done, 0 no echo, others refusals.
void CheckDisplay(int rc, const std::string& what) {
  if (rc == 1) return;
  if (rc == -1)
    throw Failure(what + ": " +
                  (LastLinkFailure().empty() ? "the reader's answer was not one the command takes"
                                             : LastLinkFailure()) +
                  " (is it the display reader? see --sim-display)");
  if (rc == 0) throw Failure(what + ": the reader answered without echoing the command");
  if (rc == -2) throw Failure(what + ": too large for the display");
  throw Failure(what + ": the reader refused it (status " + std::to_string(rc) + ")");
}

int FromBcd(uint8_t b) { return (b >> 4) * 10 + (b & 0x0F); }
uint8_t ToBcd(int v) { return static_cast<uint8_t>((v / 10) << 4 | (v % 10)); }
bool IsBcd(uint8_t b, int lo, int hi) {
  return (b >> 4) < 10 && (b & 0x0F) < 10 && FromBcd(b) >= lo && FromBcd(b) <= hi;
}

// Reads the reader's clock record (year, month, day, hour, minute, second
// in BCD, weekday 1 to 7, a zero byte). It also tells the display reader
// from the others: they answer the display command code with something
// else, or refuse it in a way that reads as done with a zeroed record.
Bytes ReadClock(Context& ctx) {
  unsigned char clock[ORVEX_MAX_ANSWER] = {};
  CheckDisplay(ctx.ov.OV_Config_Clock_Get(ctx.reader_id, clock), "reading the clock");
  if (!IsBcd(clock[0], 0, 99) || !IsBcd(clock[1], 1, 12) || !IsBcd(clock[2], 1, 31) ||
      !IsBcd(clock[3], 0, 23) || !IsBcd(clock[4], 0, 59) || !IsBcd(clock[5], 0, 59) || clock[6] < 1 ||
      clock[6] > 7)
    throw Failure("the reader has no LCD: it gave no clock record (" + Hex(clock, 8) +
                  "); is it the display reader? (the simulated one: --sim-display)");
  return Bytes(clock, clock + 8);
}

struct TextOptions {
  std::string text;
  int line = 0, column = 0;
  bool invert = false, keep = false;
};

void Text(Context& ctx, const TextOptions& o) {
  if (o.text.empty()) throw Failure("lcd text: no text given", 2);
  // The text in pieces of one command each, one display line apiece.
  std::vector<std::string> pieces;
  size_t per_line = std::min(kCharsPerCommand, static_cast<size_t>((kWidth - o.column) / kCharWidth));
  if (per_line == 0) throw Failure("lcd text: column " + std::to_string(o.column) + " leaves no room", 2);
  for (size_t at = 0; at < o.text.size(); at += per_line) pieces.push_back(o.text.substr(at, per_line));
  if (o.line + static_cast<int>(pieces.size()) > kLines)
    throw Failure("lcd text: the text needs " + std::to_string(pieces.size()) + " lines from line " +
                  std::to_string(o.line) + "; the display has " + std::to_string(kLines), 2);
  ctx.Open();
  ReadClock(ctx);
  if (!o.keep) CheckDisplay(ctx.ov.OV_ClearLCDByLine(ctx.reader_id, 0xFF), "clearing the display");
  unsigned char config = static_cast<unsigned char>(kClearLine | (o.invert ? kInvert : 0));
  for (size_t i = 0; i < pieces.size(); ++i) {
    Bytes bytes(pieces[i].begin(), pieces[i].end());
    CheckDisplay(ctx.ov.OV_ShowEnText(ctx.reader_id, config, static_cast<unsigned char>(o.line + i),
                                      static_cast<unsigned char>(o.column),
                                      static_cast<unsigned char>(bytes.size()), bytes.data()),
                 "showing text on line " + std::to_string(o.line + i));
  }
  ctx.out().doc()["shown"] = o.text;
  ctx.out().doc()["lines"] = pieces.size();
  ctx.Done("display shows \"" + o.text + "\" on " + std::to_string(pieces.size()) + " line(s)");
}

// A grey image, one byte a pixel, 0 black and 255 white.
struct Grey {
  int width = 0, height = 0;
  std::vector<uint8_t> pixels;
};

Grey LoadPng(const std::string& path) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str()))
    throw Failure("cannot read the image " + path + ": " + image.message, 2);
  // Transparent pixels blend into a white ground.
  image.format = PNG_FORMAT_GRAY;
  png_color white = {255, 255, 255};
  Grey g;
  g.width = static_cast<int>(image.width);
  g.height = static_cast<int>(image.height);
  g.pixels.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, &white, g.pixels.data(), 0, nullptr)) {
    std::string message = image.message;
    png_image_free(&image);
    throw Failure("cannot decode the image " + path + ": " + message, 2);
  }
  return g;
}

// Scales the image to fit the display, keeping its proportions (each
// display pixel the mean of the image pixels it covers), and centres it on
// a white ground.
std::vector<float> FitToDisplay(const Grey& g) {
  double scale = std::min(static_cast<double>(kWidth) / g.width, static_cast<double>(kHeight) / g.height);
  int w = std::max(1, std::min(kWidth, static_cast<int>(g.width * scale + 0.5)));
  int h = std::max(1, std::min(kHeight, static_cast<int>(g.height * scale + 0.5)));
  int x0 = (kWidth - w) / 2, y0 = (kHeight - h) / 2;
  std::vector<float> out(static_cast<size_t>(kWidth * kHeight), 255.0f);
  for (int y = 0; y < h; ++y) {
    int sy0 = y * g.height / h, sy1 = std::max(sy0 + 1, (y + 1) * g.height / h);
    for (int x = 0; x < w; ++x) {
      int sx0 = x * g.width / w, sx1 = std::max(sx0 + 1, (x + 1) * g.width / w);
      double sum = 0;
      for (int sy = sy0; sy < sy1; ++sy)
        for (int sx = sx0; sx < sx1; ++sx) sum += g.pixels[static_cast<size_t>(sy * g.width + sx)];
      out[static_cast<size_t>((y0 + y) * kWidth + x0 + x)] =
          static_cast<float>(sum / ((sy1 - sy0) * (sx1 - sx0)));
    }
  }
  return out;
}

// Floyd-Steinberg error diffusion to one bit, then the reader's bitmap
// layout: for each 8-pixel row from the top, one byte per column, bit 0 the
// top pixel; a set bit is a dark (lit) pixel.
Bytes DitherToBitmap(std::vector<float> grey) {
  Bytes bitmap(static_cast<size_t>(kWidth * kLines), 0);
  auto at = [&grey](int x, int y) -> float& { return grey[static_cast<size_t>(y * kWidth + x)]; };
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      float old = at(x, y);
      bool dark = old < 128.0f;
      float err = old - (dark ? 0.0f : 255.0f);
      if (dark) bitmap[static_cast<size_t>((y / 8) * kWidth + x)] |= static_cast<uint8_t>(1u << (y % 8));
      if (x + 1 < kWidth) at(x + 1, y) += err * 7 / 16;
      if (y + 1 < kHeight) {
        if (x > 0) at(x - 1, y + 1) += err * 3 / 16;
        at(x, y + 1) += err * 5 / 16;
        if (x + 1 < kWidth) at(x + 1, y + 1) += err * 1 / 16;
      }
    }
  }
  return bitmap;
}

struct ImageOptions {
  std::string file;
  bool invert = false;
};

void Image(Context& ctx, const ImageOptions& o) {
  Grey g = LoadPng(o.file);
  Bytes bitmap = DitherToBitmap(FitToDisplay(g));
  int lit = 0;
  for (uint8_t b : bitmap)
    for (int i = 0; i < 8; ++i) lit += (b >> i) & 1;
  ctx.Open();
  ReadClock(ctx);
  CheckDisplay(ctx.ov.OV_ShowImage(ctx.reader_id, o.invert ? kInvert : 0, 0, 0, kWidth, kHeight, bitmap.data()),
               "showing the image");
  Json& d = ctx.out().doc();
  d["file"] = o.file;
  d["source_width"] = g.width;
  d["source_height"] = g.height;
  d["dark_pixels"] = lit;
  ctx.Done("display shows " + o.file + " (" + std::to_string(g.width) + " x " +
                 std::to_string(g.height) + " scaled to fit 128 x 64, " + std::to_string(lit) +
                 " dark pixels)");
}

const char* const kWeekdays[] = {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"};

// The reader's clock record: year (20yy), month, day, hour, minute, second
// in BCD, the weekday (1 Monday to 7 Sunday), and a zero byte.
Bytes ClockRecord(const std::tm& tm) {
  int weekday = tm.tm_wday == 0 ? 7 : tm.tm_wday;
  return {ToBcd(tm.tm_year % 100), ToBcd(tm.tm_mon + 1), ToBcd(tm.tm_mday), ToBcd(tm.tm_hour),
          ToBcd(tm.tm_min),        ToBcd(tm.tm_sec),     static_cast<uint8_t>(weekday), 0x00};
}

std::tm ParseDateTime(const std::string& text) {
  std::tm tm{};
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  char end = 0;
  if (std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%c", &y, &mo, &d, &h, &mi, &s, &end) != 6 &&
      std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d%c", &y, &mo, &d, &h, &mi, &s, &end) != 6)
    throw Failure("lcd clock --set: \"" + text + "\" is not YYYY-MM-DD HH:MM:SS", 2);
  if (y < 2000 || y > 2099 || mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || s > 59 ||
      h < 0 || mi < 0 || s < 0)
    throw Failure("lcd clock --set: \"" + text + "\" is out of range (years 2000 to 2099)", 2);
  tm.tm_year = y - 1900;
  tm.tm_mon = mo - 1;
  tm.tm_mday = d;
  tm.tm_hour = h;
  tm.tm_min = mi;
  tm.tm_sec = s;
  // Normalises and fills in the weekday; a day past the month's end is refused.
  std::tm check = tm;
  timegm(&check);
  if (check.tm_mday != d) throw Failure("lcd clock --set: \"" + text + "\" is no date", 2);
  return check;
}

struct ClockOptions {
  std::string set;
  bool set_now = false;
};

void Clock(Context& ctx, const ClockOptions& o) {
  Bytes record;
  if (!o.set.empty()) {
    record = ClockRecord(ParseDateTime(o.set));
  } else if (o.set_now) {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    record = ClockRecord(tm);
  }
  ctx.Open();
  if (!record.empty()) {
    ReadClock(ctx);  // is it the display reader at all?
    CheckDisplay(ctx.ov.OV_Config_Clock_Set(ctx.reader_id, record.data()), "setting the clock");
  }
  Bytes clock = ReadClock(ctx);
  char text[32];
  std::snprintf(text, sizeof text, "20%02d-%02d-%02d %02d:%02d:%02d", FromBcd(clock[0]), FromBcd(clock[1]),
                FromBcd(clock[2]), FromBcd(clock[3]), FromBcd(clock[4]), FromBcd(clock[5]));
  std::string weekday = kWeekdays[clock[6] - 1];
  Json& d = ctx.out().doc();
  d["clock"] = text;
  d["weekday"] = weekday;
  if (!record.empty()) d["set"] = true;
  ctx.Done(std::string(record.empty() ? "" : "clock set; ") + "reader clock " + text + " (" + weekday + ")");
}

}  // namespace

void AddLcdCommands(CLI::App& app, Context& ctx) {
  auto* lcd = app.add_subcommand("lcd", "the display reader's LCD and clock (see --sim-display)");
  lcd->require_subcommand(1);

  static TextOptions text;
  text = TextOptions();
  auto* t = lcd->add_subcommand("text", "show TEXT in the small font, 16 characters a line");
  t->add_option("TEXT", text.text, "the text; longer text goes on to the next lines")->required();
  t->add_option("-l,--line", text.line, "first line, 0 to 7 (8-pixel rows; default 0)")->check(CLI::Range(0, 7));
  t->add_option("-c,--column", text.column, "first column in pixels, 0 to 127 (default 0)")
      ->check(CLI::Range(0, 127));
  t->add_flag("-i,--invert", text.invert, "light text on a dark ground");
  t->add_flag("-k,--keep", text.keep, "do not clear the display first");
  ctx.Register(t, [&ctx] { Text(ctx, text); });

  static ImageOptions image;
  image = ImageOptions();
  auto* i = lcd->add_subcommand("image", "show a PNG image, scaled to fit 128 x 64 and dithered to 1 bit");
  i->add_option("FILE", image.file, "the PNG file")->required();
  i->add_flag("-i,--invert", image.invert, "show dark pixels light and light ones dark");
  ctx.Register(i, [&ctx] { Image(ctx, image); });

  static ClockOptions clock;
  clock = ClockOptions();
  auto* c = lcd->add_subcommand("clock", "read the reader's clock, or set it first");
  auto* set = c->add_option("-s,--set", clock.set, "set the clock to \"YYYY-MM-DD HH:MM:SS\"");
  c->add_flag("--set-now", clock.set_now, "set the clock to this computer's local time")->excludes(set);
  ctx.Register(c, [&ctx] { Clock(ctx, clock); });
}

}  // namespace orvextool
