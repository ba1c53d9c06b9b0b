// SPDX-License-Identifier: MIT
// Reader management commands: the frames on the wire, the results, and the
// family's own result-code rules.
#include <cstring>

#include <functional>

#include "reader/untReader.h"
#include "reader_fixture.h"

using namespace orvex;
using namespace orvex_test;

namespace {

// A malformed answer: the fastest way to a link failure.
Reply Broken() { return Reply::Raw({0x02, 0x00, 0x07, 0x00, 0x01, 0x00, 0x00, 0x99, 0x03}); }

}  // namespace

// ---- Line speed -------------------------------------------------------------

TEST_F(FakeReaderTest, ChangeBoundSendsTheSpeedIndexToReaderZero) {
  const int speeds[] = {4800, 9600, 14400, 19200, 28800, 38400, 57600, 115200};
  for (int i = 0; i < 8; ++i) {
    reader.ClearRecord();
    reader.Ok();
    EXPECT_EQ(0, ov.OV_ComNewBound(5, speeds[i]));
    ExpectSent(0x01, {static_cast<uint8_t>(i)}, 0);
  }
}

TEST_F(FakeReaderTest, ChangeBoundUnknownSpeedSelects19200) {
  reader.Ok();
  EXPECT_EQ(0, ov.OV_ComNewBound(5, 1200));
  ExpectSent(0x01, {3}, 0);
}

TEST_F(FakeReaderTest, ChangeBoundReturnsTheStatusItself) {
  reader.Refuse(0x05);
  EXPECT_EQ(5, ov.OV_ComNewBound(1, 57600));
  reader.Refuse(0xFF);
  EXPECT_EQ(255, ov.OV_ComNewBound(1, 57600));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_ComNewBound(1, 57600));
}

// ---- Reader number, version, identity ------------------------------------------

TEST_F(FakeReaderTest, SetReaderIdAddressesTheOldNumber) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_SetReaderID(0x0102, 0x0A0B));
  ExpectSent(0x02, {0x0A, 0x0B, 0x00, 0x00}, 0x0102);
}

TEST_F(FakeReaderTest, SetReaderIdIgnoresTheStatus) {
  reader.Refuse(0x33);
  EXPECT_EQ(1, ov.OV_SetReaderID(1, 2));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_SetReaderID(1, 2));
}

TEST_F(FakeReaderTest, GetReaderIdReturnsTheNumber) {
  reader.Ok({0x12, 0x34});
  EXPECT_EQ(0x1234, ov.OV_GetReaderID(1));
  ExpectSent(0x03, {});
}

TEST_F(FakeReaderTest, GetReaderIdIsZeroForNumberZeroAndForARefusal) {
  reader.Ok({0x00, 0x00});
  EXPECT_EQ(0, ov.OV_GetReaderID(1));
  reader.Refuse(0x01, {0x12, 0x34});
  EXPECT_EQ(0, ov.OV_GetReaderID(1));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_GetReaderID(1));
}

TEST_F(FakeReaderTest, GetReaderVersion) {
  reader.Ok({0x02, 0x15});
  EXPECT_EQ(0x0215, ov.OV_GetReaderVersion(7));
  ExpectSent(0x04, {}, 7);
  reader.Refuse(0x02, {0x02, 0x15});
  EXPECT_EQ(0, ov.OV_GetReaderVersion(7));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(7));
}

TEST_F(FakeReaderTest, GetReaderSerialCopiesTheWholeAnswer) {
  Bytes serial = {1, 2, 3, 4, 5, 6, 7, 8};
  reader.Ok(serial);
  unsigned char out[16];
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(8, ov.OV_GetReaderSerial(1, out));
  ExpectSent(0x05, {});
  EXPECT_EQ(serial, Bytes(out, out + 8));
  EXPECT_EQ(0xEE, out[8]);
}

TEST_F(FakeReaderTest, GetReaderSerialRefusedReturnsTheLengthAndLeavesTheBuffer) {
  reader.Refuse(0x01, {9, 9, 9, 9});
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(4, ov.OV_GetReaderSerial(1, out));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_GetReaderSerial(1, out));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
}

TEST_F(FakeReaderTest, GetReaderNo) {
  reader.Ok({0xA0, 0xA1, 0xA2});
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(3, ov.OV_GetReaderNo(1, out));
  ExpectSent(0x08, {});
  EXPECT_EQ((Bytes{0xA0, 0xA1, 0xA2, 0xEE}), Bytes(out, out + 4));
  memset(out, 0xEE, sizeof out);
  reader.Refuse(0x04, {1, 2});
  EXPECT_EQ(2, GetReaderNo_(1, out));
  EXPECT_EQ(0xEE, out[0]);
}

// ---- Commands that answer 1 or -1 --------------------------------------------

struct SimpleCase {
  const char* name;
  uint8_t cmd;
  Bytes data;
  std::function<int(Orvex&)> call;
};

class SimpleCommands : public FakeReaderTest {
 protected:
  std::vector<SimpleCase> Cases() {
    static unsigned char param8[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    static unsigned char param3[3] = {0xAA, 0xBB, 0xCC};
    static unsigned char mem[4] = {0x10, 0x02, 0x03, 0x7F};
    return {
        {"Buzzer", 0x06, {10, 5, 3}, [](Orvex& o) { return o.OV_Buzzer(1, 10, 5, 3); }},
        {"BuzzerLow8Bits", 0x06, {0x34, 0xFF, 0x00}, [](Orvex& o) { return o.OV_Buzzer(1, 0x1234, -1, 256); }},
        {"Led", 0x07, {1, 2, 3, 4, 5}, [](Orvex& o) { return o.OV_Led(1, 1, 2, 3, 4, 5); }},
        {"SearchCardMode", 0x20, {0x41}, [](Orvex& o) { return o.OV_SearchCardMode(1, 0x41); }},
        {"SearchCardModeEx", 0x20, {0x41, 0x02}, [](Orvex& o) { return o.OV_SearchCardModeEx(1, 0x41, 2); }},
        {"HFSelectAntenna", 0xFE, {3}, [](Orvex& o) { return o.OV_HFSelectAntenna(1, 3); }},
        {"SetParam", 0x0F, {0x05, 0xAA, 0xBB, 0xCC},
         [](Orvex& o) { return o.OV_SetParam(1, 5, 3, param3); }},
        {"Set433ModuleParam", 0xFC, {0x01, 1, 2, 3, 4, 5, 6, 7, 8},
         [](Orvex& o) { return o.OV_Set433ModuleParam(1, param8); }},
        {"WriteReaderMemory", 0xB2, {0x00, 0x00, 0x12, 0x34, 0x00, 0x04, 0x10, 0x02, 0x03, 0x7F},
         [](Orvex& o) { return o.OV_WriteReaderMemory(1, 0x1234, 4, mem); }},
        {"LEDDisplayLeft", 0x09, {0x03, '1', '.', '5'},
         [](Orvex& o) { return o.OV_LEDDisplay(1, 1, const_cast<char*>("1.5")); }},
    };
  }
};

TEST_F(SimpleCommands, FrameAndSuccess) {
  for (auto& c : Cases()) {
    SCOPED_TRACE(c.name);
    reader.ClearRecord();
    reader.Ok();
    EXPECT_EQ(1, c.call(ov));
    ExpectSent(c.cmd, c.data);
  }
}

TEST_F(SimpleCommands, RefusalIsMinusOne) {
  for (auto& c : Cases()) {
    SCOPED_TRACE(c.name);
    reader.Refuse(0x01);
    EXPECT_EQ(-1, c.call(ov));
    reader.Refuse(0x80);
    EXPECT_EQ(-1, c.call(ov));
  }
}

TEST_F(SimpleCommands, MalformedAnswerIsMinusOne) {
  for (auto& c : Cases()) {
    SCOPED_TRACE(c.name);
    reader.Push(Broken());
    EXPECT_EQ(-1, c.call(ov));
  }
}

TEST_F(SimpleCommands, SilenceIsMinusOne) {
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_Buzzer(1, 1, 1, 1));
}

TEST_F(SimpleCommands, AnswerDataIsIgnored) {
  reader.Ok({1, 2, 3});
  EXPECT_EQ(1, ov.OV_Led(1, 1, 1, 1, 1, 1));
}

// ---- LED display ------------------------------------------------------------------

TEST(LEDPositions, DotsShareThePreviousPosition) {
  EXPECT_EQ(2, LEDPositions("1.5", 3));
  EXPECT_EQ(3, LEDPositions("..8", 3));  // two leading dots take one each
  EXPECT_EQ(3, LEDPositions("1..2", 4));  // the second dot follows a dot: its own position
  EXPECT_EQ(8, LEDPositions("12345678", 8));
  EXPECT_EQ(0, LEDPositions("", 0));
}

TEST_F(FakeReaderTest, LEDDisplayRightAligned) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 3, const_cast<char*>("1.5")));
  ExpectSent(0x09, {0x09, 0, 0, 0, 0, 0, 0, '1', '.', '5'});
}

TEST_F(FakeReaderTest, LEDDisplayLeadingDots) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 3, const_cast<char*>("..8")));
  ExpectSent(0x09, {0x08, 0, 0, 0, 0, 0, '.', '.', '8'});
}

TEST_F(FakeReaderTest, LEDDisplayCentred) {
  reader.Ok();
  // 3 positions: (8 - 3) / 2 = 2 fill bytes.
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 2, const_cast<char*>("ABC")));
  ExpectSent(0x09, {0x05, 0, 0, 'A', 'B', 'C'});
}

TEST_F(FakeReaderTest, LEDDisplayLeftForEveryOtherAlignment) {
  for (int align : {0, 1, 4, 9, -3}) {
    reader.ClearRecord();
    reader.Ok();
    EXPECT_EQ(1, ov.OV_LEDDisplay(1, align, const_cast<char*>("42")));
    ExpectSent(0x09, {0x02, '4', '2'});
  }
}

TEST_F(FakeReaderTest, LEDDisplayCutsTextAt16) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 1, const_cast<char*>("0123456789ABCDEFGHIJ")));
  Bytes want = {16};
  for (char c : std::string("0123456789ABCDEF")) want.push_back(static_cast<uint8_t>(c));
  ExpectSent(0x09, want);
}

TEST_F(FakeReaderTest, LEDDisplayTooWideGetsNoFill) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 3, const_cast<char*>("123456789")));
  ExpectSent(0x09, {9, '1', '2', '3', '4', '5', '6', '7', '8', '9'});
  reader.ClearRecord();
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 2, const_cast<char*>("123456789")));
  ExpectSent(0x09, {9, '1', '2', '3', '4', '5', '6', '7', '8', '9'});
}

TEST_F(FakeReaderTest, LEDDisplayEmptyText) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 3, const_cast<char*>("")));
  ExpectSent(0x09, {8, 0, 0, 0, 0, 0, 0, 0, 0});
}

// ---- Antenna: the one command with -2 ----------------------------------------------

TEST_F(FakeReaderTest, AntennaStatus) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_AntennaStatus(1, true));
  ExpectSent(0x21, {0x01});
  reader.ClearRecord();
  reader.Ok();
  EXPECT_EQ(1, ov.OV_AntennaStatus(1, false));
  ExpectSent(0x21, {0x00});
}

TEST_F(FakeReaderTest, AntennaStatusNothingReceivedIsMinusTwo) {
  reader.Push(Reply::Silence());
  EXPECT_EQ(-2, ov.OV_AntennaStatus(1, true));
}

TEST_F(FakeReaderTest, AntennaStatusRefusedOrMalformedIsMinusOne) {
  reader.Refuse(0x01);
  EXPECT_EQ(-1, ov.OV_AntennaStatus(1, true));
  reader.Push(Broken());
  EXPECT_EQ(-1, ov.OV_AntennaStatus(1, true));
}

// ---- Commands with answers -------------------------------------------------------

TEST_F(FakeReaderTest, LFCardReadIdCopiesTheWholeAnswer) {
  reader.Ok({0x01, 0x02, 0x03, 0x04, 0x05});
  unsigned char id[8];
  memset(id, 0xEE, sizeof id);
  EXPECT_EQ(1, ov.OV_LFCard_ReadID(1, id));
  ExpectSent(0xFD, {});
  EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 0xEE}), Bytes(id, id + 6));
  memset(id, 0xEE, sizeof id);
  reader.Refuse(0x01, {9, 9});
  EXPECT_EQ(-1, ov.OV_LFCard_ReadID(1, id));
  EXPECT_EQ(0xEE, id[0]);
}

TEST_F(FakeReaderTest, ReadReaderMemory) {
  reader.Ok({0xDE, 0xAD, 0xBE});
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(1, ov.OV_ReadReaderMemory(1, 0x0102, 3, out));
  ExpectSent(0xB1, {0x00, 0x00, 0x01, 0x02, 0x00, 0x03});
  EXPECT_EQ((Bytes{0xDE, 0xAD, 0xBE, 0xEE}), Bytes(out, out + 4));
  memset(out, 0xEE, sizeof out);
  reader.Refuse(0x01, {1, 2, 3});
  EXPECT_EQ(-1, ov.OV_ReadReaderMemory(1, 0x0102, 3, out));
  EXPECT_EQ(0xEE, out[0]);
}

TEST_F(FakeReaderTest, GetParamHandsBackTheWholeAnswer) {
  unsigned char param[2] = {0x01, 0x02};
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  int outLen = -5;
  reader.Ok({0x11, 0x22, 0x33});
  EXPECT_EQ(1, ov.OV_GetParam(1, 0x07, 2, param, &outLen, out));
  ExpectSent(0x0F, {0x07, 0x01, 0x02});
  EXPECT_EQ(3, outLen);
  EXPECT_EQ((Bytes{0x11, 0x22, 0x33, 0xEE}), Bytes(out, out + 4));
  outLen = -5;
  memset(out, 0xEE, sizeof out);
  reader.Refuse(0x01, {1});
  EXPECT_EQ(-1, ov.OV_GetParam(1, 0x07, 2, param, &outLen, out));
  EXPECT_EQ(-5, outLen);
  EXPECT_EQ(0xEE, out[0]);
}

TEST_F(FakeReaderTest, Get433ModuleParamCopiesEightBytes) {
  unsigned char out[10];
  memset(out, 0xEE, sizeof out);
  reader.Ok({1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(1, ov.OV_Get433ModuleParam(1, out));
  ExpectSent(0xFC, {0x00});
  EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0xEE}), Bytes(out, out + 9));
  // A short answer still fills eight bytes: zeros past its end.
  memset(out, 0xEE, sizeof out);
  reader.Ok({7, 7});
  EXPECT_EQ(1, ov.OV_Get433ModuleParam(1, out));
  EXPECT_EQ((Bytes{7, 7, 0, 0, 0, 0, 0, 0, 0xEE}), Bytes(out, out + 9));
  memset(out, 0xEE, sizeof out);
  reader.Refuse(0x01, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(-1, ov.OV_Get433ModuleParam(1, out));
  EXPECT_EQ(0xEE, out[0]);
}

TEST_F(FakeReaderTest, SendCmdPassesThrough) {
  unsigned char param[3] = {0x10, 0x02, 0x03};
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  int outLen = -5;
  reader.Ok({0xCA, 0xFE});
  EXPECT_EQ(1, OV_SendCMD(1, 0x31, 3, 3, param, &outLen, out));
  ExpectSent(0xFB, {0x31, 0x03, 0x10, 0x02, 0x03});
  EXPECT_EQ(2, outLen);
  EXPECT_EQ((Bytes{0xCA, 0xFE, 0xEE}), Bytes(out, out + 3));
  outLen = -5;
  reader.Refuse(0x01, {1});
  EXPECT_EQ(-1, SendCMD_(1, 0x31, 3, 3, param, &outLen, out));
  EXPECT_EQ(-5, outLen);
}

TEST_F(FakeReaderTest, SendCmdWaitsTimeOutTenthsOfASecond) {
  unsigned char param[1] = {0};
  unsigned char out[8];
  int outLen = 0;
  // A 300 ms gap inside the answer: fine for TimeOut 20, too long for 1.
  reader.Push(Reply::Ok({0x01}).InPieces({3}, 300));
  EXPECT_EQ(1, OV_SendCMD(1, 0, 20, 1, param, &outLen, out));
  EXPECT_EQ(1, outLen);
  reader.Push(Reply::Ok({0x01}).InPieces({3}, 300));
  EXPECT_EQ(-1, OV_SendCMD(1, 0, 1, 1, param, &outLen, out));
}

TEST_F(FakeReaderTest, CommonDeadlineIsOneTenthOfASecond) {
  reader.Push(Reply::Ok({0x00, 0x01}).InPieces({3}, 40));
  EXPECT_EQ(1, ov.OV_GetReaderVersion(1));
  reader.Push(Reply::Ok({0x00, 0x01}).InPieces({3}, 350));
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
}
