// SPDX-License-Identifier: MIT
// Topaz commands through the fake reader: the carrier's layout under reader
// command 0xC0 and its echo test, each member's request, the address echo
// tests where a member makes them, deadlines, and outputs left alone on
// failure.
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untTopAZ.h"

using namespace orvex_test;

namespace {

unsigned char kUID[4] = {0x11, 0x22, 0x33, 0x44};
unsigned char kBlock[8] = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7};

Bytes Counting(uint8_t first, size_t n) {
  Bytes b;
  for (size_t i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(first + i));
  return b;
}

// Everything a member can write, prefilled with sentinels.
struct Outs {
  unsigned char hr0 = 0x5A, hr1 = 0x5B;
  int len = -77;
  unsigned char buf[200];
  Outs() { std::memset(buf, 0xEE, sizeof buf); }
  bool Untouched() const {
    for (unsigned char c : buf)
      if (c != 0xEE) return false;
    return hr0 == 0x5A && hr1 == 0x5B && len == -77;
  }
};

// One member: the Topaz command and parameters it sends, a good tag response
// and what must reach the caller from it.
struct Case {
  const char* name;
  uint8_t fc2;
  Bytes params;
  Bytes response;  // the tag's bytes, behind the reader's echo
  std::function<int(Orvex&, Outs&)> call;
  std::function<void(const Outs&)> check;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

std::vector<Case> Cases() {
  const Bytes uid(kUID, kUID + 4);
  const Bytes block(kBlock, kBlock + 8);
  return {
      {"ReadUID", 0x78, Bytes(6, 0x00), {0x11, 0x48, 0xA1, 0xA2, 0xA3, 0xA4},
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_ReadUID(1, &x.hr0, &x.hr1, &x.len, x.buf); },
       [](const Outs& x) {
         EXPECT_EQ(0x11, x.hr0);
         EXPECT_EQ(0x48, x.hr1);
         EXPECT_EQ(4, x.len);
         EXPECT_EQ(Bytes({0xA1, 0xA2, 0xA3, 0xA4, 0xEE}), Bytes(x.buf, x.buf + 5));
       }},
      {"ReadAll", 0x00, Cat({{0x00, 0x00}, uid}), Cat({{0x11, 0x48}, Counting(0x01, 120)}),
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_ReadAll(1, kUID, &x.len, x.buf); },
       [](const Outs& x) {
         EXPECT_EQ(120, x.len);
         EXPECT_EQ(Counting(0x01, 120), Bytes(x.buf, x.buf + 120));
         EXPECT_EQ(0xEE, x.buf[120]);
       }},
      {"ReadByte", 0x01, Cat({{0x0A, 0x00}, uid}), {0x0A, 0x7C},
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_ReadByte(1, kUID, 1, 2, x.buf); },
       [](const Outs& x) { EXPECT_EQ(Bytes({0x7C, 0xEE}), Bytes(x.buf, x.buf + 2)); }},
      {"WriteByteAfterErase", 0x53, Cat({{0x1F, 0x99}, uid}), {0x1F, 0x99},
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_WriteByteAfterErase(1, kUID, 3, 7, 0x99, x.buf); },
       [](const Outs& x) { EXPECT_EQ(Bytes({0x99, 0xEE}), Bytes(x.buf, x.buf + 2)); }},
      {"WriteByteWithoutErase", 0x1A, Cat({{0x18, 0x42}, uid}), {0x18, 0x43},
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_WriteByteWithoutErase(1, kUID, 3, 0, 0x42, x.buf); },
       [](const Outs& x) { EXPECT_EQ(Bytes({0x43, 0xEE}), Bytes(x.buf, x.buf + 2)); }},
      {"ReadSegment", 0x10, Cat({{0x20}, Bytes(8, 0x00), uid}), Cat({{0x20}, Counting(0x30, 128)}),
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_ReadSegment(1, kUID, 2, &x.len, x.buf); },
       [](const Outs& x) {
         EXPECT_EQ(128, x.len);
         EXPECT_EQ(Counting(0x30, 128), Bytes(x.buf, x.buf + 128));
         EXPECT_EQ(0xEE, x.buf[128]);
       }},
      {"ReadBlock", 0x02, Cat({{0x05}, Bytes(8, 0x00), uid}), Cat({{0x05}, block}),
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_ReadBlock(1, kUID, 5, x.buf); },
       [block](const Outs& x) {
         EXPECT_EQ(block, Bytes(x.buf, x.buf + 8));
         EXPECT_EQ(0xEE, x.buf[8]);
       }},
      {"WriteBlockAfterErase", 0x54, Cat({{0x06}, block, uid}), Cat({{0x06}, block}),
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_WriteBlockAfterErase(1, kUID, 6, kBlock, x.buf); },
       [block](const Outs& x) {
         EXPECT_EQ(block, Bytes(x.buf, x.buf + 8));
         EXPECT_EQ(0xEE, x.buf[8]);
       }},
      {"WriteBlockWithoutErase", 0x1B, Cat({{0x07}, block, uid}), Cat({{0x07}, block}),
       [](Orvex& o, Outs& x) { return o.OV_TOPAZ_WriteBlockWithoutErase(1, kUID, 7, kBlock, x.buf); },
       [block](const Outs& x) {
         EXPECT_EQ(block, Bytes(x.buf, x.buf + 8));
         EXPECT_EQ(0xEE, x.buf[8]);
       }},
  };
}

class TopazMember : public CardTest, public ::testing::WithParamInterface<Case> {};

class TopazTest : public CardTest {};

// The reader's answer: the sub-function echo, then the tag's response.
Bytes Echoed(const Bytes& response) { return Cat({{0x00}, response}); }

}  // namespace

// ---- The members ------------------------------------------------------------------------------

TEST_P(TopazMember, SendsItsTopazCommandAndHandsOverTheResponse) {
  const Case& c = GetParam();
  Outs x;
  reader.Ok(Echoed(c.response));
  EXPECT_EQ(1, c.call(ov, x));
  ExpectSent(0xC0, Cat({{0x00, 0x05, c.fc2}, c.params}));
  c.check(x);
}

TEST_P(TopazMember, FailuresLeaveTheOutputs) {
  const Case& c = GetParam();
  Outs x;
  ExpectFailures(0xC0, Echoed(c.response), [&] { return c.call(ov, x); });
  // Status 0 but no sub-function echo.
  reader.Ok(Cat({{0x01}, c.response}));
  EXPECT_EQ(-3, c.call(ov, x));
  reader.Ok();
  EXPECT_EQ(-3, c.call(ov, x));
  EXPECT_TRUE(x.Untouched());
}

TEST_P(TopazMember, AnswerDeadline) {
  const Case& c = GetParam();
  Outs x;
  ExpectDeadline(1, Echoed(c.response), 1, [&] { return c.call(ov, x); });
}

INSTANTIATE_TEST_SUITE_P(All, TopazMember, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<Case>& i) { return std::string(i.param.name); });

// ---- The carrier ------------------------------------------------------------------------------

TEST_F(TopazTest, CarrierLayoutAndEcho) {
  unsigned char params[3] = {0x10, 0x02, 0x03};
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  int len = -77;
  reader.Ok({0x00, 0xC1, 0xC2, 0xC3});
  EXPECT_EQ(1, orvex::TOPAZ_Common_(0x0102, 0x3A, 0x09, 3, params, &len, out, 1));
  ExpectSent(0xC0, {0x00, 0x09, 0x3A, 0x10, 0x02, 0x03}, 0x0102);
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({0xC1, 0xC2, 0xC3, 0xEE}), Bytes(out, out + 4));

  // An echo alone: an empty tag response.
  reader.Ok({0x00});
  EXPECT_EQ(1, orvex::TOPAZ_Common_(1, 0x3A, 0x09, 0, params, &len, out, 1));
  EXPECT_EQ(0, len);
}

TEST_F(TopazTest, ResponsesShorterThanTheirFixedBytesWriteNothing) {
  // RID and RALL responses start with the two header ROM bytes, RSEG's with
  // the segment address: shorter ones used to report a length of -2 or -1.
  unsigned char uid[4] = {1, 2, 3, 4};
  unsigned char hr0 = 0x5A, hr1 = 0x5B;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  int len = 0x5C;
  for (Bytes answer : {Bytes{0x00}, Bytes{0x00, 0x11}}) {
    reader.Ok(answer);
    EXPECT_EQ(-1, ov.OV_TOPAZ_ReadUID(1, &hr0, &hr1, &len, out));
    reader.Ok(answer);
    EXPECT_EQ(-1, ov.OV_TOPAZ_ReadAll(1, uid, &len, out));
  }
  reader.Ok({0x00});
  EXPECT_EQ(-1, ov.OV_TOPAZ_ReadSegment(1, uid, 0, &len, out));
  EXPECT_EQ(0x5A, hr0);
  EXPECT_EQ(0x5B, hr1);
  EXPECT_EQ(0x5C, len);
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
}

TEST_F(TopazTest, CarrierFailures) {
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  int len = -77;
  auto call = [&] { return orvex::TOPAZ_Common_(1, 0x01, 5, 0, nullptr, &len, out, 1); };
  ExpectFailures(0xC0, {0x00, 0x01}, call);
  reader.Ok({0x10, 0x01});  // another sub-function's echo
  EXPECT_EQ(-3, call());
  reader.Refuse(0x01, {0x00, 0x01});
  EXPECT_EQ(-3, call());
  EXPECT_EQ(-77, len);
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
}

TEST_F(TopazTest, CarrierDeadlineIsDelayTime) {
  unsigned char out[8];
  int len = 0;
  ExpectDeadline(3, {0x00, 0x01}, 1, [&] { return orvex::TOPAZ_Common_(1, 0x01, 5, 0, nullptr, &len, out, 3); });
}

// ---- The cases called out one by one ----------------------------------------------------------

TEST_F(TopazTest, ReadByteAddressByte) {
  unsigned char out = 0xEE;
  reader.Ok({0x00, 0x0A, 0x55});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadByte(1, kUID, 1, 2, &out));
  ExpectSent(0xC0, {0x00, 0x05, 0x01, 0x0A, 0x00, 0x11, 0x22, 0x33, 0x44});
  EXPECT_EQ(0x55, out);
}

TEST_F(TopazTest, ByteAddressKeepsThreeBitsOfTheByteAndShiftsTheBlockUnmasked) {
  unsigned char out = 0;
  reader.Ok({0x00, 0x0F, 0x55});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadByte(1, kUID, 1, 0xFF, &out));
  ExpectSent(0xC0, {0x00, 0x05, 0x01, 0x0F, 0x00, 0x11, 0x22, 0x33, 0x44});
  reader.ClearRecord();
  reader.Ok({0x00, 0x08, 0x55});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadByte(1, kUID, 0x21, 0, &out));  // 0x21 x 8 = 0x108
  ExpectSent(0xC0, {0x00, 0x05, 0x01, 0x08, 0x00, 0x11, 0x22, 0x33, 0x44});
}

TEST_F(TopazTest, ReadSegmentKeepsTwoBitsOfTheSegment) {
  int len = 0;
  unsigned char out[160];
  reader.Ok({0x00, 0x10, 0x01});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadSegment(1, kUID, 5, &len, out));
  ExpectSent(0xC0, Cat({{0x00, 0x05, 0x10, 0x10}, Bytes(8, 0x00), {0x11, 0x22, 0x33, 0x44}}));
  EXPECT_EQ(1, len);
}

TEST_F(TopazTest, ByteCommandsLookOnlyAtTwoByteResponses) {
  unsigned char out = 0xEE;
  // 3 bytes, and not even the right address: 1, nothing written.
  reader.Ok({0x00, 0x77, 0x55, 0x66});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadByte(1, kUID, 1, 2, &out));
  EXPECT_EQ(0xEE, out);
  reader.Ok({0x00, 0x0A});
  EXPECT_EQ(1, ov.OV_TOPAZ_WriteByteAfterErase(1, kUID, 1, 2, 0x01, &out));
  EXPECT_EQ(0xEE, out);
  reader.Ok({0x00});
  EXPECT_EQ(1, ov.OV_TOPAZ_WriteByteWithoutErase(1, kUID, 1, 2, 0x01, &out));
  EXPECT_EQ(0xEE, out);
}

TEST_F(TopazTest, ByteCommandsTestTheAddressEcho) {
  unsigned char out = 0xEE;
  reader.Ok({0x00, 0x0B, 0x55});
  EXPECT_EQ(-2, ov.OV_TOPAZ_ReadByte(1, kUID, 1, 2, &out));
  reader.Ok({0x00, 0x0B, 0x55});
  EXPECT_EQ(-2, ov.OV_TOPAZ_WriteByteAfterErase(1, kUID, 1, 2, 0x55, &out));
  reader.Ok({0x00, 0x0B, 0x55});
  EXPECT_EQ(-2, ov.OV_TOPAZ_WriteByteWithoutErase(1, kUID, 1, 2, 0x55, &out));
  EXPECT_EQ(0xEE, out);
}

TEST_F(TopazTest, BlockCommandsAlwaysTestTheEchoAndNeverTheLength) {
  unsigned char out[10];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x00, 0x06, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7});
  EXPECT_EQ(-2, ov.OV_TOPAZ_ReadBlock(1, kUID, 5, out));
  reader.Ok({0x00, 0x06});
  EXPECT_EQ(-2, ov.OV_TOPAZ_WriteBlockAfterErase(1, kUID, 7, kBlock, out));
  reader.Ok({0x00, 0x06});
  EXPECT_EQ(-2, ov.OV_TOPAZ_WriteBlockWithoutErase(1, kUID, 7, kBlock, out));
  EXPECT_EQ(Bytes(10, 0xEE), Bytes(out, out + 10));
  // A short response with the right echo: 8 bytes all the same, zeros past its end.
  reader.Ok({0x00, 0x05, 0xB0, 0xB1});
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadBlock(1, kUID, 5, out));
  EXPECT_EQ(Bytes({0xB0, 0xB1, 0, 0, 0, 0, 0, 0, 0xEE}), Bytes(out, out + 9));
  // A long one: still 8.
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({{0x00, 0x05}, Counting(0x40, 12)}));
  EXPECT_EQ(1, ov.OV_TOPAZ_ReadBlock(1, kUID, 5, out));
  EXPECT_EQ(Cat({Counting(0x40, 8), {0xEE}}), Bytes(out, out + 9));
}

TEST_F(TopazTest, ReadSegmentTestsTheEcho) {
  int len = -77;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x00, 0x10, 0x01, 0x02});
  EXPECT_EQ(-2, ov.OV_TOPAZ_ReadSegment(1, kUID, 2, &len, out));
  EXPECT_EQ(-77, len);
  EXPECT_EQ(0xEE, out[0]);
}
