// SPDX-License-Identifier: MIT
// The simulated reader's frame codec: command frames cut from a serial byte
// stream (escaping, length, checksum), answers framed and stuffed. Expected
// bytes are written out by hand.
#include <gtest/gtest.h>

#include "orvexsim/frame.h"

using namespace orvexsim;
using Event = SerialFrameParser::Event;

namespace {

std::vector<Event> FeedAll(SerialFrameParser& p, const Bytes& b) {
  std::vector<Event> ev;
  p.Feed(b.data(), b.size(), SerialFrameParser::Clock::now(), ev);
  return ev;
}

// GetReaderID for reader 1: the command byte 03 travels escaped.
const Bytes kGetReaderId = {0x02, 0x00, 0x06, 0x00, 0x01, 0x10, 0x03, 0x04, 0x03};

}  // namespace

TEST(SimFrame, ParsesAStuffedCommandFrame) {
  SerialFrameParser p;
  auto ev = FeedAll(p, kGetReaderId);
  ASSERT_EQ(1u, ev.size());
  EXPECT_EQ(Event::Kind::kFrame, ev[0].kind);
  EXPECT_EQ(1, ev[0].frame.reader);
  EXPECT_EQ(0x03, ev[0].frame.cmd);
  EXPECT_TRUE(ev[0].frame.data.empty());
  EXPECT_EQ(kGetReaderId, ev[0].raw);
}

TEST(SimFrame, ParsesAFrameArrivingByteByByte) {
  SerialFrameParser p;
  std::vector<Event> all;
  for (uint8_t b : kGetReaderId) {
    auto ev = FeedAll(p, {b});
    all.insert(all.end(), ev.begin(), ev.end());
  }
  ASSERT_EQ(1u, all.size());
  EXPECT_EQ(Event::Kind::kFrame, all[0].kind);
  EXPECT_EQ(0x03, all[0].frame.cmd);
}

TEST(SimFrame, UnescapesDataBytes) {
  // SendCMD echo with data 00 01 02 03 10: every control byte escaped.
  SerialFrameParser p;
  auto ev = FeedAll(p, {0x02, 0x00, 0x0B, 0x00, 0x01, 0xFB, 0x00, 0x01, 0x10, 0x02, 0x10, 0x03,
                        0x10, 0x10, 0xE1, 0x03});
  ASSERT_EQ(1u, ev.size());
  ASSERT_EQ(Event::Kind::kFrame, ev[0].kind);
  EXPECT_EQ((Bytes{0x00, 0x01, 0x02, 0x03, 0x10}), ev[0].frame.data);
}

TEST(SimFrame, ReportsStrayBytesBeforeAFrame) {
  SerialFrameParser p;
  Bytes b = {0xAA, 0x55};
  b.insert(b.end(), kGetReaderId.begin(), kGetReaderId.end());
  auto ev = FeedAll(p, b);
  ASSERT_EQ(2u, ev.size());
  EXPECT_EQ(Event::Kind::kStray, ev[0].kind);
  EXPECT_EQ((Bytes{0xAA, 0x55}), ev[0].raw);
  EXPECT_EQ(Event::Kind::kFrame, ev[1].kind);
}

TEST(SimFrame, RejectsABadChecksum) {
  SerialFrameParser p;
  Bytes b = kGetReaderId;
  b[7] ^= 0x01;
  auto ev = FeedAll(p, b);
  ASSERT_EQ(1u, ev.size());
  EXPECT_EQ(Event::Kind::kMalformed, ev[0].kind);
  EXPECT_EQ(FrameError::kChecksum, ev[0].error);
}

TEST(SimFrame, RejectsALengthFieldThatDisagrees) {
  // Length says 7 but 6 bytes came (checksum adjusted so only the length is wrong).
  SerialFrameParser p;
  auto ev = FeedAll(p, {0x02, 0x00, 0x07, 0x00, 0x01, 0x10, 0x03, 0x05, 0x03});
  ASSERT_EQ(1u, ev.size());
  EXPECT_EQ(FrameError::kLength, ev[0].error);
}

TEST(SimFrame, RejectsAFrameTooShortToHoldAHeader) {
  SerialFrameParser p;
  auto ev = FeedAll(p, {0x02, 0x00, 0x03});
  ASSERT_EQ(1u, ev.size());
  EXPECT_EQ(FrameError::kTooShort, ev[0].error);
}

TEST(SimFrame, AnUnescapedStxRestartsTheFrame) {
  SerialFrameParser p;
  Bytes b = {0x02, 0x00, 0x06};
  b.insert(b.end(), kGetReaderId.begin(), kGetReaderId.end());
  auto ev = FeedAll(p, b);
  ASSERT_EQ(2u, ev.size());
  EXPECT_EQ(FrameError::kRestarted, ev[0].error);
  EXPECT_EQ(Event::Kind::kFrame, ev[1].kind);
}

TEST(SimFrame, EncodesAStuffedAnswer) {
  // Reader 1 answers GetReaderID with 00 01.
  EXPECT_EQ((Bytes{0x02, 0x00, 0x09, 0x00, 0x01, 0x10, 0x03, 0x00, 0x00, 0x01, 0x0A, 0x03}),
            EncodeSerialAnswer(1, 0x03, 0x00, {0x00, 0x01}));
  // Reader number 0203 and data 02 03: all escaped.
  EXPECT_EQ((Bytes{0x02, 0x00, 0x09, 0x10, 0x02, 0x10, 0x03, 0x10, 0x03, 0x00, 0x10, 0x02, 0x10,
                   0x03, 0x0A, 0x03}),
            EncodeSerialAnswer(0x0203, 0x03, 0x00, {0x02, 0x03}));
}

TEST(SimFrame, EncodesAnHidAnswerWithoutFraming) {
  EXPECT_EQ((Bytes{0x00, 0x09, 0x00, 0x01, 0x03, 0x00, 0x00, 0x01, 0x0A}),
            EncodeHidAnswer(1, 0x03, 0x00, {0x00, 0x01}));
}

TEST(SimFrame, DecodesAnHidCommand) {
  CommandFrame f;
  EXPECT_EQ(FrameError::kNone, DecodeCommandBody({0x00, 0x06, 0x00, 0x01, 0x03, 0x04}, f));
  EXPECT_EQ(0x03, f.cmd);
  EXPECT_EQ(FrameError::kChecksum, DecodeCommandBody({0x00, 0x06, 0x00, 0x01, 0x03, 0x05}, f));
}
