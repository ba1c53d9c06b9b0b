// SPDX-License-Identifier: MIT
// Link state, the answer wait and the command exchange, against the fake
// reader on a pseudo-terminal.
#include <sys/time.h>
#include <unistd.h>

#include "reader_fixture.h"

using namespace orvex;
using namespace orvex_test;

namespace {

int Version(Orvex& ov) { return ov.OV_GetReaderVersion(1); }

}  // namespace

TEST(Library, VersionNeedsNoLink) {
  Orvex ov;
  EXPECT_EQ(7, ov.OV_GetDLLVersion());
}

TEST(Library, ComFreeWithNothingOpenReturnsOne) {
  Orvex ov;
  EXPECT_EQ(1, ov.OV_ComFree());
  EXPECT_EQ(0, FaceID);
}

TEST(Library, OrvexHasNoState) { EXPECT_EQ(1u, sizeof(Orvex)); }

TEST(Library, EveryCommandFailsWithoutALink) {
  Orvex ov;
  ov.OV_ComFree();
  unsigned char buf[16] = {0x5A};
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  EXPECT_EQ(-1, ov.OV_Buzzer(1, 1, 1, 1));
  EXPECT_EQ(-1, ov.OV_GetReaderSerial(1, buf));
  EXPECT_EQ(-1, ov.OV_ComNewBound(1, 9600));
  EXPECT_EQ(0x5A, buf[0]);
}

TEST(Library, ReadDataWithNoLinkReturnsZero) {
  FaceID = 0;
  unsigned char in[kMaxRawAnswer];
  EXPECT_EQ(0, ReadData_(1, in, 1, 20));
}

TEST(Library, TickCountFollowsTheWallClockIn32Bits) {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  uint32_t expect = static_cast<uint32_t>(tv.tv_sec) * 1000u + static_cast<uint32_t>(tv.tv_usec / 1000);
  uint32_t got = static_cast<uint32_t>(GetTickCount());
  EXPECT_LT(got - expect, 50u);
}

TEST(Library, OpeningAMissingDeviceFailsAndLeavesNoLink) {
  Orvex ov;
  EXPECT_EQ(0, ov.OV_ComInitialDevice("/nonexistent/tty", 19200));
  EXPECT_EQ(0, FaceID);
  EXPECT_EQ(0, ov.OV_ComInitialDevice(nullptr, 19200));
}

TEST(Library, UnsupportedHostSpeedsAreRefused) {
  FakeReader reader;
  Orvex ov;
  for (int speed : {57600, 115200, 14400, 0, -1}) {
    EXPECT_EQ(0, ov.OV_ComInitialDevice(reader.path().c_str(), speed)) << speed;
    EXPECT_EQ(0, FaceID);
  }
  for (int speed : {4800, 9600, 19200, 38400}) {
    EXPECT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), speed)) << speed;
    EXPECT_EQ(1, FaceID);
  }
  ov.OV_ComFree();
}

TEST_F(FakeReaderTest, FailedReopenClosesTheOpenPortFirst) {
  EXPECT_EQ(1, FaceID);
  EXPECT_EQ(0, ov.OV_ComInitialDevice("/nonexistent/tty", 19200));
  EXPECT_EQ(0, FaceID);
  EXPECT_EQ(-1, Version(ov));
}

TEST_F(FakeReaderTest, TwoObjectsShareOneLink) {
  Orvex other;
  reader.Ok({0x01, 0x23});
  EXPECT_EQ(0x0123, other.OV_GetReaderVersion(1));
  other.OV_ComFree();
  EXPECT_EQ(-1, Version(ov));
}

TEST_F(FakeReaderTest, WholeAnswerInTheFirstReadNeedsNoDeadline) {
  // A deadline of 0 still accepts an answer that arrives whole at once.
  Bytes frame = SerialAnswerFrame(1, 0x04, 0x00, {0x02, 0x05});
  reader.Push(Reply::Raw(frame));
  unsigned char d[1];
  ASSERT_GT(CombineByte_Send(0x04, 1, 0, d), 0);
  unsigned char in[kMaxRawAnswer];
  EXPECT_EQ(static_cast<int>(frame.size()), ReadData_(1, in, 0, 20));
  EXPECT_EQ(frame, Bytes(in, in + frame.size()));
}

TEST_F(FakeReaderTest, AnswerInPiecesWithinTheDeadlineIsCollected) {
  reader.Push(Reply::Ok({0x01, 0x07}).InPieces({2, 5}, 30));
  EXPECT_EQ(0x0107, Version(ov));
}

TEST_F(FakeReaderTest, AnswerThatStopsMidFrameFailsAtTheDeadline) {
  // The first piece arrives; the rest comes long after the 100 ms deadline.
  reader.Push(Reply::Ok({0x01, 0x07}).InPieces({4}, 700));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, Version(ov)); });
  EXPECT_GE(ms, 90);
  EXPECT_LT(ms, 600);  // not the 15 s first-byte wait
}

TEST_F(FakeReaderTest, TailOfALateAnswerIsDroppedBeforeTheNextCommand) {
  // The answer's tail comes after the deadline and waits on the line; the
  // next command must not collect it in front of its own answer.
  reader.Push(Reply::Ok({0x01, 0x07}).InPieces({4}, 200));
  EXPECT_EQ(-1, Version(ov));
  usleep(250 * 1000);
  reader.Ok({0x00, 0x09});
  EXPECT_EQ(9, Version(ov));
}

TEST_F(FakeReaderTest, CleanExchangesFollowOneAnother) {
  for (int i = 1; i <= 5; ++i) {
    reader.Ok({0x00, static_cast<uint8_t>(i)});
    EXPECT_EQ(i, Version(ov));
  }
}

TEST_F(FakeReaderTest, SilentReaderFailsAfterTheFirstByteWait) {
  reader.Push(Reply::Silence());
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, Version(ov)); });
  EXPECT_GE(ms, kTestFirstByteTimeoutMs - 20);
  EXPECT_LT(ms, kTestFirstByteTimeoutMs + 100 + 400);
}

TEST_F(FakeReaderTest, ChecksumByteDleWaitsForTheDeadlineThenDecodes) {
  // Find answer data whose checksum is 0x10: the frame then ends 10 10 03,
  // which the end test does not recognise; the wait runs to its deadline and
  // the frame is decoded normally.
  Bytes data;
  for (int v = 0; v < 256; ++v) {
    Bytes f = SerialAnswerFrame(1, 0x04, 0x00, {0x00, static_cast<uint8_t>(v)});
    if (f.size() >= 3 && f[f.size() - 3] == 0x10 && f[f.size() - 2] == 0x10) {
      data = {0x00, static_cast<uint8_t>(v)};
      break;
    }
  }
  ASSERT_FALSE(data.empty());
  reader.Ok(data);
  long ms = ElapsedMs([&] { EXPECT_EQ(data[1], Version(ov)); });
  EXPECT_GE(ms, 90);
  EXPECT_LT(ms, 600);
}

TEST_F(FakeReaderTest, ExtraBytesAfterTheAnswerFail) {
  Bytes frame = SerialAnswerFrame(1, 0x04, 0x00, {0x01, 0x07});
  frame.push_back(0x55);
  reader.Push(Reply::Raw(frame));
  EXPECT_EQ(-1, Version(ov));
}

TEST_F(FakeReaderTest, BadChecksumFails) {
  Bytes frame = SerialAnswerFrame(1, 0x04, 0x00, {0x01, 0x07});
  frame[frame.size() - 2] ^= 0x01;
  reader.Push(Reply::Raw(frame));
  EXPECT_EQ(-1, Version(ov));
}

TEST_F(FakeReaderTest, AnswerLargerThanTheBuffersFails) {
  reader.Ok(Bytes(kMaxAnswerData + 20, 0x41));
  unsigned char serial[8] = {0x77};
  EXPECT_EQ(-1, ov.OV_GetReaderSerial(1, serial));
  EXPECT_EQ(0x77, serial[0]);
}

TEST_F(FakeReaderTest, GarbageFloodWithoutEtxFailsWithinTheDeadline) {
  Bytes flood(6000, 0x41);
  flood[0] = 0x02;
  reader.Push(Reply::Raw(flood));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, Version(ov)); });
  EXPECT_LT(ms, 600);
  // Stale bytes still waiting on the line are discarded before the next
  // command goes out, so the next exchange works.
  usleep(100 * 1000);
  reader.Ok({0x00, 0x09});
  EXPECT_EQ(9, Version(ov));
}

TEST_F(FakeReaderTest, RandomBytesFailWithoutHarm) {
  unsigned seed = 99;
  for (int round = 0; round < 20; ++round) {
    Bytes junk(1 + round * 7);
    for (auto& b : junk) {
      seed = seed * 1103515245u + 12345u;
      b = static_cast<uint8_t>(seed >> 16);
    }
    junk.push_back(0x03);
    reader.Push(Reply::Raw(junk));
    unsigned char serial[ORVEX_MAX_ANSWER];
    int rt = ov.OV_GetReaderSerial(1, serial);
    EXPECT_EQ(-1, rt) << round;
  }
}

TEST_F(FakeReaderTest, LineHungUpMidFrameFailsPromptly) {
  Bytes frame = SerialAnswerFrame(1, 0x04, 0x00, {0x01, 0x07});
  reader.Push(Reply::Raw(Bytes(frame.begin(), frame.begin() + 4)));
  reader.Push(Reply::HangUp());
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, Version(ov)); });
  EXPECT_LT(ms, 600);
}

TEST_F(FakeReaderTest, AnswerReaderNumberAndCommandAreNotCompared) {
  reader.Push(Reply::Ok({0x00, 0x42}).From(0x7777).WithCmd(0x99));
  EXPECT_EQ(0x42, Version(ov));
}

TEST_F(FakeReaderTest, OversizedRequestIsRefusedBeforeAnythingIsSent) {
  std::vector<unsigned char> big(kMaxDataField, 0x11);
  EXPECT_EQ(-1, ov.OV_WriteReaderMemory(1, 0, static_cast<int>(big.size()), big.data()));
  usleep(50 * 1000);
  EXPECT_TRUE(reader.commands().empty());
  EXPECT_TRUE(reader.stray().empty());
}

TEST_F(FakeReaderTest, ExchangeReportsHowItEnded) {
  Answer a;
  reader.Refuse(0x05, {0x01});
  EXPECT_EQ(Exchanged::kDecoded, Exchange(0x04, 1, Field(), 1, 20, a));
  EXPECT_EQ(0x05, a.status);
  EXPECT_EQ(1, a.len);
  reader.Push(Reply::Raw({0x02, 0x00, 0x03}));
  EXPECT_EQ(Exchanged::kUndecodable, Exchange(0x04, 1, Field(), 1, 20, a));
  reader.Push(Reply::Silence());
  EXPECT_EQ(Exchanged::kNothingRead, Exchange(0x04, 1, Field(), 1, 20, a));
  Field over;
  over.fill(0, kMaxDataField + 1);
  EXPECT_EQ(Exchanged::kNotSent, Exchange(0x04, 1, over, 1, 20, a));
  // Transact maps "nothing read" to the caller's code, a refusal to -3.
  reader.Push(Reply::Silence());
  EXPECT_EQ(-2, Transact(0x04, 1, Field(), 1, a, 20, -2));
  reader.Refuse(0x80);
  EXPECT_EQ(-3, Transact(0x04, 1, Field(), 1, a, 20, -2));
}

TEST_F(FakeReaderTest, AnswerBufferIsZeroBeyondTheAnswer) {
  Answer a;
  reader.Ok({0x01, 0x02, 0x03, 0x04});
  ASSERT_EQ(1, Transact(0x04, 1, Field(), 1, a));
  reader.Ok({0x09});
  ASSERT_EQ(1, Transact(0x04, 1, Field(), 1, a));
  EXPECT_EQ(1, a.len);
  EXPECT_EQ(0x09, a.at(0));
  EXPECT_EQ(0x00, a.at(1));  // no byte of the earlier answer survives
  EXPECT_EQ(0x00, a.at(kMaxAnswerData));
}
