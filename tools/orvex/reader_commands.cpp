// SPDX-License-Identifier: MIT
// Subcommands on the reader itself: info, beep, led, display, raw, and the
// reader group (line speed, reader number, antenna, search mode, parameters,
// the 433 MHz module, memory).
#include <algorithm>
#include <cstring>
#include <iterator>

#include "commands.h"
#include "link/deadlines.h"

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
  if (number < 0) CheckReader(-1, "reading the reader number");
  out.Field("reader_number", "reader number", number, std::to_string(number));

  int version = ctx.ov.OV_GetReaderVersion(id);
  if (version < 0) CheckReader(-1, "reading the firmware version");
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
  if (n < 0) CheckReader(-1, "reading the serial number");
  refused(n, "reading the serial number");
  out.Field("serial", "serial", Hex(buf, static_cast<size_t>(n)), Hex(buf, static_cast<size_t>(n)));

  n = ctx.ov.OV_GetReaderNo(id, buf);
  if (n < 0) CheckReader(-1, "reading the product number");
  refused(n, "reading the product number");
  std::string product = Printable(buf, static_cast<size_t>(n));
  out.Field("product", "product", product, product);
}

// The line speeds this host's serial line offers; the reader offers these
// and more, but a reader moved to another would be out of the tool's reach.
constexpr int kLineSpeeds[] = {4800, 9600, 19200, 38400};

void Speed(Context& ctx, int bps) {
  if (std::find(std::begin(kLineSpeeds), std::end(kLineSpeeds), bps) == std::end(kLineSpeeds))
    throw Failure("reader speed: " + std::to_string(bps) +
                      " bit/s is not a speed this host's line offers (4800, 9600, 19200, 38400); the reader "
                      "would be out of reach at it",
                  2);
  ctx.Open();
  const int old = ctx.speed();
  if (old == 0) throw Failure("reader speed: a USB reader has no line speed; nothing was changed", 2);
  Output& out = ctx.out();
  out.doc()["old_speed"] = old;
  if (bps == old) {
    CheckReaderAnswers(ctx, "reading the reader number");
    out.doc()["speed"] = bps;
    out.Line("the reader already runs at " + std::to_string(bps) + " bit/s");
    return;
  }
  int rc = ctx.ov.OV_ComNewBound(ctx.reader_id, bps);
  if (rc < 0) CheckReader(rc, "switching the line speed");
  if (rc != 0) {
    char status[8];
    std::snprintf(status, sizeof status, "0x%02X", rc & 0xFF);
    throw Failure("the reader refused " + std::to_string(bps) + " bit/s (status " + status + "); it stays at " +
                  std::to_string(old) + " bit/s");
  }
  ctx.Reopen(bps);
  if (ctx.ov.OV_GetReaderID(ctx.reader_id) < 0)
    throw Failure("the reader took the change to " + std::to_string(bps) + " bit/s but does not answer at it: try " +
                  "--baud " + std::to_string(bps) + ", then --baud " + std::to_string(old));
  out.doc()["speed"] = bps;
  ctx.Done("the reader now runs at " + std::to_string(bps) + " bit/s (was " + std::to_string(old) +
           "); give --baud " + std::to_string(bps) + " from now on");
}

void Number(Context& ctx, int number) {
  ctx.Open();
  int old = ctx.ov.OV_GetReaderID(ctx.reader_id);
  if (old < 0) CheckReader(-1, "reading the reader number");
  CheckReader(ctx.ov.OV_SetReaderID(ctx.reader_id, number), "setting the reader number");
  int now = ctx.ov.OV_GetReaderID(number);
  if (now < 0) CheckReader(-1, "reading the new reader number");
  if (now != number)
    throw Failure("setting the reader number: the reader still answers with number " + std::to_string(now));
  ctx.out().doc()["old_number"] = old;
  ctx.out().doc()["number"] = now;
  ctx.Done("reader number " + std::to_string(old) + " -> " + std::to_string(now) +
           (now == 0 ? "" : " (address it with --reader-id " + std::to_string(now) + " or 0)"));
}

void Antenna(Context& ctx, const std::string& state) {
  ctx.Open();
  int rc = ctx.ov.OV_AntennaStatus(ctx.reader_id, state == "on");
  if (rc == -2) CheckReader(-1, "switching the antenna " + state);
  CheckReader(rc, "switching the antenna " + state);
  ctx.out().doc()["antenna"] = state;
  ctx.Done("antenna " + state);
}

// The card-search modes by the letter of their mode byte: 'A' (0x41) ISO
// 14443-A, 'B' (0x42) ISO 14443-B, which idcard read leaves set.
void SearchMode(Context& ctx, const std::string& mode) {
  ctx.Open();
  CheckReader(ctx.ov.OV_SearchCardMode(ctx.reader_id, mode == "A" ? 0x41 : 0x42), "setting the search mode");
  ctx.out().doc()["search_mode"] = mode;
  ctx.Done("the reader searches for ISO 14443-" + mode + " cards");
}

// A reader parameter's value as the reader answers it, after a request
// that carries `value` (empty: a plain read).
Bytes Param(Context& ctx, int index, Bytes value) {
  int len = 0;
  unsigned char answer[ORVEX_MAX_ANSWER];
  const std::string what = "reading parameter " + std::to_string(index);
  int rc = ctx.ov.OV_GetParam(ctx.reader_id, index, static_cast<int>(value.size()), value.data(), &len, answer);
  if (rc != 1 && LastLinkFailure().find("refused") != std::string::npos)
    throw Failure(what + ": the reader refused (no such parameter, or never set)");
  CheckReader(rc, what);
  if (len < 0 || len > ORVEX_MAX_ANSWER) throw Failure(what + ": the reader gave a length of " + std::to_string(len));
  return Bytes(answer, answer + len);
}

void ParamGet(Context& ctx, int index) {
  ctx.Open();
  Bytes value = Param(ctx, index, {});
  ctx.out().doc()["index"] = index;
  ctx.out().Field("value", "parameter " + std::to_string(index), Hex(value), Hex(value));
}

void ParamSet(Context& ctx, int index, const std::string& hex) {
  Bytes value = ParseHex(hex, "reader param set");
  if (value.empty() || value.size() > 64) throw Failure("reader param set: a value is 1 to 64 bytes", 2);
  ctx.Open();
  CheckReader(ctx.ov.OV_SetParam(ctx.reader_id, index, static_cast<int>(value.size()), value.data()),
              "setting parameter " + std::to_string(index));
  Bytes now = Param(ctx, index, {});
  if (now != value)
    throw Failure("setting parameter " + std::to_string(index) + ": it reads back as " + Hex(now) + ", not " +
                  Hex(value));
  ctx.out().doc()["index"] = index;
  ctx.out().doc()["value"] = Hex(now);
  ctx.Done("parameter " + std::to_string(index) + " set to " + Hex(now));
}

// The 433 MHz module's parameters: 8 bytes, read and written whole.
void Module433(Context& ctx, const std::string& hex) {
  Bytes value;
  if (!hex.empty()) {
    value = ParseHex(hex, "reader module433 set");
    if (value.size() != 8) throw Failure("reader module433 set: the parameters are 8 bytes (16 hex digits)", 2);
  }
  ctx.Open();
  if (!value.empty())
    CheckReader(ctx.ov.OV_Set433ModuleParam(ctx.reader_id, value.data()), "setting the 433 MHz module's parameters");
  unsigned char now[8];
  CheckReader(ctx.ov.OV_Get433ModuleParam(ctx.reader_id, now), "reading the 433 MHz module's parameters");
  Bytes got(now, now + sizeof now);
  if (!value.empty() && got != value)
    throw Failure("setting the 433 MHz module's parameters: they read back as " + Hex(got) + ", not " + Hex(value));
  ctx.out().Field("module433", "433 MHz module", Hex(got), Hex(got));
}

constexpr int kReaderMemory = 0x10000;
// A memory write goes out in pieces this long, each read back before the next.
constexpr int kMemoryPiece = 128;

std::string Address(int a) {
  char b[8];
  std::snprintf(b, sizeof b, "0x%04X", a);
  return b;
}

Bytes ReadMemory(Context& ctx, int addr, int count) {
  const int span = UnitsPerRead(ctx.speed(), orvex::deadline::Ms(orvex::deadline::kReader), 1, 512);
  return ReadInPieces(addr, count, span, [&ctx](int at, int n, unsigned char* buf) {
    std::string what = "reading reader memory " + Address(at) + "-" + Address(at + n - 1);
    CheckReader(ctx.ov.OV_ReadReaderMemory(ctx.reader_id, at, n, buf), what);
    if (LastAnswerLength() != n)
      throw Failure(what + ": " + std::to_string(LastAnswerLength()) + " bytes came back");
  });
}

void MemoryRead(Context& ctx, int addr, int count) {
  if (addr + count > kReaderMemory)
    throw Failure("reader memory read: the reader's memory ends at 0xFFFF", 2);
  ctx.Open();
  Bytes data = ReadMemory(ctx, addr, count);
  Json& d = ctx.out().doc();
  d["address"] = addr;
  d["count"] = count;
  d["data"] = Hex(data);
  for (int at = 0; at < count; at += 16)
    ctx.out().Line(Address(addr + at) + ": " +
                   Hex(&data[static_cast<size_t>(at)], static_cast<size_t>(std::min(16, count - at))));
}

void MemoryWrite(Context& ctx, int addr, const std::string& hex) {
  Bytes data = ParseHex(hex, "reader memory write");
  const int count = static_cast<int>(data.size());
  if (count == 0) throw Failure("reader memory write: no bytes to write", 2);
  if (addr + count > kReaderMemory)
    throw Failure("reader memory write: " + std::to_string(count) + " bytes from " + Address(addr) +
                      " go past the end of the reader's memory (0xFFFF)",
                  2);
  ctx.Open();
  for (int at = 0; at < count; at += kMemoryPiece) {
    int n = std::min(kMemoryPiece, count - at);
    std::string range = Address(addr + at) + "-" + Address(addr + at + n - 1);
    try {
      CheckReader(ctx.ov.OV_WriteReaderMemory(ctx.reader_id, addr + at, n, &data[static_cast<size_t>(at)]),
                  "writing reader memory " + range);
      if (ReadMemory(ctx, addr + at, n) != Bytes(data.begin() + at, data.begin() + at + n))
        throw Failure("writing reader memory " + range + ": it reads back otherwise");
    } catch (const Failure& f) {
      if (at == 0) throw;
      throw Failure(std::string(f.what()) + "; " + Address(addr) + "-" + Address(addr + at - 1) +
                        " were written and read back, the rest may be partly written",
                    kPartialExit);
    }
  }
  Json& d = ctx.out().doc();
  d["address"] = addr;
  d["count"] = count;
  ctx.Done("wrote " + std::to_string(count) + " bytes of reader memory at " + Address(addr) + " and read them back");
}

}  // namespace

void CheckReaderAnswers(Context& ctx, const std::string& what) {
  // Is anybody there? Tells "no reader" from "no card".
  if (ctx.ov.OV_GetReaderID(ctx.reader_id) < 0) CheckReader(-1, what);
}

void ResetField(Context& ctx, const std::string& what) {
  if (ctx.ov.OV_AntennaStatus(ctx.reader_id, false) != 1 || ctx.ov.OV_AntennaStatus(ctx.reader_id, true) != 1)
    CheckReader(-1, what + ": switching the field off and on");
}

Bytes ReadInPieces(int addr, int count, int span, const std::function<void(int, int, unsigned char*)>& read) {
  Bytes data;
  for (int at = addr; at < addr + count; at += span) {
    int n = std::min(span, addr + count - at);
    unsigned char buf[ORVEX_MAX_ANSWER];
    read(at, n, buf);
    data.insert(data.end(), buf, buf + n);
  }
  return data;
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

  static int beep_on, beep_off, beep_count;
  beep_on = 10; beep_off = 10; beep_count = 1;
  auto* beep = app.add_subcommand("beep", "sound the buzzer");
  beep->add_option("--on", beep_on, "time on, in the reader's units (default 10)")->check(CLI::Range(0, 255));
  beep->add_option("--off", beep_off, "time off (default 10)")->check(CLI::Range(0, 255));
  beep->add_option("-n,--count", beep_count, "how many times (default 1)")->check(CLI::Range(0, 255));
  ctx.Register(beep, [&ctx] {
    ctx.Open();
    CheckReader(ctx.ov.OV_Buzzer(ctx.reader_id, beep_on, beep_off, beep_count), "sounding the buzzer");
    ctx.out().doc()["beeps"] = beep_count;
    ctx.Done("beeped " + std::to_string(beep_count) + " time(s)");
  });

  static int led_lamp, led_on, led_off, led_count, led_lit;
  led_lamp = 1; led_on = 10; led_off = 10; led_count = 1; led_lit = 0;
  auto* led = app.add_subcommand("led", "blink a lamp, then leave one lit");
  led->add_option("-l,--lamp", led_lamp, "lamp to blink (default 1)")->check(CLI::Range(0, 255));
  led->add_option("--on", led_on, "time on, in the reader's units (default 10)")->check(CLI::Range(0, 255));
  led->add_option("--off", led_off, "time off (default 10)")->check(CLI::Range(0, 255));
  led->add_option("-n,--count", led_count, "how many blinks (default 1)")->check(CLI::Range(0, 255));
  led->add_option("--leave-lit", led_lit, "lamp left lit afterwards (default 0)")->check(CLI::Range(0, 255));
  ctx.Register(led, [&ctx] {
    ctx.Open();
    CheckReader(ctx.ov.OV_Led(ctx.reader_id, led_lamp, led_on, led_off, led_count, led_lit),
                "blinking lamp " + std::to_string(led_lamp));
    ctx.out().doc()["lamp"] = led_lamp;
    ctx.out().doc()["blinks"] = led_count;
    ctx.out().doc()["lit"] = led_lit;
    ctx.Done("lamp " + std::to_string(led_lamp) + " blinked " + std::to_string(led_count) +
                   " time(s), lamp " + std::to_string(led_lit) + " left lit");
  });

  static std::string display_text, display_align;
  display_text = std::string(); display_align = "left";
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
    CheckReader(ctx.ov.OV_LEDDisplay(ctx.reader_id, align, text.data()), "showing the text");
    ctx.out().doc()["shown"] = display_text;
    ctx.Done("display shows \"" + display_text + "\"");
  });

  auto* reader = app.add_subcommand("reader", "the reader's settings: line speed, number, antenna, parameters, memory");
  reader->require_subcommand(1);
  auto* reader_info = reader->add_subcommand("info", "reader number, firmware version, serial and product number");
  ctx.Register(reader_info, [&ctx] { Info(ctx); });

  static int speed_bps;
  speed_bps = 0;
  auto* speed = reader->add_subcommand(
      "speed", "switch the reader's line speed to BAUD and move to it (serial readers)");
  speed->add_option("BAUD", speed_bps, "4800, 9600, 19200 or 38400")->required();
  ctx.Register(speed, [&ctx] { Speed(ctx, speed_bps); });

  static int number_new;
  number_new = 0;
  auto* number = reader->add_subcommand("number", "give the reader the number N; shows the old and the new");
  number->add_option("N", number_new, "1 to 65535 (0 is the number every reader answers to)")
      ->required()
      ->check(CLI::Range(1, 65535));
  ctx.Register(number, [&ctx] { Number(ctx, number_new); });

  static std::string antenna_state;
  antenna_state = std::string();
  auto* antenna = reader->add_subcommand("antenna", "switch the RF field on or off");
  antenna->add_option("STATE", antenna_state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
  ctx.Register(antenna, [&ctx] { Antenna(ctx, antenna_state); });

  static std::string search_mode;
  search_mode = std::string();
  auto* search = reader->add_subcommand("search-mode", "the card type the reader searches for: A or B");
  search->add_option("MODE", search_mode, "A (ISO 14443-A) or B (ISO 14443-B)")
      ->required()
      ->transform(CLI::IsMember({"A", "B"}, CLI::ignore_case));
  ctx.Register(search, [&ctx] { SearchMode(ctx, search_mode); });

  auto* param = reader->add_subcommand("param", "the reader's numbered parameters");
  param->require_subcommand(1);
  static int param_index;
  param_index = 0;
  static std::string param_value;
  param_value = std::string();
  auto* param_get = param->add_subcommand("get", "read parameter INDEX");
  param_get->add_option("INDEX", param_index, "0 to 255")->required()->check(CLI::Range(0, 255));
  ctx.Register(param_get, [&ctx] { ParamGet(ctx, param_index); });
  auto* param_set = param->add_subcommand("set", "set parameter INDEX to HEX, read it back");
  param_set->add_option("INDEX", param_index, "0 to 255")->required()->check(CLI::Range(0, 255));
  param_set->add_option("HEX", param_value, "1 to 64 bytes, in hex")->required();
  ctx.Register(param_set, [&ctx] { ParamSet(ctx, param_index, param_value); });

  auto* module = reader->add_subcommand("module433", "the 433 MHz module's 8 parameter bytes");
  module->require_subcommand(1);
  static std::string module_hex;
  module_hex = std::string();
  auto* module_get = module->add_subcommand("get", "read the parameters");
  ctx.Register(module_get, [&ctx] { Module433(ctx, ""); });
  auto* module_set = module->add_subcommand("set", "set the parameters to HEX, read them back");
  module_set->add_option("HEX", module_hex, "8 bytes, in hex")->required();
  ctx.Register(module_set, [&ctx] {
    if (module_hex.empty()) throw Failure("reader module433 set: the parameters are 8 bytes (16 hex digits)", 2);
    Module433(ctx, module_hex);
  });

  auto* memory = reader->add_subcommand("memory", "the reader's 64 KiB user memory");
  memory->require_subcommand(1);
  static int memory_addr, memory_count;
  memory_addr = 0; memory_count = 16;
  static std::string memory_hex;
  memory_hex = std::string();
  auto* memory_read = memory->add_subcommand("read", "list COUNT bytes from ADDR");
  memory_read->add_option("ADDR", memory_addr, "0 to 65535 (0x... for hex)")->required()->check(CLI::Range(0, 65535));
  memory_read->add_option("COUNT", memory_count, "how many bytes (default 16)")->check(CLI::Range(1, 65536));
  ctx.Register(memory_read, [&ctx] { MemoryRead(ctx, memory_addr, memory_count); });
  auto* memory_write = memory->add_subcommand("write", "write HEX from ADDR, read it back");
  memory_write->add_option("ADDR", memory_addr, "0 to 65535 (0x... for hex)")->required()->check(CLI::Range(0, 65535));
  memory_write->add_option("HEX", memory_hex, "the bytes, in hex")->required();
  ctx.Register(memory_write, [&ctx] { MemoryWrite(ctx, memory_addr, memory_hex); });

  static int raw_mode, raw_timeout;
  raw_mode = 0; raw_timeout = 10;
  static std::vector<std::string> raw_hex;
  raw_hex = std::vector<std::string>();
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
                "pass-through command");
    std::string hex = Hex(answer, static_cast<size_t>(len));
    ctx.out().doc()["answer"] = hex;
    ctx.out().Line(hex);
  });
}

}  // namespace orvextool
