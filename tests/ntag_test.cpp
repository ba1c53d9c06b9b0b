// SPDX-License-Identifier: MIT
// NTAG commands through the fake reader: the 0xC0 carrier frames, the echo
// the answer must carry, the FAST_READ range cap and the PACK rule.
#include <cstring>
#include <vector>

#include "card_test.h"
#include "cards/untNTag.h"

using namespace orvex_test;

namespace {

class NTagTest : public CardTest {
 protected:
  // A carrier answer: the echo byte, then the payload.
  static Bytes Echo(uint8_t echo, Bytes payload) {
    payload.insert(payload.begin(), echo);
    return payload;
  }
  // An answer with status 0 whose first byte is not the expected echo is a
  // refusal (-3), as is a non-zero status; a malformed one is -1.
  void ExpectCarrierFailures(const Bytes& okAnswer, const std::function<int()>& call) {
    ExpectFailures(0xC0, okAnswer, call);
    Bytes wrong = okAnswer;
    wrong[0] ^= 0x01;
    reader.Ok(wrong);
    EXPECT_EQ(-3, call()) << "wrong echo";
    reader.Ok({});
    EXPECT_EQ(-3, call()) << "no echo at all";
  }
};

Bytes Seq(uint8_t first, int n) {
  Bytes b;
  for (int i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(first + i));
  return b;
}

}  // namespace

// ---- Carriers -----------------------------------------------------------------------

TEST_F(NTagTest, TransparentCarrierFrameAndAnswer) {
  unsigned char param[2] = {0x04, 0x07};
  int len = 0;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x10, 0xAA, 0xBB, 0xCC});
  EXPECT_EQ(1, orvex::NTag_Common_(1, 0x3A, 0x09, 2, param, &len, out, 1));
  ExpectSent(0xC0, {0x10, 0x09, 0x3A, 0x04, 0x07});
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({0xAA, 0xBB, 0xCC}), Bytes(out, out + 3));
  EXPECT_EQ(0xEE, out[3]);
}

TEST_F(NTagTest, TransparentCarrierPassesItsDeadline) {
  int len = 0;
  unsigned char out[8];
  ExpectDeadline(4, {0x10, 1}, 1, [&] { return orvex::NTag_Common_(1, 0x60, 5, 0, nullptr, &len, out, 4); });
}

TEST_F(NTagTest, ReaderSubFunctionCarrierEchoesItsOwnCode) {
  unsigned char param[1] = {0x09};
  int len = 0;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x16, 0x01});
  EXPECT_EQ(1, orvex::NTag_Common2_(1, 0x16, 0x05, 1, param, &len, out, 1));
  ExpectSent(0xC0, {0x16, 0x09});  // no 0x10, no time-out byte
  EXPECT_EQ(1, len);
  EXPECT_EQ(0x01, out[0]);
  EXPECT_EQ(0xEE, out[1]);

  // 0x10 is not the echo this carrier wants.
  len = 0x5A;
  reader.Ok({0x10, 0x01});
  EXPECT_EQ(-3, orvex::NTag_Common2_(1, 0x16, 0x05, 1, param, &len, out, 1));
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(0xEE, out[1]);
}

// ---- Members ------------------------------------------------------------------------

TEST_F(NTagTest, GetVersion) {
  unsigned char v[10];
  std::memset(v, 0xEE, sizeof v);
  const Bytes version = {0x00, 0x04, 0x04, 0x02, 0x01, 0x00, 0x0F, 0x03};
  reader.Ok(Echo(0x10, version));
  EXPECT_EQ(1, ov.OV_NTag_GetVersion(1, v));
  ExpectSent(0xC0, {0x10, 0x05, 0x60});
  EXPECT_EQ(version, Bytes(v, v + 8));
  EXPECT_EQ(0xEE, v[8]);

  std::memset(v, 0xEE, sizeof v);
  ExpectCarrierFailures(Echo(0x10, version), [&] { return ov.OV_NTag_GetVersion(1, v); });
  EXPECT_EQ(Bytes(10, 0xEE), Bytes(v, v + 10));
  ExpectDeadline(1, Echo(0x10, version), 1, [&] { return ov.OV_NTag_GetVersion(1, v); });
}

TEST_F(NTagTest, Read) {
  int len = 0;
  unsigned char buf[20];
  std::memset(buf, 0xEE, sizeof buf);
  reader.Ok(Echo(0x10, Seq(0x40, 16)));
  EXPECT_EQ(1, ov.OV_NTag_Read(1, 0x104, &len, buf));
  ExpectSent(0xC0, {0x10, 0x05, 0x30, 0x04});
  EXPECT_EQ(16, len);
  EXPECT_EQ(Seq(0x40, 16), Bytes(buf, buf + 16));
  EXPECT_EQ(0xEE, buf[16]);

  len = 0x5A;
  std::memset(buf, 0xEE, sizeof buf);
  ExpectCarrierFailures(Echo(0x10, Seq(0, 16)), [&] { return ov.OV_NTag_Read(1, 4, &len, buf); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(20, 0xEE), Bytes(buf, buf + 20));
  ExpectDeadline(1, Echo(0x10, Seq(0, 16)), 1, [&] { return ov.OV_NTag_Read(1, 4, &len, buf); });
}

TEST_F(NTagTest, FastReadRangeIsCappedAtFiftyOnePages) {
  int len = 0;
  std::vector<unsigned char> buf(210, 0xEE);
  int endPage = 100;
  reader.Ok(Echo(0x10, Seq(0, 204)));
  EXPECT_EQ(1, ov.OV_NTag_FastRead(1, 4, endPage, &len, buf.data()));
  ExpectSent(0xC0, {0x10, 0x05, 0x3A, 0x04, 0x36});  // page 54
  EXPECT_EQ(100, endPage);
  EXPECT_EQ(204, len);
  EXPECT_EQ(Seq(0, 204), Bytes(buf.begin(), buf.begin() + 204));
  EXPECT_EQ(0xEE, buf[204]);

  // Exactly fifty pages past the first: sent as given.
  reader.Ok(Echo(0x10, Seq(0, 204)));
  EXPECT_EQ(1, ov.OV_NTag_FastRead(1, 10, 60, &len, buf.data()));
  ExpectSent(0xC0, {0x10, 0x05, 0x3A, 0x0A, 0x3C});
  reader.Ok(Echo(0x10, Seq(0, 8)));
  EXPECT_EQ(1, ov.OV_NTag_FastRead(1, 4, 5, &len, buf.data()));
  ExpectSent(0xC0, {0x10, 0x05, 0x3A, 0x04, 0x05});
  EXPECT_EQ(8, len);
}

TEST_F(NTagTest, FastReadFailuresAndDeadline) {
  int len = 0x5A;
  unsigned char buf[12];
  std::memset(buf, 0xEE, sizeof buf);
  ExpectCarrierFailures(Echo(0x10, Seq(0, 8)), [&] { return ov.OV_NTag_FastRead(1, 4, 5, &len, buf); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(12, 0xEE), Bytes(buf, buf + 12));
  ExpectDeadline(1, Echo(0x10, Seq(0, 8)), 1, [&] { return ov.OV_NTag_FastRead(1, 4, 5, &len, buf); });
}

TEST_F(NTagTest, WriteAloneUsesTimeOutFifteen) {
  unsigned char page[4] = {0x03, 0x00, 0xFE, 0x00};
  reader.Ok({0x10});
  EXPECT_EQ(1, ov.OV_NTag_Write(1, 4, page));
  ExpectSent(0xC0, {0x10, 0x0F, 0xA2, 0x04, 0x03, 0x00, 0xFE, 0x00});
  ExpectCarrierFailures({0x10}, [&] { return ov.OV_NTag_Write(1, 4, page); });
  ExpectDeadline(1, {0x10}, 1, [&] { return ov.OV_NTag_Write(1, 4, page); });
}

TEST_F(NTagTest, CompatibleWriteSendsSixteenBytes) {
  Bytes data = Seq(0x20, 16);
  reader.Ok({0x15});
  EXPECT_EQ(1, ov.OV_NTag_CompatibleWrite(1, 5, data.data()));
  Bytes expected = data;
  expected.insert(expected.begin(), {0x15, 0x05});
  ExpectSent(0xC0, expected);
  EXPECT_EQ(18u, expected.size());
  ExpectCarrierFailures({0x15}, [&] { return ov.OV_NTag_CompatibleWrite(1, 5, data.data()); });
  ExpectDeadline(1, {0x15}, 1, [&] { return ov.OV_NTag_CompatibleWrite(1, 5, data.data()); });
}

TEST_F(NTagTest, ReadCounterIsTwentyFourBitsLowByteFirst) {
  int counter = 0;
  reader.Ok({0x16, 0x01, 0x02, 0x03});
  EXPECT_EQ(1, ov.OV_NTag_ReadCounter(1, &counter));
  ExpectSent(0xC0, {0x16});
  EXPECT_EQ(0x030201, counter);

  reader.Ok({0x16, 0xFF, 0xFF, 0xFF, 0x7F});  // a fourth byte is not part of it
  EXPECT_EQ(1, ov.OV_NTag_ReadCounter(1, &counter));
  EXPECT_EQ(0xFFFFFF, counter);

  counter = 0x5A5A;
  ExpectCarrierFailures({0x16, 1, 2, 3}, [&] { return ov.OV_NTag_ReadCounter(1, &counter); });
  EXPECT_EQ(0x5A5A, counter);
  ExpectDeadline(1, {0x16, 1, 2, 3}, 1, [&] { return ov.OV_NTag_ReadCounter(1, &counter); });
}

// The library's own reading of any of the three counters: READ_CNT with the
// counter number through the Type 2 channel.
TEST_F(NTagTest, ReadCounterOfAnyCounterGoesThroughTheTypeTwoChannel) {
  int counter = 0;
  reader.Ok({0x10, 0x01, 0x02, 0x03});
  EXPECT_EQ(1, OrvexNTagReadCounter(1, 0, &counter));
  ExpectSent(0xC0, {0x10, 0x05, 0x39, 0x00});
  EXPECT_EQ(0x030201, counter);
  reader.Ok({0x10, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(1, OrvexNTagReadCounter(1, 2, &counter));
  ExpectSent(0xC0, {0x10, 0x05, 0x39, 0x02});
  EXPECT_EQ(0xFFFFFF, counter);

  // An answer that is not the counter's three bytes is not a counter.
  counter = 0x5A5A;
  for (const Bytes& answer : {Bytes{0x10, 0x01, 0x02}, Bytes{0x10, 0x01, 0x02, 0x03, 0x04}, Bytes{0x10}}) {
    reader.Ok(answer);
    EXPECT_EQ(-3, OrvexNTagReadCounter(1, 1, &counter)) << answer.size();
    EXPECT_EQ(0x5A5A, counter);
  }
  ExpectCarrierFailures({0x10, 1, 2, 3}, [&] { return OrvexNTagReadCounter(1, 1, &counter); });
  EXPECT_EQ(0x5A5A, counter);

  // No tag has a counter 3: refused before anything goes out.
  reader.ClearRecord();
  EXPECT_EQ(-3, OrvexNTagReadCounter(1, 3, &counter));
  EXPECT_EQ(-3, OrvexNTagReadCounter(1, -1, &counter));
  EXPECT_EQ(0x5A5A, counter);
  EXPECT_TRUE(reader.commands().empty());
  ExpectDeadline(1, {0x10, 1, 2, 3}, 1, [&] { return OrvexNTagReadCounter(1, 0, &counter); });
}

TEST_F(NTagTest, PasswordAuthSucceedsOnlyWithPackZero) {
  unsigned char pwd[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char pack[3] = {0xEE, 0xEE, 0xEE};
  reader.Ok({0x10, 0x00, 0x00});
  EXPECT_EQ(1, ov.OV_NTag_Password_Auth(1, pwd, pack));
  ExpectSent(0xC0, {0x10, 0x05, 0x1B, 0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(Bytes({0x00, 0x00, 0xEE}), Bytes(pack, pack + 3));

  // Any other PACK is handed over and yet reported as -1.
  reader.Ok({0x10, 0x80, 0x80});
  EXPECT_EQ(-1, ov.OV_NTag_Password_Auth(1, pwd, pack));
  EXPECT_EQ(Bytes({0x80, 0x80, 0xEE}), Bytes(pack, pack + 3));
  reader.Ok({0x10, 0x00, 0x01});
  EXPECT_EQ(-1, ov.OV_NTag_Password_Auth(1, pwd, pack));
  EXPECT_EQ(Bytes({0x00, 0x01, 0xEE}), Bytes(pack, pack + 3));
}

TEST_F(NTagTest, PasswordAuthFailedExchangeLeavesAuthResult) {
  unsigned char pwd[4] = {1, 2, 3, 4};
  unsigned char pack[2] = {0xEE, 0xEE};
  ExpectCarrierFailures({0x10, 0x00, 0x00}, [&] { return ov.OV_NTag_Password_Auth(1, pwd, pack); });
  EXPECT_EQ(Bytes({0xEE, 0xEE}), Bytes(pack, pack + 2));
  ExpectDeadline(1, {0x10, 0x00, 0x00}, 1, [&] { return ov.OV_NTag_Password_Auth(1, pwd, pack); });
}

TEST_F(NTagTest, ReadSignature) {
  unsigned char sig[34];
  std::memset(sig, 0xEE, sizeof sig);
  reader.Ok(Echo(0x10, Seq(0x80, 32)));
  EXPECT_EQ(1, ov.OV_NTag_ReadSignature(1, sig));
  ExpectSent(0xC0, {0x10, 0x05, 0x3C, 0x00});
  EXPECT_EQ(Seq(0x80, 32), Bytes(sig, sig + 32));
  EXPECT_EQ(0xEE, sig[32]);

  std::memset(sig, 0xEE, sizeof sig);
  ExpectCarrierFailures(Echo(0x10, Seq(0, 32)), [&] { return ov.OV_NTag_ReadSignature(1, sig); });
  EXPECT_EQ(Bytes(34, 0xEE), Bytes(sig, sig + 34));
  ExpectDeadline(1, Echo(0x10, Seq(0, 32)), 1, [&] { return ov.OV_NTag_ReadSignature(1, sig); });
}
