// SPDX-License-Identifier: MIT
// Command 0xC3 on the display reader: its flash, clock, fonts, forms and
// the LCD. The first data byte is the sub-command, which the answer echoes;
// a setting and its reading share a sub-command and differ by whether
// parameters follow.
#include "orvexsim/display.h"
#include "orvexsim/families.h"

namespace orvexsim {
namespace {

class DisplayCommands : public Family {
 public:
  DisplayCommands(Context& ctx, std::shared_ptr<Display> lcd) : Family(ctx), lcd_(std::move(lcd)) {}

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd != 0xC3) return false;
    if (d.empty()) {
      r = Reply::Fail(status::kBadParameter);
      return true;
    }
    uint8_t sub = d[0];
    Bytes p = Slice(d, 1);
    std::optional<Bytes> out = Run(sub, p);
    r = out ? Reply::Ok(Concat({sub}, *out)) : Reply::Fail(status::kBadParameter);
    return true;
  }

  bool Tick() override {
    lcd_->Tick();
    return true;
  }

 private:
  // The result bytes after the echo, or nullopt for a refusal.
  std::optional<Bytes> Run(uint8_t sub, const Bytes& p) {
    Display& l = *lcd_;
    switch (sub) {
      case 0x00: return WriteFlash(l.Flash(), p);
      case 0x01: return ReadFlash(l.Flash(), p);
      case 0x03: return WriteFlash(l.config_flash, p);
      case 0x04: return ReadFlash(l.config_flash, p);
      case 0x10:
        if (p.empty()) return l.Clock();
        if (!l.SetClock(p)) return std::nullopt;
        return Bytes{};
      case 0x20: return Place(l.time_display, p);
      case 0x21: return Place(l.date_display, p);
      case 0x22:
        if (p.empty()) return Bytes{l.font};
        if (p.size() != 1 || p[0] > Display::kLarge) return std::nullopt;
        l.font = p[0];
        return Refreshed();
      case 0x23: return FormSettings(l.power_on, p, false);
      case 0x24: return FormSettings(l.running, p, true);
      case 0x25: return FormText(l.power_on, p, false);
      case 0x26: return FormText(l.running, p, true);
      case 0x27: return FormImage(l.power_on, p, false);
      case 0x28: return FormImage(l.running, p, true);
      case 0x29: return Text(p, static_cast<Display::Font>(l.font));
      case 0x2C: return Text(p, Display::kSmall);
      case 0x2A: return ImageFromFlash(p);
      case 0x2B: return Image(p);
      case 0x2D:
        if (p.size() == 1) {
          l.ClearLines(p[0]);
          return Bytes{};
        }
        if (p.size() != 2 || p[0] > 2) return std::nullopt;
        l.SetBacklight(p[0], p[1]);
        return Bytes{};
    }
    return std::nullopt;
  }

  // Address: 4 bytes, least significant first.
  static std::optional<Bytes> WriteFlash(Bytes& flash, const Bytes& p) {
    if (p.size() < 4) return std::nullopt;
    size_t addr = Le32(p, 0), n = p.size() - 4;
    if (addr > flash.size() || n > flash.size() - addr) return std::nullopt;
    std::copy(p.begin() + 4, p.end(), flash.begin() + static_cast<long>(addr));
    return Bytes{};
  }

  // Address (4) and count (2), least significant first.
  static std::optional<Bytes> ReadFlash(const Bytes& flash, const Bytes& p) {
    if (p.size() != 6) return std::nullopt;
    size_t addr = Le32(p, 0), n = Le16(p, 4);
    if (n == 0 || n > kMaxAnswerData - 1 || addr > flash.size() || n > flash.size() - addr) return std::nullopt;
    return Slice(flash, addr, n);
  }

  // A setting of the running form shows at once; the power-on form's at the
  // next power-on.
  std::optional<Bytes> Refreshed(bool running = true) {
    if (running && lcd_->showing_running_form()) lcd_->ShowRunningForm();
    return Bytes{};
  }

  std::optional<Bytes> Place(Display::Placement& at, const Bytes& p) {
    if (p.empty()) return Bytes{at.enable, at.line, at.column};
    if (p.size() != 3 || p[1] >= Display::kLines || p[2] >= Display::kWidth) return std::nullopt;
    at = {p[0], p[1], p[2]};
    return Refreshed();
  }

  // config, timespan, width, height in 8-pixel rows, line, column.
  std::optional<Bytes> FormSettings(Display::Form& f, const Bytes& p, bool running) {
    if (p.empty()) return Bytes{f.config, f.timespan, f.width, f.rows, f.line, f.column};
    if (p.size() != 6 || p[2] > Display::kWidth || p[3] > Display::kLines) return std::nullopt;
    f.config = p[0];
    f.timespan = p[1];
    f.width = p[2];
    f.rows = p[3];
    f.line = p[4];
    f.column = p[5];
    return Refreshed(running);
  }

  std::optional<Bytes> FormText(Display::Form& f, const Bytes& p, bool running) {
    if (p.empty()) return f.text;
    if (p.size() != 64) return std::nullopt;
    f.text = p;
    return Refreshed(running);
  }

  std::optional<Bytes> FormImage(Display::Form& f, const Bytes& p, bool running) {
    if (p.empty() || p.size() > static_cast<size_t>(Display::kWidth * Display::kLines)) return std::nullopt;
    f.image = p;
    return Refreshed(running);
  }

  // config, line, column, then at most 16 text bytes.
  std::optional<Bytes> Text(const Bytes& p, Display::Font font) {
    if (p.size() < 3 || p.size() > 3 + 16 || p[1] >= Display::kLines) return std::nullopt;
    int rows = font == Display::kLarge ? 2 : 1;
    if (p[0] & Display::kClearLine) lcd_->ClearLines(static_cast<uint8_t>(((1 << rows) - 1) << p[1]));
    lcd_->DrawText(p[1], p[2], Slice(p, 3), font, p[0] & Display::kInvert);
    return Bytes{};
  }

  // config, line, column, width, height in rows, then the bitmap.
  std::optional<Bytes> Image(const Bytes& p) {
    if (p.size() < 5) return std::nullopt;
    int width = p[3], rows = p[4];
    if (width > Display::kWidth || rows > Display::kLines || p.size() != 5u + static_cast<size_t>(width * rows))
      return std::nullopt;
    lcd_->DrawImage(p[1], p[2], width, rows, Slice(p, 5), p[0] & Display::kInvert);
    return Bytes{};
  }

  // config, line, column, width, height in pixels (a multiple of 8), then
  // the flash address (4, least significant first) of the bitmap.
  std::optional<Bytes> ImageFromFlash(const Bytes& p) {
    if (p.size() != 9) return std::nullopt;
    int width = p[3], height = p[4];
    if (width > Display::kWidth || height > Display::kHeight || height % 8) return std::nullopt;
    size_t addr = Le32(p, 5), n = static_cast<size_t>(width * height / 8);
    const Bytes& flash = lcd_->Flash();
    if (addr > flash.size() || n > flash.size() - addr) return std::nullopt;
    lcd_->DrawImage(p[1], p[2], width, height / 8, Slice(flash, addr, n), p[0] & Display::kInvert);
    return Bytes{};
  }

  std::shared_ptr<Display> lcd_;
};

}  // namespace

std::unique_ptr<Family> MakeDisplayCommands(Context& ctx, std::shared_ptr<Display> lcd) {
  return std::make_unique<DisplayCommands>(ctx, std::move(lcd));
}

}  // namespace orvexsim
