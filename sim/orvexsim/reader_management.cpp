// SPDX-License-Identifier: MIT
// Reader management commands: line speed, reader number, identity, buzzer,
// lamps, LED display, antenna, search mode, parameters, memory, the 433 MHz
// module, the low-frequency card reader and the raw pass-through.
#include "orvexsim/families.h"
#include "orvexsim/lf_card.h"

namespace orvexsim {
namespace {

constexpr int kLineSpeeds[] = {4800, 9600, 14400, 19200, 28800, 38400, 57600, 115200};

class ReaderManagement : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    ReaderState& s = ctx_.reader;
    switch (cmd) {
      case 0x01: r = ChangeSpeed(d); return true;
      case 0x02:
        if (d.size() < 2) break;
        s.number = Be16(d, 0);
        r = Reply::Ok();
        return true;
      case 0x03: r = Number(s.number); return true;
      case 0x04: r = Number(s.version); return true;
      case 0x05: r = Reply::Ok(s.serial); return true;
      case 0x08: r = Reply::Ok(s.product); return true;
      case 0x06:
        if (d.size() != 3) break;
        s.buzzer_on = d[0];
        s.buzzer_off = d[1];
        s.beeps += d[2] == 0 ? 1 : d[2];
        r = Reply::Ok();
        return true;
      case 0x07:
        if (d.size() != 5) break;
        s.led_blink.assign(d.begin(), d.begin() + 4);
        s.led_lit = d[4];
        r = Reply::Ok();
        return true;
      case 0x09: r = LedDisplay(d); return true;
      case 0x0F: r = Parameter(d); return true;
      case 0x20:
        if (d.empty() || d.size() > 2) break;
        s.search_mode = d[0];
        s.search_param.reset();
        if (d.size() == 2) s.search_param = d[1];
        r = Reply::Ok();
        return true;
      case 0x21:
        if (d.size() != 1) break;
        Antenna(d[0] != 0);
        r = Reply::Ok();
        return true;
      case 0xB1: r = ReadMemory(d); return true;
      case 0xB2: r = WriteMemory(d); return true;
      case 0xFB: r = PassThrough(d); return true;
      case 0xFC: r = Module433(d); return true;
      case 0xFD: r = LowFrequency(); return true;
      case 0xFE:
        if (d.size() != 1) break;
        s.hf_antenna = d[0];
        r = Reply::Ok();
        return true;
      default: return false;
    }
    r = Reply::Fail(status::kBadParameter);
    return true;
  }

 private:
  static Reply Number(uint16_t n) {
    Bytes b;
    PutBe16(b, n);
    return Reply::Ok(b);
  }

  // The answer goes out at the old speed; the reader switches right after.
  Reply ChangeSpeed(const Bytes& d) {
    if (d.size() != 1 || d[0] > 7) return Reply::Fail(status::kBadParameter);
    ctx_.reader.line_speed = kLineSpeeds[d[0]];
    return Reply::Ok();
  }

  // Byte 0 counts the display bytes that follow: fill bytes 00 (blank
  // digits), then text in which a dot lights the point of the digit before
  // it, unless it comes first or after another dot (then it is a digit).
  Reply LedDisplay(const Bytes& d) {
    if (d.empty() || d[0] != d.size() - 1) return Reply::Fail(status::kBadParameter);
    ReaderState& s = ctx_.reader;
    s.led_digits.fill(' ');
    s.led_points.fill(false);
    int pos = -1;
    bool prev_is_char = false;
    for (size_t i = 1; i < d.size(); ++i) {
      uint8_t c = d[i];
      if (c == '.' && prev_is_char) {
        if (pos >= 0 && pos < 8) s.led_points[static_cast<size_t>(pos)] = true;
        prev_is_char = false;
        continue;
      }
      ++pos;
      if (pos < 8) s.led_digits[static_cast<size_t>(pos)] = c == 0 ? ' ' : static_cast<char>(c);
      prev_is_char = c != 0 && c != '.';
    }
    return Reply::Ok();
  }

  // Setting and reading share the command: parameter bytes after the index
  // set it; either way the answer carries the value now stored.
  Reply Parameter(const Bytes& d) {
    if (d.empty() || d.size() > 65) return Reply::Fail(status::kBadParameter);
    auto& params = ctx_.reader.params;
    if (d.size() > 1) params[d[0]] = Slice(d, 1);
    auto it = params.find(d[0]);
    if (it == params.end()) return Reply::Fail(status::kBadParameter);
    return Reply::Ok(it->second);
  }

  // Switching the field off drops every card's power; switching it on
  // powers them up afresh.
  void Antenna(bool on) {
    if (on && !ctx_.antenna_on)
      for (auto& c : ctx_.field) c->PowerUp();
    if (!on) {
      ctx_.selected.reset();
      ctx_.layer4.reset();
    }
    ctx_.antenna_on = on;
  }

  // 00 00, address (2), count (2): the address field is 32 bits with the
  // high half zero on this reader.
  bool MemoryRange(const Bytes& d, size_t& addr, size_t& count) {
    if (d.size() < 6) return false;
    addr = Be32(d, 0);
    count = Be16(d, 4);
    return addr + count <= ctx_.reader.memory.size();
  }

  Reply ReadMemory(const Bytes& d) {
    size_t addr, count;
    if (d.size() != 6 || !MemoryRange(d, addr, count) || count > kMaxAnswerData)
      return Reply::Fail(status::kBadParameter);
    return Reply::Ok(Slice(ctx_.reader.memory, addr, count));
  }

  Reply WriteMemory(const Bytes& d) {
    size_t addr, count;
    if (!MemoryRange(d, addr, count) || d.size() != 6 + count)
      return Reply::Fail(status::kBadParameter);
    std::copy(d.begin() + 6, d.end(), ctx_.reader.memory.begin() + static_cast<long>(addr));
    return Reply::Ok();
  }

  // Mode 00 echoes the parameter bytes (a line test); mode 01 sends them as
  // a raw ISO 14443-3 frame to the selected card and returns its response.
  Reply PassThrough(const Bytes& d) {
    if (d.size() < 2) return Reply::Fail(status::kBadParameter);
    Bytes param = Slice(d, 2);
    if (d[0] == 0x00) return Reply::Ok(param);
    if (d[0] == 0x01) {
      auto card = ctx_.selected;
      if (!card || !ctx_.antenna_on || card->state() != TypeACard::State::kActive)
        return Reply::Fail(status::kNoCard);
      auto resp = card->Transceive(param);
      if (!resp) return Reply::Fail(status::kCardRefused);
      return Reply::Ok(*resp);
    }
    return Reply::Fail(status::kBadParameter);
  }

  Reply Module433(const Bytes& d) {
    if (d.size() == 1 && d[0] == 0x00) return Reply::Ok(ctx_.reader.module433);
    if (d.size() == 9 && d[0] == 0x01) {
      ctx_.reader.module433 = Slice(d, 1);
      return Reply::Ok();
    }
    return Reply::Fail(status::kBadParameter);
  }

  // The 125 kHz reader has its own coil: the HF antenna switch does not
  // concern it.
  Reply LowFrequency() {
    for (const auto& c : ctx_.field)
      if (auto lf = std::dynamic_pointer_cast<LfCard>(c)) return Reply::Ok(lf->id());
    return Reply::Fail(status::kNoCard);
  }
};

}  // namespace

std::unique_ptr<Family> MakeReaderManagement(Context& ctx) {
  return std::make_unique<ReaderManagement>(ctx);
}

}  // namespace orvexsim
