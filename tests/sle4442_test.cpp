// SPDX-License-Identifier: MIT
// SLE4442 commands through the fake reader: the 0xC3 carrier with its
// sub-function echo and its success value 1000, each member's data field,
// results and outputs, the verified writes (pause, read-back, mismatch) and
// the PSC presentation's error byte.
#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untSLE4442.h"

using namespace orvex_test;

namespace {

unsigned char kPSC[3] = {0x12, 0x34, 0x56};

Bytes Counting(uint8_t first, size_t n) {
  Bytes b;
  for (size_t i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(first + i));
  return b;
}

// The reader's answer: the sub-function echo, then the card's bytes.
Bytes Echo(uint8_t sub, const Bytes& card = {}) { return Cat({{sub}, card}); }

// Everything a member can write, prefilled with sentinels.
struct Outs {
  unsigned char counter = 0x5A;
  int len = -77;
  unsigned char buf[ORVEX_MAX_ANSWER + 16];
  Outs() { std::memset(buf, 0xEE, sizeof buf); }
  bool BufUntouchedFrom(size_t from) const {
    for (size_t i = from; i < sizeof buf; ++i)
      if (buf[i] != 0xEE) return false;
    return true;
  }
  bool Untouched() const { return BufUntouchedFrom(0) && counter == 0x5A && len == -77; }
};

class SleTest : public CardTest {
 protected:
  // The usual failures of one exchange under the carrier, each leaving the
  // outputs alone: a refusal and a missing or wrong echo are `refused`, a
  // malformed answer `broken`.
  void ExpectCarrierFailures(const Bytes& okAnswer, int refused, int broken,
                             const std::function<int()>& call) {
    reader.Refuse(0x01, okAnswer);
    EXPECT_EQ(refused, call()) << "refused";
    reader.Push(Reply::Raw(Malformed(0xC3, okAnswer)));
    EXPECT_EQ(broken, call()) << "malformed answer";
    Bytes wrong = okAnswer;
    wrong[0] ^= 0x0F;
    reader.Ok(wrong);
    EXPECT_EQ(refused, call()) << "wrong echo";
    reader.Ok({});
    EXPECT_EQ(refused, call()) << "no echo at all";
  }

  // Answers every command that finds no queued reply as a card would: the
  // echo, then for a main memory read the bytes of `memory` from the start
  // address on, for a security memory read `security`.
  void CardResponds(const Bytes& memory, const Bytes& security = {}) {
    reader.SetResponder([memory, security](const Command& c) {
      if (c.data.empty()) return Reply::Silence();
      const uint8_t sub = c.data[0];
      if (sub == 0x02 && c.data.size() == 3) {
        size_t from = std::min<size_t>(c.data[1], memory.size());
        size_t to = std::min<size_t>(from + c.data[2], memory.size());
        return Reply::Ok(Cat({{sub}, Bytes(memory.begin() + from, memory.begin() + to)}));
      }
      if (sub == 0x06) return Reply::Ok(Cat({{sub}, security}));
      return Reply::Ok({sub});
    });
  }

  // The deadline of the read-back that follows a write: the write answered
  // at once, the read-back's answer in two pieces, half its 500 ms deadline
  // apart (taken) or well after it (cut short: -1). pauseMs comes before
  // the read-back.
  void ExpectReadBackDeadline(const Bytes& written, const Bytes& back, int pauseMs,
                              const std::function<int()>& call) {
    struct LongerByteWait {
      LongerByteWait() { orvex::transport::g_FirstByteTimeoutMs = 3000; }
      ~LongerByteWait() { orvex::transport::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs; }
    } longer;
    reader.Ok(written);
    reader.Push(Reply::Ok(back).InPieces({3}, 250));
    EXPECT_EQ(1, call()) << "second piece within the deadline";
    reader.Ok(written);
    reader.Push(Reply::Ok(back).InPieces({3}, 1050));
    long ms = ElapsedMs([&] { EXPECT_EQ(-1, call()) << "second piece after the deadline"; });
    EXPECT_GE(ms, pauseMs + 500 - 20);
    EXPECT_LT(ms, pauseMs + 500 + 300);
  }

  // The fastest of three runs of f, in milliseconds.
  template <typename F>
  long FastestOfThree(F f) {
    long best = 1L << 30;
    for (int i = 0; i < 3; ++i) best = std::min(best, ElapsedMs(f));
    return best;
  }
};

}  // namespace

// ---- The carrier ----------------------------------------------------------------------------

TEST_F(SleTest, CarrierLayoutEchoAndSuccessValue) {
  unsigned char params[3] = {0x20, 0x02, 0x03};
  Outs x;
  reader.Ok({0x02, 0xC1, 0xC2, 0xC3});
  EXPECT_EQ(1000, orvex::SLE_Common_(0x0102, 0x02, 0x09, 3, params, &x.len, x.buf, 5));
  // Sub-function, then the parameters; the time-out byte is not sent.
  ExpectSent(0xC3, {0x02, 0x20, 0x02, 0x03}, 0x0102);
  EXPECT_EQ(3, x.len);
  EXPECT_EQ(Bytes({0xC1, 0xC2, 0xC3}), Bytes(x.buf, x.buf + 3));
  EXPECT_TRUE(x.BufUntouchedFrom(3));

  // The echo alone: no card bytes.
  reader.Ok({0x04});
  EXPECT_EQ(1000, orvex::SLE_Common_(1, 0x04, 5, 0, nullptr, &x.len, x.buf, 5));
  ExpectSent(0xC3, {0x04});
  EXPECT_EQ(0, x.len);
}

TEST_F(SleTest, CarrierFailuresLeaveTheOutputs) {
  Outs x;
  ExpectCarrierFailures({0x06, 0x07, 0x11}, -3, -1,
                        [&] { return orvex::SLE_Common_(1, 0x06, 5, 0, nullptr, &x.len, x.buf, 5); });
  // Another member's echo is no echo.
  reader.Ok({0x02, 0x07, 0x11});
  EXPECT_EQ(-3, orvex::SLE_Common_(1, 0x06, 5, 0, nullptr, &x.len, x.buf, 5));
  EXPECT_TRUE(x.Untouched());
}

TEST_F(SleTest, CarrierDeadlineIsDelayTime) {
  Outs x;
  ExpectDeadline(3, {0x01, 0xA2}, 1000,
                 [&] { return orvex::SLE_Common_(1, 0x01, 5, 0, nullptr, &x.len, x.buf, 3); });
}

// An answer as large as an answer can be reaches the caller whole, and not
// a byte more.
TEST_F(SleTest, CarrierCopiesTheWholeAnswerAndNoMore) {
  Outs x;
  const Bytes card = Counting(0x40, ORVEX_MAX_ANSWER - 1);
  reader.Ok(Echo(0x04, card));
  EXPECT_EQ(1000, ov.OV_SLE_ReadPROM(1, x.buf));
  EXPECT_EQ(card, Bytes(x.buf, x.buf + card.size()));
  EXPECT_TRUE(x.BufUntouchedFrom(card.size()));
}

// ---- Reset ----------------------------------------------------------------------------------

TEST_F(SleTest, ResetSucceedsWith1000NotOne) {
  Outs x;
  reader.Ok({0x01, 0xA2, 0x13, 0x10, 0x91});
  EXPECT_EQ(1000, ov.OV_SLE_Reset(1, x.buf));
  ExpectSent(0xC3, {0x01});
  EXPECT_EQ(Bytes({0xA2, 0x13, 0x10, 0x91}), Bytes(x.buf, x.buf + 4));
  EXPECT_TRUE(x.BufUntouchedFrom(4));
}

TEST_F(SleTest, ResetFailures) {
  Outs x;
  ExpectCarrierFailures({0x01, 0xA2, 0x13}, -3, -1, [&] { return ov.OV_SLE_Reset(1, x.buf); });
  EXPECT_TRUE(x.Untouched());
}

TEST_F(SleTest, ResetDeadline) {
  Outs x;
  ExpectDeadline(5, {0x01, 0xA2, 0x13, 0x10, 0x91}, 1000, [&] { return ov.OV_SLE_Reset(1, x.buf); });
}

// ---- Main memory read -----------------------------------------------------------------------

TEST_F(SleTest, ReadMainMemoryReturnsTheByteCount) {
  Outs x;
  const Bytes mem = Counting(0x80, 16);
  reader.Ok(Echo(0x02, mem));
  EXPECT_EQ(16, ov.OV_SLE_ReadMainMemory(1, 0x20, 16, x.buf));
  ExpectSent(0xC3, {0x02, 0x20, 0x10});
  EXPECT_EQ(mem, Bytes(x.buf, x.buf + 16));
  EXPECT_TRUE(x.BufUntouchedFrom(16));
}

TEST_F(SleTest, ReadMainMemoryCountsWhatTheCardReturned) {
  Outs x;
  // Fewer bytes than asked for: their count, and only they are written.
  reader.Ok(Echo(0x02, {0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(3, ov.OV_SLE_ReadMainMemory(1, 0xFD, 8, x.buf));
  ExpectSent(0xC3, {0x02, 0xFD, 0x08});
  EXPECT_EQ(Bytes({0xAA, 0xBB, 0xCC}), Bytes(x.buf, x.buf + 3));
  EXPECT_TRUE(x.BufUntouchedFrom(3));
  // None at all: a success with the count 0.
  reader.Ok({0x02});
  EXPECT_EQ(0, ov.OV_SLE_ReadMainMemory(1, 0x00, 0, x.buf));
  ExpectSent(0xC3, {0x02, 0x00, 0x00});
  EXPECT_TRUE(x.BufUntouchedFrom(3));
}

TEST_F(SleTest, ReadMainMemoryFailures) {
  Outs x;
  ExpectCarrierFailures(Echo(0x02, Counting(0, 4)), -3, -1,
                        [&] { return ov.OV_SLE_ReadMainMemory(1, 0x00, 4, x.buf); });
  EXPECT_TRUE(x.Untouched());
}

TEST_F(SleTest, ReadMainMemoryDeadline) {
  Outs x;
  ExpectDeadline(5, Echo(0x02, Counting(0, 8)), 8, [&] { return ov.OV_SLE_ReadMainMemory(1, 0, 8, x.buf); });
}

// ---- Protection memory read -----------------------------------------------------------------

TEST_F(SleTest, ReadPROM) {
  Outs x;
  reader.Ok({0x04, 0xF0, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(1000, ov.OV_SLE_ReadPROM(1, x.buf));
  ExpectSent(0xC3, {0x04});
  EXPECT_EQ(Bytes({0xF0, 0xFF, 0xFF, 0xFF}), Bytes(x.buf, x.buf + 4));
  EXPECT_TRUE(x.BufUntouchedFrom(4));
}

TEST_F(SleTest, ReadPROMFailures) {
  Outs x;
  ExpectCarrierFailures({0x04, 0xF0, 0xFF, 0xFF, 0xFF}, -3, -1, [&] { return ov.OV_SLE_ReadPROM(1, x.buf); });
  EXPECT_TRUE(x.Untouched());
}

TEST_F(SleTest, ReadPROMDeadline) {
  Outs x;
  ExpectDeadline(5, {0x04, 0xF0, 0xFF, 0xFF, 0xFF}, 1000, [&] { return ov.OV_SLE_ReadPROM(1, x.buf); });
}

// ---- Security memory read -------------------------------------------------------------------

TEST_F(SleTest, ReadSecurityLogicSplitsCounterAndPSC) {
  Outs x;
  reader.Ok({0x06, 0x07, 0x12, 0x34, 0x56});
  EXPECT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf));
  ExpectSent(0xC3, {0x06});
  EXPECT_EQ(0x07, x.counter);
  EXPECT_EQ(Bytes({0x12, 0x34, 0x56}), Bytes(x.buf, x.buf + 3));
  EXPECT_TRUE(x.BufUntouchedFrom(3));
}

TEST_F(SleTest, ReadSecurityLogicWritesOnlyWhatTheCardSent) {
  Outs x;
  // The counter alone: no PSC bytes.
  reader.Ok({0x06, 0x03});
  EXPECT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf));
  EXPECT_EQ(0x03, x.counter);
  EXPECT_TRUE(x.BufUntouchedFrom(0));
  // The echo alone: nothing at all.
  x.counter = 0x5A;
  reader.Ok({0x06});
  EXPECT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf));
  EXPECT_EQ(0x5A, x.counter);
  EXPECT_TRUE(x.BufUntouchedFrom(0));
}

TEST_F(SleTest, ReadSecurityLogicWritesAtMostThreePSCBytes) {
  // A reader that sends more than the counter and the PSC: the PSC buffer
  // receives 3 bytes and nothing beyond them.
  Outs x;
  reader.Ok({0x06, 0x07, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC});
  EXPECT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf));
  EXPECT_EQ(0x07, x.counter);
  EXPECT_EQ(Bytes({0x12, 0x34, 0x56}), Bytes(x.buf, x.buf + 3));
  EXPECT_TRUE(x.BufUntouchedFrom(3));
}

TEST_F(SleTest, ReadSecurityLogicFailures) {
  Outs x;
  ExpectCarrierFailures({0x06, 0x07, 0x12, 0x34, 0x56}, -3, -1,
                        [&] { return ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf); });
  EXPECT_TRUE(x.Untouched());
}

TEST_F(SleTest, ReadSecurityLogicDeadline) {
  Outs x;
  ExpectDeadline(5, {0x06, 0x07, 0, 0, 0}, 1000, [&] { return ov.OV_SLE_ReadSecurityLogic(1, &x.counter, x.buf); });
}

// ---- PSC presentation -----------------------------------------------------------------------

TEST_F(SleTest, VerifyPSCAcceptedLeavesTheCounterByte) {
  unsigned char counter = 0x5A;
  reader.Ok({0x08, 0x07});
  EXPECT_EQ(1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  ExpectSent(0xC3, {0x08, 0x12, 0x34, 0x56});
  EXPECT_EQ(0x5A, counter);
  // The echo alone is as good.
  reader.Ok({0x08});
  EXPECT_EQ(1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0x5A, counter);
}

TEST_F(SleTest, VerifyPSCRefusedSetsTheCounterByteToFD) {
  unsigned char counter = 0x5A;
  reader.Refuse(0x09, {0x08, 0x03});
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0xFD, counter);
  // A missing or wrong echo counts as a refusal.
  counter = 0x5A;
  reader.Ok({0x06, 0x07});
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0xFD, counter);
  counter = 0x5A;
  reader.Ok({});
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0xFD, counter);
}

TEST_F(SleTest, VerifyPSCLinkFailureSetsTheCounterByteToFF) {
  unsigned char counter = 0x5A;
  reader.Push(Reply::Raw(Malformed(0xC3, {0x08, 0x07})));
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0xFF, counter);
  // No link at all.
  counter = 0x5A;
  ov.OV_ComFree();
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, kPSC, &counter));
  EXPECT_EQ(0xFF, counter);
}

TEST_F(SleTest, VerifyPSCDeadline) {
  unsigned char counter = 0;
  ExpectDeadline(5, {0x08, 0x07}, 1, [&] { return ov.OV_SLE_VerifyPSC(1, kPSC, &counter); });
  EXPECT_EQ(0xFF, counter);  // the answer cut short by the deadline
}

// ---- Verified data writes -------------------------------------------------------------------

// One verified data write: its sub-function and how it is called.
struct WriteCase {
  const char* name;
  uint8_t sub;
  std::function<int(Orvex&, unsigned char, unsigned char, unsigned char*)> call;
};

void PrintTo(const WriteCase& c, std::ostream* os) { *os << c.name; }

class SleWrite : public SleTest, public ::testing::WithParamInterface<WriteCase> {
 protected:
  int Call(unsigned char addr, unsigned char len, unsigned char* data) { return GetParam().call(ov, addr, len, data); }
  uint8_t sub() const { return GetParam().sub; }
};

TEST_P(SleWrite, WritesThenReadsMainMemoryBackAfterAPause) {
  unsigned char data[4] = {0xD0, 0xD1, 0xD2, 0xD3};
  reader.Ok({sub()});
  reader.Ok({0x02, 0xD0, 0xD1, 0xD2, 0xD3});
  long ms = ElapsedMs([&] { EXPECT_EQ(1, Call(0x10, 4, data)); });
  EXPECT_GE(ms, 95) << "the 100 ms pause before the read-back";
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  std::vector<Command> sent = reader.commands();
  ASSERT_EQ(2u, sent.size());
  EXPECT_EQ(0xC3, sent[0].cmd);
  EXPECT_EQ(Bytes({sub(), 0x10, 0xD0, 0xD1, 0xD2, 0xD3}), sent[0].data);
  // Both writes read back main memory over the range written.
  EXPECT_EQ(0xC3, sent[1].cmd);
  EXPECT_EQ(Bytes({0x02, 0x10, 0x04}), sent[1].data);
  EXPECT_EQ(Bytes({0xD0, 0xD1, 0xD2, 0xD3}), Bytes(data, data + 4));
}

TEST_P(SleWrite, ReadBackDifferingInTheLastByteIsMinusTwoAfterThePause) {
  unsigned char data[16];
  for (int i = 0; i < 16; ++i) data[i] = static_cast<unsigned char>(0x60 + i);
  Bytes back(data, data + 16);
  back[15] ^= 0x01;
  reader.Ok({sub()});
  reader.Ok(Echo(0x02, back));
  long ms = ElapsedMs([&] { EXPECT_EQ(-2, Call(0x20, 16, data)); });
  EXPECT_GE(ms, 95);
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  EXPECT_EQ(Bytes({0x02, 0x20, 0x10}), reader.last().data);
  EXPECT_EQ(0x6F, data[15]);  // the caller's data are left as they were
}

TEST_P(SleWrite, ReadBackDifferingInTheFirstByteIsMinusTwo) {
  unsigned char data[2] = {0x01, 0x02};
  reader.Ok({sub()});
  reader.Ok({0x02, 0x00, 0x02});
  EXPECT_EQ(-2, Call(0x40, 2, data));
}

TEST_P(SleWrite, ComparesOnlyTheBytesWritten) {
  unsigned char data[2] = {0x01, 0x02};
  reader.Ok({sub()});
  reader.Ok({0x02, 0x01, 0x02, 0x99, 0x98});  // more than asked for
  EXPECT_EQ(1, Call(0x40, 2, data));
  // The largest read-back an answer holds: compared over the bytes written.
  reader.Ok({sub()});
  reader.Ok(Cat({{0x02, 0x01, 0x02}, Bytes(ORVEX_MAX_ANSWER - 3, 0x77)}));
  EXPECT_EQ(1, Call(0x40, 2, data));
}

TEST_P(SleWrite, ShortReadBackIsAMismatch) {
  unsigned char data[4] = {0x00, 0x00, 0x00, 0x00};
  reader.Ok({sub()});
  reader.Ok({0x02, 0x00, 0x00});  // two of the four bytes
  EXPECT_EQ(-2, Call(0x40, 4, data));
}

TEST_P(SleWrite, ZeroLengthWriteFailsOnTheEmptyReadBack) {
  unsigned char data[1] = {0xAB};
  reader.Ok({sub()});
  reader.Ok({0x02});
  EXPECT_EQ(-1, Call(0x30, 0, data));
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  std::vector<Command> sent = reader.commands();
  ASSERT_EQ(2u, sent.size());
  EXPECT_EQ(Bytes({sub(), 0x30}), sent[0].data);
  EXPECT_EQ(Bytes({0x02, 0x30, 0x00}), sent[1].data);
}

TEST_P(SleWrite, FailedWriteIsMinusOneWithoutReadBack) {
  unsigned char data[2] = {0x01, 0x02};
  // Refusals become -1 as well: the carrier's -3 is not passed on.
  ExpectCarrierFailures({sub()}, -1, -1, [&] { return Call(0x40, 2, data); });
  std::vector<Command> sent = reader.commands();
  ASSERT_EQ(4u, sent.size());
  for (const Command& c : sent) EXPECT_EQ(sub(), c.data.at(0));
}

TEST_P(SleWrite, FailedReadBackIsMinusOne) {
  unsigned char data[2] = {0x01, 0x02};
  reader.Ok({sub()});
  reader.Refuse(0x01, {0x02, 0x01, 0x02});
  EXPECT_EQ(-1, Call(0x40, 2, data));
  reader.Ok({sub()});
  reader.Push(Reply::Raw(Malformed(0xC3, {0x02, 0x01, 0x02})));
  EXPECT_EQ(-1, Call(0x40, 2, data));
  reader.Ok({sub()});
  reader.Ok({0x03, 0x01, 0x02});  // not the read's echo
  EXPECT_EQ(-1, Call(0x40, 2, data));
  EXPECT_EQ(6u, reader.commands().size());
}

TEST_P(SleWrite, WriteDeadline) {
  unsigned char data[2] = {0x01, 0x02};
  CardResponds({0x00, 0x01, 0x02});  // answers the read-back
  ExpectDeadline(5, {sub()}, 1, [&] { return Call(0x01, 2, data); });
}

TEST_P(SleWrite, ReadBackDeadline) {
  unsigned char data[2] = {0x01, 0x02};
  ExpectReadBackDeadline({sub()}, {0x02, 0x01, 0x02}, 100, [&] { return Call(0x40, 2, data); });
}

INSTANTIATE_TEST_SUITE_P(
    Both, SleWrite,
    ::testing::Values(WriteCase{"MainMemory", 0x03,
                                [](Orvex& o, unsigned char a, unsigned char n, unsigned char* d) {
                                  return o.OV_SLE_WriteMainMemory(1, a, n, d);
                                }},
                      WriteCase{"ProtectedDataMemory", 0x05,
                                [](Orvex& o, unsigned char a, unsigned char n, unsigned char* d) {
                                  return o.OV_SLE_WriteProtectedDataMemory(1, a, n, d);
                                }}),
    [](const ::testing::TestParamInfo<WriteCase>& i) { return std::string(i.param.name); });

// ---- PSC change -----------------------------------------------------------------------------

TEST_F(SleTest, WritePSCReadsTheSecurityMemoryBack) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  reader.Ok({0x07});
  reader.Ok({0x06, 0x07, 0x12, 0x34, 0x56});
  EXPECT_EQ(1, ov.OV_SLE_WritePSC(1, psc));
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  std::vector<Command> sent = reader.commands();
  ASSERT_EQ(2u, sent.size());
  EXPECT_EQ(0xC3, sent[0].cmd);
  EXPECT_EQ(Bytes({0x07, 0x12, 0x34, 0x56}), sent[0].data);
  EXPECT_EQ(0xC3, sent[1].cmd);
  EXPECT_EQ(Bytes({0x06}), sent[1].data);
  EXPECT_EQ(Bytes({0x12, 0x34, 0x56}), Bytes(psc, psc + 3));
}

TEST_F(SleTest, WritePSCComparesTheBytesAfterTheCounter) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  // The counter's value does not matter; each PSC byte does.
  reader.Ok({0x07});
  reader.Ok({0x06, 0x12, 0x12, 0x34, 0x56});
  EXPECT_EQ(1, ov.OV_SLE_WritePSC(1, psc));
  for (int i = 0; i < 3; ++i) {
    Bytes back = {0x06, 0x07, 0x12, 0x34, 0x56};
    back[static_cast<size_t>(2 + i)] ^= 0x80;
    reader.Ok({0x07});
    reader.Ok(back);
    EXPECT_EQ(-2, ov.OV_SLE_WritePSC(1, psc)) << "byte " << i;
  }
  // A PSC the card does not show (zeros) or shows in part.
  reader.Ok({0x07});
  reader.Ok({0x06, 0x07, 0x00, 0x00, 0x00});
  EXPECT_EQ(-2, ov.OV_SLE_WritePSC(1, psc));
  reader.Ok({0x07});
  reader.Ok({0x06, 0x07, 0x12, 0x34});
  EXPECT_EQ(-2, ov.OV_SLE_WritePSC(1, psc));
  reader.Ok({0x07});
  reader.Ok({0x06});
  EXPECT_EQ(-2, ov.OV_SLE_WritePSC(1, psc));
}

TEST_F(SleTest, WritePSCReadsBackWithoutAPause) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  CardResponds({}, {0x07, 0x12, 0x34, 0x56});
  long psc_ms = FastestOfThree([&] { EXPECT_EQ(1, ov.OV_SLE_WritePSC(1, psc)); });
  long data_ms = FastestOfThree([&] { EXPECT_EQ(-1, ov.OV_SLE_WriteMainMemory(1, 0, 0, psc)); });
  EXPECT_LT(psc_ms, 80);
  EXPECT_GE(data_ms, 95);
}

TEST_F(SleTest, WritePSCFailures) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  auto call = [&] { return ov.OV_SLE_WritePSC(1, psc); };
  // The write fails: -1 whatever the reason, and no read-back.
  ExpectCarrierFailures({0x07}, -1, -1, call);
  EXPECT_EQ(4u, reader.commands().size());
  // The read-back fails.
  reader.ClearRecord();
  reader.Ok({0x07});
  reader.Refuse(0x01, {0x06, 0x07, 0x12, 0x34, 0x56});
  EXPECT_EQ(-1, call());
  reader.Ok({0x07});
  reader.Push(Reply::Raw(Malformed(0xC3, {0x06, 0x07, 0x12, 0x34, 0x56})));
  EXPECT_EQ(-1, call());
  reader.Ok({0x07});
  reader.Ok({0x07, 0x07, 0x12, 0x34, 0x56});  // the write's echo, not the read's
  EXPECT_EQ(-1, call());
  EXPECT_EQ(6u, reader.commands().size());
  EXPECT_EQ(Bytes({0x12, 0x34, 0x56}), Bytes(psc, psc + 3));
}

TEST_F(SleTest, WritePSCDeadline) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  CardResponds({}, {0x07, 0x12, 0x34, 0x56});  // answers the read-back
  ExpectDeadline(5, {0x07}, 1, [&] { return ov.OV_SLE_WritePSC(1, psc); });
}

TEST_F(SleTest, WritePSCReadBackDeadline) {
  unsigned char psc[3] = {0x12, 0x34, 0x56};
  ExpectReadBackDeadline({0x07}, {0x06, 0x07, 0x12, 0x34, 0x56}, 0, [&] { return ov.OV_SLE_WritePSC(1, psc); });
}
