// SPDX-License-Identifier: MIT
// Helpers for the command families that carry a sub-command byte under one
// reader command and expect it echoed (the display reader, the card
// application): a table row per function, answer frames with a bad checksum,
// and the gaps that probe a deadline.
#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

#include "reader_fixture.h"

namespace orvex_test {

// One function of a family: the sub-command and the parameter bytes it must
// send after it, its deadline in 100 ms units, and a call through the public
// class (or the internal function where there is no method).
struct SubCall {
  std::string name;
  uint8_t sub = 0;
  Bytes params;
  int delay = 0;
  std::function<int(Orvex&)> call;
};

// Test output names the function instead of dumping its bytes.
inline void PrintTo(const SubCall& c, std::ostream* os) { *os << c.name; }

inline Bytes Cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// n bytes counting up from first.
inline Bytes Pattern(size_t n, uint8_t first) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(first + i);
  return b;
}

// A complete serial answer frame whose checksum is wrong: the library must
// treat it as undecodable (and it arrives whole, so the test stays quick).
inline Bytes BadChecksumFrame(uint8_t cmd, uint8_t status, const Bytes& data) {
  Bytes body = {static_cast<uint8_t>((data.size() + 7) >> 8), static_cast<uint8_t>(data.size() + 7),
                0x00, 0x01, cmd, status};
  body.insert(body.end(), data.begin(), data.end());
  uint8_t x = 0;
  for (uint8_t b : body) x ^= b;
  uint8_t wrong = static_cast<uint8_t>(x ^ 0x5A);
  body.push_back(wrong);
  body.insert(body.begin(), 0x02);
  body.push_back(0x03);
  return Stuff(body);
}

// A reply cut after its first three bytes, the rest following gap_ms later.
inline Reply Split(Reply r, int gap_ms) { return r.InPieces({3}, gap_ms); }

// Gaps around a deadline of delay x 100 ms: one the function must wait
// through, one it must give up on. Deadlines beyond 6 s are probed only from
// below, at 6 s.
inline int GapUnder(int delay) {
  int ms = delay * 100;
  int margin = ms / 8 > 200 ? ms / 8 : 200;
  return ms > 6000 ? 6000 : ms - margin;
}
inline int GapOver(int delay) {
  int ms = delay * 100;
  int margin = ms / 8 > 300 ? ms / 8 : 300;
  return ms > 6000 ? 0 : ms + margin;  // 0: not probed
}

// Lets follow-up reads wait as long as the deadline allows (the fixture
// shortens every wait to 0.3 s); TearDown restores it.
inline void LongWaits() { orvex::transport::g_FirstByteTimeoutMs = 15000; }

}  // namespace orvex_test
