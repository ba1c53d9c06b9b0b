// SPDX-License-Identifier: MIT
// ISO 14443-B and memory-tag commands through the fake reader: command code
// and data field, answer deadline, success value and outputs, failures that
// leave the outputs alone, and the three multi-block read conventions.
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untISO14443B.h"

using namespace orvex_test;

namespace {

unsigned char kAttrib[4] = {0x00, 0x08, 0x01, 0x08};
unsigned char kPUPI[4] = {0x10, 0x02, 0x03, 0x44};
unsigned char kKey8[8] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7};
unsigned char kKey6[6] = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5};
unsigned char kData[16] = {0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7,
                           0xD8, 0xD9, 0xDA, 0xDB, 0xDC, 0xDD, 0xDE, 0xDF};

// A command that hands nothing back: its code, data field, deadline, call.
struct Plain {
  const char* name;
  uint8_t cmd;
  Bytes data;
  int delay;
  std::function<int(Orvex&)> call;
};

std::vector<Plain> PlainCases() {
  return {
      {"TypeBHalt", 0x41, {0x10, 0x02, 0x03, 0x44}, 1, [](Orvex& o) { return o.OV_TypeB_Halt(1, kPUPI); }},
      {"AT88RF020Check", 0x42, Bytes(kKey8, kKey8 + 8), 3, [](Orvex& o) { return o.OV_AT88RF020_Check(1, kKey8); }},
      {"AT88RF020Write", 0x44, {0x05, 0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7}, 1,
       [](Orvex& o) { return o.OV_AT88RF020_Write(1, 0x105, kData); }},
      {"AT88RF020Lock", 0x45, {0xD0, 0xD1, 0xD2, 0xD3}, 1, [](Orvex& o) { return o.OV_AT88RF020_Lock(1, kData); }},
      {"AT88RF020Count", 0x46, Bytes(kKey6, kKey6 + 6), 1, [](Orvex& o) { return o.OV_AT88RF020_Count(1, kKey6); }},
      {"AT88RF020DeSel", 0x47, {}, 1, [](Orvex& o) { return o.OV_AT88RF020_DeSel(1); }},
      {"STDeActive", 0x4C, {}, 1, [](Orvex& o) { return o.OV_ST_DeActive(1); }},
      {"SR176Write", 0x4E, {0x0F, 0xD0, 0xD1}, 1, [](Orvex& o) { return o.OV_SR176_Write(1, 15, kData); }},
      {"SR176Lock", 0x4F, {0x3C}, 1, [](Orvex& o) { return o.OV_SR176_Lock(1, 0x3C); }},
      {"SR512Write", 0x54, {0x07, 0xD0, 0xD1, 0xD2, 0xD3, 0x00}, 1, [](Orvex& o) { return o.OV_SR512_Write(1, 7, kData); }},
      {"SR512Lock", 0x57, {0x01, 0x01}, 1, [](Orvex& o) { return o.OV_SR512_Lock(1, 0x8000); }},
  };
}

class PlainCommand : public CardTest, public ::testing::WithParamInterface<Plain> {};

// A command that hands the whole answer back (with its length where it has one).
struct Whole {
  const char* name;
  uint8_t cmd;
  Bytes data;
  int delay;
  bool hasLen;
  std::function<int(Orvex&, int* len, unsigned char* out)> call;
};

std::vector<Whole> WholeCases() {
  return {
      {"TypeBRequest", 0x5F, {0x01, 0x00, 0x08, 0x01, 0x08}, 4, true,
       [](Orvex& o, int* l, unsigned char* d) { return o.OV_TypeB_Request(1, 1, kAttrib, l, d); }},
      {"TypeBResetEx", 0x5F, {0x00, 0x00, 0x08, 0x01, 0x08}, 4, true,
       [](Orvex& o, int* l, unsigned char* d) { return o.OV_TypeB_ResetEx(1, 0, kAttrib, l, d); }},
      {"TypeBReset", 0x40, {0x01}, 4, true,
       [](Orvex& o, int* l, unsigned char* d) { return o.OV_TypeB_Reset(1, 0x53, l, d); }},
      {"AT88RF020Read", 0x43, {0x02}, 1, false,
       [](Orvex& o, int*, unsigned char* d) { return o.OV_AT88RF020_Read(1, 2, d); }},
      {"SR176Read", 0x4D, {0x0E}, 1, false, [](Orvex& o, int*, unsigned char* d) { return o.OV_SR176_Read(1, 14, d); }},
      {"SR512Read", 0x53, {0x10}, 1, false, [](Orvex& o, int*, unsigned char* d) { return o.OV_SR512_Read(1, 16, d); }},
      {"SRIX4KCheck", 0x55, Bytes(kKey6, kKey6 + 6), 1, false,
       [](Orvex& o, int*, unsigned char* d) { return o.OV_SRIX4K_Check(1, kKey6, d); }},
      {"SR512GetUID", 0x56, {}, 1, false, [](Orvex& o, int*, unsigned char* d) { return o.OV_SR512_GetUID(1, d); }},
  };
}

class WholeCommand : public CardTest, public ::testing::WithParamInterface<Whole> {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    std::memset(out, 0xEE, sizeof out);
  }
  int Call() { return GetParam().call(ov, &len, out); }
  unsigned char out[24];
  int len = -77;
};

// Multi-block commands: the result is the leading answer byte.
struct Multi {
  const char* name;
  uint8_t cmd;
  bool write;
  int extra;  // reads: LenData = n + extra
  std::function<int(Orvex&, int BlockID, int BlockNums, int* len, unsigned char* data)> call;
};

std::vector<Multi> MultiCases() {
  return {
      {"AT88RF020ReadMulti", 0x48, false, 0,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_AT88RF020_ReadMulti(1, b, n, l, d); }},
      {"SR176ReadMulti", 0x51, false, -1,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_SR176_ReadMulti(1, b, n, l, d); }},
      {"SR512ReadMulti", 0x58, false, -1,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_SR512_ReadMulti(1, b, n, l, d); }},
      {"AT88RF020WriteMulti", 0x49, true, 0,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_AT88RF020_WriteMulti(1, b, n, *l, d); }},
      {"SR176WriteMulti", 0x52, true, 0,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_SR176_WriteMulti(1, b, n, *l, d); }},
      {"SR512WriteMulti", 0x59, true, 0,
       [](Orvex& o, int b, int n, int* l, unsigned char* d) { return o.OV_SR512_WriteMulti(1, b, n, *l, d); }},
  };
}

class MultiCommand : public CardTest, public ::testing::WithParamInterface<Multi> {};

template <typename T>
std::string Name(const ::testing::TestParamInfo<T>& i) {
  return i.param.name;
}
void PrintTo(const Plain& c, std::ostream* os) { *os << c.name; }
void PrintTo(const Whole& c, std::ostream* os) { *os << c.name; }
void PrintTo(const Multi& c, std::ostream* os) { *os << c.name; }

const Bytes kAnswer = {0x50, 0x12, 0x34, 0x56, 0x78};

}  // namespace

// ---- Commands without outputs -------------------------------------------------------------

TEST_P(PlainCommand, SendsItsCodeAndDataField) {
  const Plain& c = GetParam();
  reader.Ok({0x99});  // answer data is not looked at
  EXPECT_EQ(1, c.call(ov));
  ExpectSent(c.cmd, c.data);
}

TEST_P(PlainCommand, Failures) {
  const Plain& c = GetParam();
  ExpectFailures(c.cmd, {}, [&] { return c.call(ov); });
}

TEST_P(PlainCommand, AnswerDeadline) {
  const Plain& c = GetParam();
  ExpectDeadline(c.delay, {}, 1, [&] { return c.call(ov); });
}

INSTANTIATE_TEST_SUITE_P(All, PlainCommand, ::testing::ValuesIn(PlainCases()), Name<Plain>);

// ---- Commands handing over the whole answer -------------------------------------------------

TEST_P(WholeCommand, SendsItsCodeAndHandsOverTheWholeAnswer) {
  const Whole& c = GetParam();
  reader.Ok(kAnswer);
  EXPECT_EQ(1, Call());
  ExpectSent(c.cmd, c.data);
  EXPECT_EQ(kAnswer, Bytes(out, out + kAnswer.size()));
  EXPECT_EQ(0xEE, out[kAnswer.size()]);
  EXPECT_EQ(c.hasLen ? static_cast<int>(kAnswer.size()) : -77, len);
  // A longer answer goes over whole as well.
  Bytes longer(20, 0x61);
  reader.Ok(longer);
  EXPECT_EQ(1, Call());
  EXPECT_EQ(longer, Bytes(out, out + 20));
  EXPECT_EQ(0xEE, out[20]);
  EXPECT_EQ(c.hasLen ? 20 : -77, len);
}

TEST_P(WholeCommand, FailuresLeaveTheOutputs) {
  const Whole& c = GetParam();
  ExpectFailures(c.cmd, kAnswer, [&] { return Call(); });
  EXPECT_EQ(-77, len);
  EXPECT_EQ(Bytes(sizeof out, 0xEE), Bytes(out, out + sizeof out));
}

TEST_P(WholeCommand, AnswerDeadline) {
  const Whole& c = GetParam();
  ExpectDeadline(c.delay, kAnswer, 1, [&] { return Call(); });
}

INSTANTIATE_TEST_SUITE_P(All, WholeCommand, ::testing::ValuesIn(WholeCases()), Name<Whole>);

// ---- Multi-block commands ---------------------------------------------------------------------

TEST_P(MultiCommand, ResultIsTheLeadingAnswerByte) {
  const Multi& c = GetParam();
  // 05 followed by 10 data bytes.
  Bytes answer = {0x05, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  unsigned char data[16];
  std::memset(data, 0xEE, sizeof data);
  if (c.write) std::memcpy(data, kData, 6);
  int len = c.write ? 6 : -77;
  reader.Ok(answer);
  EXPECT_EQ(5, c.call(ov, 0x104, 0x203, &len, data));
  if (c.write) {
    ExpectSent(c.cmd, {0x04, 0x03, 0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5});
    EXPECT_EQ(6, len);
  } else {
    ExpectSent(c.cmd, {0x04, 0x03});
    // The reported count and the bytes copied from the answer's second byte on.
    int want = static_cast<int>(answer.size()) + c.extra;
    EXPECT_EQ(want, len);
    Bytes expected(answer.begin() + 1, answer.end());
    expected.push_back(0x00);  // one past the answer's data reads as zero
    expected.resize(static_cast<size_t>(want));
    EXPECT_EQ(expected, Bytes(data, data + want));
    EXPECT_EQ(0xEE, data[want]);
  }
  // The leading byte 0 is a success too.
  reader.Ok({0x00, 0x11, 0x22});
  EXPECT_EQ(0, c.call(ov, 1, 1, &len, data));
  reader.Ok({0xFF, 0x11, 0x22});
  EXPECT_EQ(255, c.call(ov, 1, 1, &len, data));
}

TEST_P(MultiCommand, FailuresLeaveTheOutputs) {
  const Multi& c = GetParam();
  unsigned char data[8];
  std::memset(data, 0xEE, sizeof data);
  int len = c.write ? 2 : -77;
  ExpectFailures(c.cmd, {0x05, 1, 2}, [&] { return c.call(ov, 1, 1, &len, data); });
  EXPECT_EQ(c.write ? 2 : -77, len);
  EXPECT_EQ(Bytes(sizeof data, 0xEE), Bytes(data, data + sizeof data));
}

TEST_P(MultiCommand, DeadlineIsBlockNumsTenthsOfASecond) {
  const Multi& c = GetParam();
  unsigned char data[16] = {};
  int len = 2;
  ExpectDeadline(3, {0x07, 1, 2}, 7, [&] { return c.call(ov, 1, 3, &len, data); });
}

INSTANTIATE_TEST_SUITE_P(All, MultiCommand, ::testing::ValuesIn(MultiCases()), Name<Multi>);

// ---- The cases called out one by one ----------------------------------------------------------

class Iso14443BTest : public CardTest {};

TEST_F(Iso14443BTest, TypeBResetSendsOneOnlyForModeS) {
  int len = 0;
  unsigned char out[8];
  reader.Ok({0x50});
  EXPECT_EQ(1, ov.OV_TypeB_Reset(1, 0x53, &len, out));
  ExpectSent(0x40, {0x01});
  for (unsigned char mode : {0x01, 0x00, 0x73, 0xFF}) {
    reader.ClearRecord();
    reader.Ok({0x50});
    EXPECT_EQ(1, ov.OV_TypeB_Reset(1, mode, &len, out));
    ExpectSent(0x40, {0x00});
  }
}

TEST_F(Iso14443BTest, TypeBRequestAndResetExAreOneCommand) {
  int len1 = 0, len2 = 0;
  unsigned char out1[8], out2[8];
  reader.Ok({0x50, 0x01, 0x02});
  EXPECT_EQ(1, ov.OV_TypeB_Request(0x0305, 0x42, kAttrib, &len1, out1));
  Command first = reader.last();
  reader.ClearRecord();
  reader.Ok({0x50, 0x01, 0x02});
  EXPECT_EQ(1, ov.OV_TypeB_ResetEx(0x0305, 0x42, kAttrib, &len2, out2));
  ExpectSent(0x5F, {0x42, 0x00, 0x08, 0x01, 0x08}, 0x0305);
  EXPECT_EQ(first.raw, reader.last().raw);
  EXPECT_EQ(len1, len2);
  EXPECT_EQ(Bytes(out1, out1 + 3), Bytes(out2, out2 + 3));
}

TEST_F(Iso14443BTest, SR512LockSendsTwoFlags) {
  struct {
    unsigned short lock;
    Bytes sent;
  } cases[] = {{0x0100, {0x01, 0x01}}, {0x0001, {0x00, 0x01}}, {0x0000, {0x00, 0x00}}, {0xFFFF, {0x01, 0x01}}};
  for (auto& c : cases) {
    reader.ClearRecord();
    reader.Ok();
    EXPECT_EQ(1, ov.OV_SR512_Lock(1, c.lock));
    ExpectSent(0x57, c.sent);
  }
}

TEST_F(Iso14443BTest, SR176GetUIDAssemblesTheHighestBlockFirst) {
  reader.Ok({0x11, 0x22});
  reader.Ok({0x33, 0x44});
  reader.Ok({0x55, 0x66});
  reader.Ok({0x77, 0x88});
  unsigned char uid[10];
  std::memset(uid, 0xEE, sizeof uid);
  EXPECT_EQ(1, ov.OV_SR176_GetUID(1, uid));
  EXPECT_EQ(Bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}), Bytes(uid, uid + 8));
  EXPECT_EQ(0xEE, uid[8]);
  auto sent = reader.commands();
  ASSERT_EQ(4u, sent.size());
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(0x4D, sent[static_cast<size_t>(i)].cmd);
    EXPECT_EQ(Bytes{static_cast<uint8_t>(3 - i)}, sent[static_cast<size_t>(i)].data);
  }
}

TEST_F(Iso14443BTest, SR176GetUIDStopsAtTheFirstFailure) {
  reader.Ok({0x11, 0x22});
  reader.Ok({0x33, 0x44});
  reader.Refuse(0x01);  // block 1
  unsigned char uid[8];
  std::memset(uid, 0xEE, sizeof uid);
  EXPECT_EQ(-3, ov.OV_SR176_GetUID(1, uid));
  EXPECT_EQ(3u, reader.commands().size());
  // The blocks read before the failure stay.
  EXPECT_EQ(Bytes({0x11, 0x22, 0x33, 0x44, 0xEE, 0xEE, 0xEE, 0xEE}), Bytes(uid, uid + 8));

  reader.ClearRecord();
  reader.Ok({0x11, 0x22});
  reader.Push(Reply::Raw(Malformed(0x4D, {0x33, 0x44})));
  EXPECT_EQ(-1, ov.OV_SR176_GetUID(1, uid));
  EXPECT_EQ(2u, reader.commands().size());
}

TEST_F(Iso14443BTest, SR176GetUIDNeverWritesPastEightBytes) {
  // A block answer may overlap the next block's place, as long as it ends
  // within UID; block 0's answer must fit the last two bytes.
  unsigned char uid[12];
  std::memset(uid, 0xEE, sizeof uid);
  reader.Ok({0x11, 0x22, 0x99, 0x99});
  reader.Ok({0x33, 0x44});
  reader.Ok({0x55, 0x66});
  reader.Ok({0x77, 0x88});
  EXPECT_EQ(1, ov.OV_SR176_GetUID(1, uid));
  EXPECT_EQ(Bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0xEE}), Bytes(uid, uid + 9));

  std::memset(uid, 0xEE, sizeof uid);
  reader.Ok({0x11, 0x22});
  reader.Ok({0x33, 0x44});
  reader.Ok({0x55, 0x66});
  reader.Ok({0x77, 0x88, 0x99});
  EXPECT_EQ(-1, ov.OV_SR176_GetUID(1, uid));
  EXPECT_EQ(Bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0xEE, 0xEE, 0xEE}), Bytes(uid, uid + 9));
}

TEST_F(Iso14443BTest, SR512LockStatusReadsBlock255) {
  reader.Ok({0x0F, 0x00, 0xFF, 0xFF});
  unsigned short lock = 0xBEEF;
  EXPECT_EQ(1, ov.OV_SR512_LockStatus(1, &lock));
  ExpectSent(0x53, {0xFF});
  EXPECT_EQ(0x000F, lock);
  reader.Ok({0x34, 0x12, 0x00, 0x00});
  EXPECT_EQ(1, ov.OV_SR512_LockStatus(1, &lock));
  EXPECT_EQ(0x1234, lock);
}

TEST_F(Iso14443BTest, SR512LockStatusFailuresLeaveLock) {
  unsigned short lock = 0xBEEF;
  ExpectFailures(0x53, {0x0F, 0x00, 0xFF, 0xFF}, [&] { return ov.OV_SR512_LockStatus(1, &lock); });
  EXPECT_EQ(0xBEEF, lock);
  // More than the 4-byte block it reads into.
  reader.Ok({0x0F, 0x00, 0xFF, 0xFF, 0x01});
  EXPECT_EQ(-1, ov.OV_SR512_LockStatus(1, &lock));
  EXPECT_EQ(0xBEEF, lock);
  ExpectDeadline(1, {0x0F, 0x00, 0xFF, 0xFF}, 1, [&] { return ov.OV_SR512_LockStatus(1, &lock); });
}

TEST_F(Iso14443BTest, MultiReadConventionsDiffer) {
  // 05 then 10 bytes: the SR tags report 10, the AT88RF020 11.
  Bytes answer = {0x05, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  unsigned char data[16];
  int len = 0;
  reader.Ok(answer);
  EXPECT_EQ(5, ov.OV_SR176_ReadMulti(1, 0, 5, &len, data));
  EXPECT_EQ(10, len);
  reader.Ok(answer);
  EXPECT_EQ(5, ov.OV_SR512_ReadMulti(1, 0, 5, &len, data));
  EXPECT_EQ(10, len);
  reader.Ok(answer);
  EXPECT_EQ(5, ov.OV_AT88RF020_ReadMulti(1, 0, 5, &len, data));
  EXPECT_EQ(11, len);
}

TEST_F(Iso14443BTest, MultiReadsOfAnEmptyAnswerWriteNothing) {
  // No leading byte: the SR tags used to report a length of -1 and return
  // 0, the AT88RF020 to return 0 with nothing read.
  unsigned char data[16];
  std::memset(data, 0xEE, sizeof data);
  int len = 0x5A;
  reader.Ok({});
  EXPECT_EQ(-1, ov.OV_SR176_ReadMulti(1, 0, 5, &len, data));
  reader.Ok({});
  EXPECT_EQ(-1, ov.OV_SR512_ReadMulti(1, 0, 5, &len, data));
  reader.Ok({});
  EXPECT_EQ(-1, ov.OV_AT88RF020_ReadMulti(1, 0, 5, &len, data));
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(16, 0xEE), Bytes(data, data + 16));
}

TEST_F(Iso14443BTest, TypeBCOSIsTheAPDUChannel) {
  unsigned char apdu[5] = {0x00, 0x84, 0x00, 0x00, 0x08};
  unsigned char out[16];
  std::memset(out, 0xEE, sizeof out);
  int len = -77;
  reader.Ok({0x6A, 0x82});
  EXPECT_EQ(1, ov.OV_TypeB_COS(1, 5, apdu, &len, out));
  ExpectSent(0x32, {0x00, 0x84, 0x00, 0x00, 0x08});
  EXPECT_EQ(2, len);
  EXPECT_EQ(Bytes({0x6A, 0x82, 0xEE}), Bytes(out, out + 3));
  // The APDU channel's own failures, outputs untouched.
  len = -77;
  std::memset(out, 0xEE, sizeof out);
  ExpectFailures(0x32, {0x90, 0x00}, [&] { return ov.OV_TypeB_COS(1, 5, apdu, &len, out); });
  EXPECT_EQ(-77, len);
  EXPECT_EQ(0xEE, out[0]);
  ExpectDeadline(4, {0x90, 0x00}, 1, [&] { return ov.OV_TypeB_COS(1, 5, apdu, &len, out); });
}

TEST_F(Iso14443BTest, STActiveHandsOverTheChipID) {
  unsigned char chip = 0x5A;
  reader.Ok({0x2C, 0x99});
  EXPECT_EQ(1, ov.OV_ST_Active(1, &chip));
  ExpectSent(0x4B, {});
  EXPECT_EQ(0x2C, chip);
  chip = 0x5A;
  ExpectFailures(0x4B, {0x2C}, [&] { return ov.OV_ST_Active(1, &chip); });
  EXPECT_EQ(0x5A, chip);
  ExpectDeadline(1, {0x2C}, 1, [&] { return ov.OV_ST_Active(1, &chip); });
}

TEST_F(Iso14443BTest, SR176LockStatusHandsOverOneByte) {
  unsigned char lock = 0x5A;
  reader.Ok({0x0C});
  EXPECT_EQ(1, ov.OV_SR176_LockStatus(1, &lock));
  ExpectSent(0x50, {});
  EXPECT_EQ(0x0C, lock);
  lock = 0x5A;
  ExpectFailures(0x50, {0x0C}, [&] { return ov.OV_SR176_LockStatus(1, &lock); });
  EXPECT_EQ(0x5A, lock);
  ExpectDeadline(1, {0x0C}, 1, [&] { return ov.OV_SR176_LockStatus(1, &lock); });
}

TEST_F(Iso14443BTest, BlockNumbersGoOutAsTheirLowByte) {
  unsigned char out[8];
  reader.Ok({1, 2});
  EXPECT_EQ(1, ov.OV_SR176_Read(1, 256, out));
  ExpectSent(0x4D, {0x00});
  reader.ClearRecord();
  reader.Ok({1, 2, 3, 4});
  EXPECT_EQ(1, ov.OV_SR512_Read(1, 0x1FF, out));
  ExpectSent(0x53, {0xFF});
}
