// SPDX-License-Identifier: MIT
// Subcommands on the reader itself: info, beep, led, display, raw.
#include <cstring>

#include "commands.h"

namespace orvextool {

namespace {

// Printable ASCII as text, anything else in hex.
std::string Printable(const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i] < 0x20 || p[i] > 0x7E) return Hex(p, n);
  return std::string(reinterpret_cast<const char*>(p), n);
}

void Info(Context& ctx) {
  ctx.Open();
  int id = ctx.reader_id;
  Output& out = ctx.out();

  int number = ctx.ov.OV_GetReaderID(id);
  if (number < 0) CheckReader(-1, "reading the reader number", kReaderDeadlineMs);
  out.Field("reader_number", "reader number", number, std::to_string(number));

  int version = ctx.ov.OV_GetReaderVersion(id);
  if (version < 0) CheckReader(-1, "reading the firmware version", kReaderDeadlineMs);
  char v[16];
  std::snprintf(v, sizeof v, "%d.%02d", version >> 8, version & 0xFF);
  out.Field("version", "version", v, v);

  // Both identity reads give the answer length also when the reader refused
  // (and wrote nothing): the link's failure tells a refusal apart.
  auto refused = [](int n, const std::string& what) {
    if (n >= 0 && !LastLinkFailure().empty()) throw Failure(what + ": " + LastLinkFailure());
  };
  unsigned char buf[ORVEX_MAX_ANSWER];
  int n = ctx.ov.OV_GetReaderSerial(id, buf);
  if (n < 0) CheckReader(-1, "reading the serial number", kReaderDeadlineMs);
  refused(n, "reading the serial number");
  out.Field("serial", "serial", Hex(buf, static_cast<size_t>(n)), Hex(buf, static_cast<size_t>(n)));

  n = ctx.ov.OV_GetReaderNo(id, buf);
  if (n < 0) CheckReader(-1, "reading the product number", kReaderDeadlineMs);
  refused(n, "reading the product number");
  std::string product = Printable(buf, static_cast<size_t>(n));
  out.Field("product", "product", product, product);
}

}  // namespace

void CheckReaderAnswers(Context& ctx, const std::string& what) {
  // Is anybody there? Tells "no reader" from "no card".
  if (ctx.ov.OV_GetReaderID(ctx.reader_id) < 0) CheckReader(-1, what, kReaderDeadlineMs);
}

void ResetField(Context& ctx, const std::string& what) {
  if (ctx.ov.OV_AntennaStatus(ctx.reader_id, false) != 1 || ctx.ov.OV_AntennaStatus(ctx.reader_id, true) != 1)
    CheckReader(-1, what + ": switching the field off and on", kReaderDeadlineMs);
}

Bytes ReadBack(const std::string& what, const Bytes& written, const std::function<Bytes()>& read) {
  Bytes back;
  try {
    back = read();
  } catch (const Failure& f) {
    throw Failure(what + " was written, but reading it back failed: " + f.what());
  }
  if (back != written) throw Failure(what + " reads back as " + Hex(back) + ", not the " + Hex(written) + " written");
  return back;
}

void AddReaderCommands(CLI::App& app, Context& ctx) {
  auto* info = app.add_subcommand("info", "reader number, firmware version, serial and product number");
  ctx.Register(info, [&ctx] { Info(ctx); });

  static int beep_on = 10, beep_off = 10, beep_count = 1;
  auto* beep = app.add_subcommand("beep", "sound the buzzer");
  beep->add_option("--on", beep_on, "time on, in the reader's units (default 10)")->check(CLI::Range(0, 255));
  beep->add_option("--off", beep_off, "time off (default 10)")->check(CLI::Range(0, 255));
  beep->add_option("-n,--count", beep_count, "how many times (default 1)")->check(CLI::Range(0, 255));
  ctx.Register(beep, [&ctx] {
    ctx.Open();
    CheckReader(ctx.ov.OV_Buzzer(ctx.reader_id, beep_on, beep_off, beep_count), "sounding the buzzer",
                kReaderDeadlineMs);
    ctx.out().doc()["beeps"] = beep_count;
    ctx.Done("beeped " + std::to_string(beep_count) + " time(s)");
  });

  static int led_lamp = 1, led_on = 10, led_off = 10, led_count = 1, led_lit = 0;
  auto* led = app.add_subcommand("led", "blink a lamp, then leave one lit");
  led->add_option("-l,--lamp", led_lamp, "lamp to blink (default 1)")->check(CLI::Range(0, 255));
  led->add_option("--on", led_on, "time on, in the reader's units (default 10)")->check(CLI::Range(0, 255));
  led->add_option("--off", led_off, "time off (default 10)")->check(CLI::Range(0, 255));
  led->add_option("-n,--count", led_count, "how many blinks (default 1)")->check(CLI::Range(0, 255));
  led->add_option("--leave-lit", led_lit, "lamp left lit afterwards (default 0)")->check(CLI::Range(0, 255));
  ctx.Register(led, [&ctx] {
    ctx.Open();
    CheckReader(ctx.ov.OV_Led(ctx.reader_id, led_lamp, led_on, led_off, led_count, led_lit),
                "blinking lamp " + std::to_string(led_lamp), kReaderDeadlineMs);
    ctx.out().doc()["lamp"] = led_lamp;
    ctx.out().doc()["blinks"] = led_count;
    ctx.out().doc()["lit"] = led_lit;
    ctx.Done("lamp " + std::to_string(led_lamp) + " blinked " + std::to_string(led_count) +
                   " time(s), lamp " + std::to_string(led_lit) + " left lit");
  });

  static std::string display_text, display_align = "left";
  auto* display = app.add_subcommand("display", "show TEXT on the 8-digit LED display");
  display->add_option("TEXT", display_text, "up to 8 digits; a dot lights the previous digit's point")
      ->required();
  display->add_option("-a,--align", display_align, "left, centre or right (default left)")
      ->check(CLI::IsMember({"left", "centre", "center", "right"}));
  ctx.Register(display, [&ctx] {
    if (display_text.size() > 16) throw Failure("display: the text holds at most 16 characters", 2);
    int align = display_align == "right" ? 3 : (display_align == "left" ? 1 : 2);
    ctx.Open();
    std::vector<char> text(display_text.begin(), display_text.end());
    text.push_back('\0');
    CheckReader(ctx.ov.OV_LEDDisplay(ctx.reader_id, align, text.data()), "showing the text",
                kReaderDeadlineMs);
    ctx.out().doc()["shown"] = display_text;
    ctx.Done("display shows \"" + display_text + "\"");
  });

  static int raw_mode = 0, raw_timeout = 10;
  static std::vector<std::string> raw_hex;
  auto* raw = app.add_subcommand(
      "raw", "the reader's pass-through command: send HEX bytes, print the answer");
  raw->add_option("-m,--mode", raw_mode, "pass-through mode byte (firmware-defined; default 0)")
      ->check(CLI::Range(0, 255));
  raw->add_option("-t,--timeout", raw_timeout, "answer deadline in 100 ms units (default 10)")
      ->check(CLI::Range(1, 255));
  raw->add_option("HEX", raw_hex, "bytes to send, in hex");
  ctx.Register(raw, [&ctx] {
    Bytes param = ParseHexArgs(raw_hex, "raw");
    if (param.size() > 180) throw Failure("raw: at most 180 bytes fit in one command", 2);
    ctx.Open();
    int len = 0;
    unsigned char answer[ORVEX_MAX_ANSWER];
    CheckReader(OV_SendCMD(ctx.reader_id, raw_mode, raw_timeout, static_cast<int>(param.size()),
                           param.data(), &len, answer),
                "pass-through command", raw_timeout * 100);
    std::string hex = Hex(answer, static_cast<size_t>(len));
    ctx.out().doc()["answer"] = hex;
    ctx.out().Line(hex);
  });
}

}  // namespace orvextool
