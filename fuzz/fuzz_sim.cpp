// SPDX-License-Identifier: MIT
// The simulated reader on arbitrary input: its command parser (the serial
// frame cutter and the frame decoder), its card descriptions and every card model
// behind its command families.
//
// Input: one selector byte, then the rest.
//   selector bit 0-1: 0 the rest is bytes arriving on the serial line, cut
//                       into frames by the simulator's parser;
//                     1 the rest is commands already framed: command byte,
//                       data length byte, data (so that every command reaches
//                       its family without a checksum to guess);
//                     2 the rest is a card description ("kind[:id]");
//                     3 the rest is a HID command frame body.
//   selector bit 2:   the display reader model instead of the card reader.
//   selector bits 3-7: which card kinds are in the field (see kKinds).
// Every answer the simulator gives is encoded as a serial answer frame and
// must decode, through the library's own decoder, to the same status and
// data: the simulator and the library agree on the frame.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "link/untFunction.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/frame.h"
#include "orvexsim/simulator.h"

namespace {

using orvexsim::Bytes;

// Groups of cards placed before the commands: one group per value of the
// selector's bits 3-7 (modulo the count).
const std::vector<std::vector<const char*>> kKinds = {
    {"mfc1k"},   {"mfc4k"},          {"ntag213", "ntag216"}, {"topaz"},     {"cpu"},
    {"cpu-blank"}, {"iso15693"},     {"sle4442", "sam"},     {"mfplus"},    {"typeb"},
    {"idcard"},  {"sr176", "sr512"}, {"srix4k"},             {"at88rf020"}, {"felica"},
    {"lf"},      {"mfc1k", "cpu", "sam"}, {},
};

// The answer, framed by the simulator, decodes in the library to what the
// simulator meant to send.
void CheckAnswer(const orvexsim::CommandFrame& f, const orvexsim::Reply& reply) {
  Bytes frame = orvexsim::EncodeSerialAnswer(f.reader, f.cmd, reply.status, reply.data);
  if (reply.data.size() > static_cast<size_t>(orvex::kMaxAnswerData)) return;  // too long to decode
  if (frame.size() > static_cast<size_t>(orvex::kMaxRawAnswer)) return;
  int reader = 0;
  unsigned char cmd = 0, status = 0;
  std::vector<unsigned char> out(orvex::kMaxAnswerData);
  int m = orvex::DecodeAs(1, reader, cmd, status, static_cast<int>(frame.size()), frame.data(), out.data());
  if (m != static_cast<int>(reply.data.size())) __builtin_trap();
  if (reader != f.reader || cmd != f.cmd || status != reply.status) __builtin_trap();
  if (!std::equal(reply.data.begin(), reply.data.end(), out.begin())) __builtin_trap();
}

void Run(orvexsim::Simulator& sim, const orvexsim::CommandFrame& f) {
  std::optional<orvexsim::Reply> reply = sim.Handle(f);
  if (reply) CheckAnswer(f, *reply);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const uint8_t selector = data[0];
  const uint8_t* p = data + 1;
  size_t n = size - 1;
  const int mode = selector & 3;

  if (mode == 2) {
    std::string text(reinterpret_cast<const char*>(p), n);
    std::string error;
    auto card = orvexsim::MakeCard(text, 0, error);
    if ((card == nullptr) == error.empty()) __builtin_trap();  // a card, or a reason
    return 0;
  }
  if (mode == 3) {
    orvexsim::CommandFrame f;
    orvexsim::FrameError e = orvexsim::DecodeCommandBody(Bytes(p, p + n), f);
    if (e == orvexsim::FrameError::kNone && f.data.size() + 6 != n) __builtin_trap();
    return 0;
  }

  orvexsim::Simulator sim((selector & 4) ? orvexsim::ReaderModel::kDisplayReader
                                         : orvexsim::ReaderModel::kCardReader);
  int index = 0;
  for (const char* kind : kKinds[(selector >> 3) % kKinds.size()]) {
    std::string error;
    auto card = orvexsim::MakeCard(kind, index++, error);
    if (card == nullptr) __builtin_trap();  // every kind above is one the simulator knows
    sim.Insert(card);
  }

  if (mode == 0) {
    orvexsim::SerialFrameParser parser;
    std::vector<orvexsim::SerialFrameParser::Event> events;
    // Fed in two pieces, as bytes arrive on a line.
    size_t half = n / 2;
    auto now = orvexsim::SerialFrameParser::Clock::now();
    parser.Feed(p, half, now, events);
    parser.Feed(p + half, n - half, now, events);
    for (const auto& ev : events)
      if (ev.kind == orvexsim::SerialFrameParser::Event::Kind::kFrame) Run(sim, ev.frame);
    return 0;
  }

  // mode 1: commands already framed, addressed to reader 0 (which any reader
  // answers); the simulator's clock ticks between them.
  size_t i = 0;
  while (i + 2 <= n) {
    orvexsim::CommandFrame f;
    f.cmd = p[i];
    size_t len = p[i + 1];
    i += 2;
    if (len > n - i) len = n - i;
    f.data.assign(p + i, p + i + len);
    i += len;
    Run(sim, f);
    sim.Tick();
  }
  return 0;
}
