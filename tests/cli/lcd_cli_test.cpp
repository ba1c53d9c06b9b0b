// SPDX-License-Identifier: MIT
// The orvex program's lcd subcommands on the simulated display reader,
// checked by what its LCD shows at the end (--sim-screen).
#include <png.h>

#include <algorithm>

#include "cli_support.h"

namespace {

using namespace clitest;

// A grey PNG of width x height, pixel value from shade(x, y).
template <typename Shade>
void WritePng(const std::string& path, int width, int height, Shade shade) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = PNG_FORMAT_GRAY;
  std::vector<png_byte> pixels(static_cast<size_t>(width * height));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) pixels[static_cast<size_t>(y * width + x)] = shade(x, y);
  ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr)) << image.message;
}

std::vector<std::string> ScreenRows(const std::string& screen) {
  std::vector<std::string> rows;
  std::istringstream in(screen);
  for (std::string row; std::getline(in, row);) rows.push_back(row);
  return rows;
}

size_t Lit(const std::string& s) { return static_cast<size_t>(std::count(s.begin(), s.end(), '#')); }

class Lcd : public Cli {
 protected:
  Result RunLcd(std::vector<std::string> args) {
    args.insert(args.begin(), {"--sim-display", "--sim-screen", Path("screen.txt")});
    return Run(args);
  }
  std::vector<std::string> Screen() { return ScreenRows(Slurp(Path("screen.txt"))); }
};

TEST_F(Lcd, ImageIsScaledToFitAndKeepsItsEdges) {
  // 256 x 128, left half black: exactly the left 64 columns lit.
  WritePng(Path("half.png"), 256, 128, [](int x, int) { return static_cast<png_byte>(x < 128 ? 0 : 255); });
  Result r = RunLcd({"lcd", "image", Path("half.png")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "display shows " + Path("half.png") +
                       " (256 x 128 scaled to fit 128 x 64, 4096 dark pixels) (simulated reader)\n");
  auto rows = Screen();
  ASSERT_EQ(rows.size(), 64u);
  for (const auto& row : rows) EXPECT_EQ(row, std::string(64, '#') + std::string(64, '.'));
}

TEST_F(Lcd, GreyIsDitheredAndASquareImageIsCentred) {
  // A mid grey square: 64 x 64 on the display, centred, about half lit.
  WritePng(Path("grey.png"), 100, 100, [](int, int) { return static_cast<png_byte>(128); });
  Result r = RunLcd({"lcd", "image", Path("grey.png"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["source_width"], 100);
  int dark = j["dark_pixels"];
  EXPECT_GT(dark, 64 * 64 * 4 / 10);
  EXPECT_LT(dark, 64 * 64 * 6 / 10);
  auto rows = Screen();
  ASSERT_EQ(rows.size(), 64u);
  size_t total = 0;
  for (const auto& row : rows) {
    EXPECT_EQ(row.substr(0, 32), std::string(32, '.'));
    EXPECT_EQ(row.substr(96), std::string(32, '.'));
    // Error diffusion: no row of the grey area is all dark or all light.
    size_t lit = Lit(row.substr(32, 64));
    EXPECT_GT(lit, 16u);
    EXPECT_LT(lit, 48u);
    total += Lit(row);
  }
  EXPECT_EQ(total, static_cast<size_t>(dark));
}

TEST_F(Lcd, TextGoesOnTheLinesAsked) {
  Result r = RunLcd({"lcd", "text", "HELLO"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "display shows \"HELLO\" on 1 line(s) (simulated reader)\n");
  auto rows = Screen();
  ASSERT_EQ(rows.size(), 64u);
  size_t top = 0;
  for (int y = 0; y < 8; ++y) {
    top += Lit(rows[static_cast<size_t>(y)]);
    EXPECT_EQ(rows[static_cast<size_t>(y)].substr(30), std::string(98, '.'));  // 5 characters of 6 pixels
  }
  EXPECT_GT(top, 20u);
  for (int y = 8; y < 64; ++y) EXPECT_EQ(Lit(rows[static_cast<size_t>(y)]), 0u) << y;

  // 20 characters from line 2: 16 on line 2, 4 on line 3.
  r = RunLcd({"lcd", "text", "ABCDEFGHIJKLMNOPQRST", "--line", "2", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["lines"], 2);
  rows = Screen();
  size_t line2 = 0, line3 = 0, rest = 0;
  for (int y = 0; y < 64; ++y) {
    size_t lit = Lit(rows[static_cast<size_t>(y)]);
    if (y >= 16 && y < 24) line2 += lit;
    else if (y >= 24 && y < 32) {
      line3 += lit;
      EXPECT_EQ(rows[static_cast<size_t>(y)].substr(24), std::string(104, '.'));
    } else rest += lit;
  }
  EXPECT_GT(line2, line3);
  EXPECT_GT(line3, 0u);
  EXPECT_EQ(rest, 0u);
}

TEST_F(Lcd, InvertedTextIsLightOnDark) {
  Result r = RunLcd({"lcd", "text", "A", "--invert"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto rows = Screen();
  ASSERT_EQ(rows.size(), 64u);
  size_t line0 = 0;
  for (int y = 0; y < 8; ++y) line0 += Lit(rows[static_cast<size_t>(y)].substr(0, 6));
  // More of the character cell is dark ground than letter.
  EXPECT_GT(line0, 24u);
}

TEST_F(Lcd, ClockSetAndRead) {
  Result r = RunLcd({"lcd", "clock", "--set", "2026-01-02 03:04:05"});
  ASSERT_EQ(r.status, 0) << r.err;
  // Read back at once: the same minute (the second may have moved on).
  EXPECT_EQ(r.out.substr(0, 40), "clock set; reader clock 2026-01-02 03:04") << r.out;
  EXPECT_NE(r.out.find("(Friday) (simulated reader)\n"), std::string::npos) << r.out;
  r = Run({"--sim-display", "lcd", "clock", "-j"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["clock"].get<std::string>().size(), 19u);
  EXPECT_EQ(j["clock"].get<std::string>().substr(0, 2), "20");
  EXPECT_FALSE(j.contains("set"));
}

TEST_F(Lcd, ErrorsInWords) {
  Result r = Run({"--sim-display", "lcd", "clock", "--set", "2026-02-30 00:00:00"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("is no date"), std::string::npos) << r.err;
  r = Run({"lcd", "clock", "--set", "yesterday"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("is not YYYY-MM-DD HH:MM:SS"), std::string::npos) << r.err;
  r = Run({"--sim-display", "lcd", "image", Path("missing.png")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("cannot read the image " + Path("missing.png")), std::string::npos) << r.err;
  Write(Path("not.png"), "this is no PNG");
  r = Run({"--sim-display", "lcd", "image", Path("not.png"), "--json"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.Json()["error"].get<std::string>().find("cannot read the image"), std::string::npos);
  r = Run({"--sim-display", "lcd", "text", std::string(17 * 8, 'x')});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("the display has 8"), std::string::npos) << r.err;
  // The card reader model has no LCD: it answers the display's command
  // code as something else.
  for (const char* sub : {"text", "image", "clock"}) {
    std::vector<std::string> args = {"lcd", sub};
    if (sub != std::string("clock")) args.push_back(sub == std::string("text") ? "HELLO" : Path("p.png"));
    if (sub == std::string("image")) WritePng(Path("p.png"), 8, 8, [](int, int) { return png_byte{0}; });
    r = Run(args);
    EXPECT_EQ(r.status, 1) << sub;
    EXPECT_NE(r.err.find("the reader has no LCD: it gave no clock record"), std::string::npos) << r.err;
  }
  r = Run({"--sim-screen", Path("s.txt"), "lcd", "clock"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--sim-screen needs the simulated display reader"), std::string::npos) << r.err;
}

}  // namespace
