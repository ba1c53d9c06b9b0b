// SPDX-License-Identifier: MIT
// Helpers shared by the card command tests: the usual failures of a command
// and its answer deadline, checked through the fake reader.
#pragma once

#include <functional>
#include <initializer_list>

#include "reader_fixture.h"

namespace orvex_test {

// The parts joined in order: a data field or an answer built from pieces.
inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

class CardTest : public FakeReaderTest {
 protected:
  // An answer frame with one byte too many before ETX: its length field
  // disagrees with what arrived, so it does not decode (a fast -1).
  static Bytes Malformed(uint8_t cmd, const Bytes& data) {
    Bytes f = SerialAnswerFrame(1, cmd, 0, data);
    f.insert(f.end() - 1, 0x55);
    return f;
  }

  // A refusal gives -3 and a malformed answer -1. The caller checks that the
  // outputs kept their sentinels afterwards.
  void ExpectFailures(uint8_t cmd, const Bytes& okData, const std::function<int()>& call) {
    reader.Refuse(0x01, okData);
    EXPECT_EQ(-3, call()) << "refused";
    reader.Push(Reply::Raw(Malformed(cmd, okData)));
    EXPECT_EQ(-1, call()) << "malformed answer";
  }

  // The answer deadline is delayTimes x 100 ms: an answer arriving in two
  // pieces half the deadline apart is taken, one whose second piece comes
  // well after it is cut short and fails with -1. The line's own wait for a
  // byte is lengthened meanwhile so that it does not end the answer wait first.
  void ExpectDeadline(int delayTimes, const Bytes& okData, int okResult,
                      const std::function<int()>& call) {
    const int deadline = delayTimes * 100;
    struct LongerByteWait {
      explicit LongerByteWait(int ms) { orvex::transport::g_FirstByteTimeoutMs = ms; }
      ~LongerByteWait() { orvex::transport::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs; }
    } longer(deadline * 4 + 1000);
    reader.Push(Reply::Ok(okData).InPieces({3}, deadline / 2));
    EXPECT_EQ(okResult, call()) << "second piece within the deadline";
    reader.Push(Reply::Ok(okData).InPieces({3}, deadline * 3 / 2 + 300));
    long ms = ElapsedMs([&] { EXPECT_EQ(-1, call()) << "second piece after the deadline"; });
    EXPECT_GE(ms, deadline - 20);
    EXPECT_LT(ms, deadline + 250);
  }
};

}  // namespace orvex_test
