// SPDX-License-Identifier: MIT
// Display reader commands: reader command 0xC3 with a sub-command byte that
// the answer must echo, results read from the status byte as signed.
#include <cstring>
#include <vector>

#include "reader/untVela.h"
#include "subcommand_cases.h"

using namespace orvex_test;

namespace {

constexpr uint8_t kCmd = 0xC3;

// Arguments the table calls pass; outputs they write.
unsigned char g_data[2048];
unsigned char g_bitmap[1024];
unsigned char g_out[2048];
int g_len;
unsigned char g_b1, g_b2, g_b3, g_b4, g_b5, g_b6;

const Bytes kText80 = Pattern(80, 'A');

void FillArguments() {
  for (int i = 0; i < 2048; ++i) g_data[i] = static_cast<unsigned char>(0x30 + i % 40);
  for (int i = 0; i < 1024; ++i) g_bitmap[i] = static_cast<unsigned char>(i * 7 + 1);
}

Bytes Data(size_t n) { return Bytes(g_data, g_data + n); }
Bytes Bitmap(size_t n) { return Bytes(g_bitmap, g_bitmap + n); }
Bytes Spaces(size_t n) { return Bytes(n, 0x20); }

std::vector<SubCall> AllCalls() {
  FillArguments();
  std::vector<SubCall> c;
  c.push_back({"WriteFlash", 0x00, Cat({0x45, 0x23, 0x01, 0x00}, Data(3)), 50,
               [](Orvex& ov) { return ov.OV_WriteFlash(1, 0x00012345, 3, g_data); }});
  c.push_back({"ReadFlash", 0x01, {0x45, 0x23, 0x01, 0x00, 0x00, 0x01}, 50,
               [](Orvex& ov) { return ov.OV_ReadFlash(1, 0x00012345, 256, &g_len, g_out); }});
  c.push_back({"Config_WriteFlashEx", 0x03, Cat({0x78, 0x56, 0x34, 0x12}, Data(5)), 50,
               [](Orvex& ov) { return ov.OV_Config_WriteFlashEx(1, 0x12345678, 5, g_data); }});
  c.push_back({"Config_ReadFlashEx", 0x04, {0x78, 0x56, 0x34, 0x12, 0x34, 0x12}, 50,
               [](Orvex& ov) { return ov.OV_Config_ReadFlashEx(1, 0x12345678, 0x1234, &g_len, g_out); }});
  c.push_back({"Clock_Set", 0x10, Data(8), 5,
               [](Orvex& ov) { return ov.OV_Config_Clock_Set(1, g_data); }});
  c.push_back({"Clock_Get", 0x10, {}, 5, [](Orvex& ov) { return ov.OV_Config_Clock_Get(1, g_out); }});
  c.push_back({"TimeDisplay_Set", 0x20, {1, 2, 3}, 5,
               [](Orvex& ov) { return ov.OV_Config_TimeDisplay_Set(1, 1, 2, 3); }});
  c.push_back({"TimeDisplay_Get", 0x20, {}, 5,
               [](Orvex& ov) { return ov.OV_Config_TimeDisplay_Get(1, &g_b1, &g_b2, &g_b3); }});
  c.push_back({"DateDisplay_Set", 0x21, {0, 4, 9}, 5,
               [](Orvex& ov) { return ov.OV_Config_DateDisplay_Set(1, 0, 4, 9); }});
  c.push_back({"DateDisplay_Get", 0x21, {}, 5,
               [](Orvex& ov) { return ov.OV_Config_DateDisplay_Get(1, &g_b1, &g_b2, &g_b3); }});
  c.push_back({"Font_Set", 0x22, {0x07}, 5, [](Orvex& ov) { return ov.OV_Config_Font_Set(1, 7); }});
  c.push_back({"Font_Get", 0x22, {}, 5, [](Orvex& ov) { return ov.OV_Config_Font_Get(1, &g_b1); }});
  c.push_back({"FormPowerOn_Set", 0x23, {0x11, 0x22, 100, 6, 1, 4}, 5,
               [](Orvex& ov) { return ov.OV_Config_FormPowerOn_Set(1, 0x11, 0x22, 100, 48, 1, 4); }});
  c.push_back({"FormPowerOn_Get", 0x23, {}, 5, [](Orvex& ov) {
                 return ov.OV_Config_FormPowerOn_Get(1, &g_b1, &g_b2, &g_b3, &g_b4, &g_b5, &g_b6);
               }});
  c.push_back({"FormRun_Set", 0x24, {0x01, 0x05, 128, 8, 0, 0}, 5,
               [](Orvex& ov) { return ov.OV_Config_FormRun_Set(1, 0x01, 0x05, 128, 64, 0, 0); }});
  c.push_back({"FormRun_Get", 0x24, {}, 5, [](Orvex& ov) {
                 return ov.OV_Config_FormRun_Get(1, &g_b1, &g_b2, &g_b3, &g_b4, &g_b5, &g_b6);
               }});
  c.push_back({"TextPowerOn_Set", 0x25, Cat(Data(5), Spaces(59)), 5,
               [](Orvex& ov) { return ov.OV_Config_TextPowerOn_Set(1, 5, g_data); }});
  c.push_back({"TextPowerOn_Get", 0x25, {}, 5,
               [](Orvex& ov) { return ov.OV_Config_TextPowerOn_Get(1, &g_b1, g_out); }});
  c.push_back({"TextRun_Set", 0x26, Data(64), 5,
               [](Orvex& ov) { return ov.OV_Config_TextRun_Set(1, 64, g_data); }});
  c.push_back({"TextRun_Get", 0x26, {}, 5,
               [](Orvex& ov) { return ov.OV_Config_TextRun_Get(1, &g_b1, g_out); }});
  c.push_back({"ImagePowerOn_Set", 0x27, Bitmap(32 * 16 / 8), 50,
               [](Orvex& ov) { return ov.OV_Config_ImagePowerOn_Set(1, 32, 16, g_bitmap); }});
  c.push_back({"ImageRun_Set", 0x28, Bitmap(16 * 8 / 8), 50,
               [](Orvex& ov) { return ov.OV_Config_ImageRun_Set(1, 16, 8, g_bitmap); }});
  c.push_back({"ShowText", 0x29, Cat({0x01, 2, 3}, Data(4)), 5,
               [](Orvex& ov) { return ov.OV_ShowText(1, 0x01, 2, 3, 4, g_data); }});
  c.push_back({"ShowImageFromFlash", 0x2A, {0x01, 2, 3, 64, 32, 0x00, 0x10, 0x02, 0x00}, 5,
               [](Orvex& ov) { return ov.OV_ShowImageFromFlash(1, 0x01, 2, 3, 64, 32, 0x00021000); }});
  c.push_back({"ShowImage", 0x2B, Cat({0x00, 1, 2, 16, 2}, Bitmap(16 * 16 / 8)), 5,
               [](Orvex& ov) { return ov.OV_ShowImage(1, 0x00, 1, 2, 16, 16, g_bitmap); }});
  c.push_back({"ShowEnText", 0x2C, Cat({0x02, 0, 5}, Data(6)), 5,
               [](Orvex& ov) { return ov.OV_ShowEnText(1, 0x02, 0, 5, 6, g_data); }});
  c.push_back({"ControlLCDBackLight", 0x2D, {0x01, 0x1E}, 5,
               [](Orvex& ov) { return ov.OV_ControlLCDBackLight(1, 0x01, 0x1E); }});
  c.push_back({"ClearLCDByLine", 0x2D, {0x03}, 5,
               [](Orvex& ov) { return ov.OV_ClearLCDByLine(1, 0x03); }});
  return c;
}

class DisplayEvery : public FakeReaderTest, public ::testing::WithParamInterface<SubCall> {
 protected:
  void ExpectItsField() { ExpectSent(kCmd, Cat({GetParam().sub}, GetParam().params)); }
};

INSTANTIATE_TEST_SUITE_P(Display, DisplayEvery, ::testing::ValuesIn(AllCalls()),
                         [](const ::testing::TestParamInfo<SubCall>& i) { return i.param.name; });

TEST(DisplayTable, HasEveryFunction) { EXPECT_EQ(28u, AllCalls().size()); }

TEST_P(DisplayEvery, SendsItsSubCommandAndParametersAndSucceedsOnTheEcho) {
  reader.Ok({GetParam().sub});
  EXPECT_EQ(1, GetParam().call(ov));
  ExpectItsField();
}

TEST_P(DisplayEvery, StatusZeroWithoutTheEchoGivesZero) {
  reader.Ok({static_cast<uint8_t>(GetParam().sub ^ 0x40)});
  EXPECT_EQ(0, GetParam().call(ov));
  ExpectItsField();
}

TEST_P(DisplayEvery, RefusalGivesTheStatusByteReadSigned) {
  const struct {
    uint8_t status;
    int result;
  } cases[] = {{0x01, 1}, {0x7F, 127}, {0x80, -128}, {0xFF, -1}};
  for (const auto& k : cases) {
    reader.Refuse(k.status, {GetParam().sub});
    EXPECT_EQ(k.result, GetParam().call(ov)) << "status " << int(k.status);
  }
  EXPECT_EQ(4u, reader.commands().size());
}

TEST_P(DisplayEvery, NoAnswerIsMinusOne) {
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, GetParam().call(ov));
  ExpectItsField();
}

TEST_P(DisplayEvery, BadChecksumIsMinusOne) {
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0, {GetParam().sub})));
  EXPECT_EQ(-1, GetParam().call(ov));
}

TEST_P(DisplayEvery, WaitsThroughAGapJustUnderItsDeadline) {
  LongWaits();
  reader.Push(Split(Reply::Ok({GetParam().sub}), GapUnder(GetParam().delay)));
  EXPECT_EQ(1, GetParam().call(ov));
}

TEST_P(DisplayEvery, GivesUpOnAGapWellOverItsDeadline) {
  LongWaits();
  reader.Push(Split(Reply::Ok({GetParam().sub}), GapOver(GetParam().delay)));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, GetParam().call(ov)); });
  EXPECT_GE(ms, GapUnder(GetParam().delay));
  EXPECT_LT(ms, GapOver(GetParam().delay));
}

using Display = FakeReaderTest;

// ---- The two exchanges ------------------------------------------------------------

TEST_F(Display, WriteSendsTheSubCommandThenItsData) {
  unsigned char d[3] = {0xAA, 0xBB, 0xCC};
  reader.Ok({0x42});
  EXPECT_EQ(1, orvex::Vela_Write(1, 0x42, 3, d, 5));
  ExpectSent(kCmd, {0x42, 0xAA, 0xBB, 0xCC});
}

TEST_F(Display, AnswerCommandByteIsNotCompared) {
  reader.Push(Reply::Ok({0x42}).WithCmd(0x99));
  EXPECT_EQ(1, orvex::Vela_Write(1, 0x42, 0, nullptr, 5));
}

TEST_F(Display, ReadHandsBackTheBytesAfterTheEcho) {
  unsigned char p[2] = {0x01, 0x02};
  int len = -7;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x42, 0x10, 0x20, 0x30});
  EXPECT_EQ(1, orvex::Vela_Read(1, 0x42, 2, p, &len, out, 5));
  ExpectSent(kCmd, {0x42, 0x01, 0x02});
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({0x10, 0x20, 0x30, 0xEE}), Bytes(out, out + 4));
}

TEST_F(Display, ReadWritesNothingUnlessCarriedOut) {
  int len = -7;
  unsigned char out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  reader.Refuse(0x01, {0x42, 0x10});  // reads as 1, like success
  EXPECT_EQ(1, orvex::Vela_Read(1, 0x42, 0, nullptr, &len, out, 5));
  reader.Ok({0x43, 0x10});            // no echo
  EXPECT_EQ(0, orvex::Vela_Read(1, 0x42, 0, nullptr, &len, out, 5));
  reader.Refuse(0x90, {0x42, 0x10});
  EXPECT_EQ(-112, orvex::Vela_Read(1, 0x42, 0, nullptr, &len, out, 5));
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0, {0x42, 0x10})));
  EXPECT_EQ(-1, orvex::Vela_Read(1, 0x42, 0, nullptr, &len, out, 5));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(out, out + 4));
}

TEST_F(Display, AnEmptyAnswerIsNoEchoEvenForSubCommandZero) {
  int len = -7;
  reader.Ok({});
  EXPECT_EQ(0, orvex::Vela_Read(1, 0x00, 0, nullptr, &len, g_out, 5));
  EXPECT_EQ(-7, len);
}

TEST_F(Display, DataThatFillsOneFrameGoesOutAndMoreIsRefused) {
  std::vector<unsigned char> d(1040, 0x55);
  reader.Ok({0x42});
  EXPECT_EQ(1, orvex::Vela_Write(1, 0x42, 1039, d.data(), 5));
  ExpectSent(kCmd, Cat({0x42}, Bytes(1039, 0x55)));
  reader.ClearRecord();
  EXPECT_EQ(-2, orvex::Vela_Write(1, 0x42, 1040, d.data(), 5));
  EXPECT_EQ(-2, orvex::Vela_Write(1, 0x42, -1, d.data(), 5));
  int len = 0;
  EXPECT_EQ(-2, orvex::Vela_Read(1, 0x42, 1040, d.data(), &len, g_out, 5));
  EXPECT_FALSE(reader.WaitForCommands(1, 200));
}

// ---- Flash -----------------------------------------------------------------------------

TEST_F(Display, ReadFlashSendsAddressAndCountLeastSignificantByteFirst) {
  int len = -7;
  unsigned char out[8];
  reader.Ok({0x01, 0xDE, 0xAD});
  EXPECT_EQ(1, ov.OV_ReadFlash(1, 0x00012345, 256, &len, out));
  ExpectSent(kCmd, {0x01, 0x45, 0x23, 0x01, 0x00, 0x00, 0x01});
  EXPECT_EQ(2, len);
  EXPECT_EQ(Bytes({0xDE, 0xAD}), Bytes(out, out + 2));
}

TEST_F(Display, ReadFlashLeavesOutputsOnFailure) {
  int len = -7;
  unsigned char out[2] = {0xEE, 0xEE};
  reader.Refuse(0x85, {0x01, 0xDE, 0xAD});
  EXPECT_EQ(-123, ov.OV_ReadFlash(1, 0, 2, &len, out));
  reader.Ok({0x04, 0xDE, 0xAD});  // the echo of another sub-command
  EXPECT_EQ(0, ov.OV_ReadFlash(1, 0, 2, &len, out));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(2, 0xEE), Bytes(out, out + 2));
}

TEST_F(Display, ConfigReadFlashExHandsBackItsResult) {
  int len = -7;
  unsigned char out[4];
  reader.Ok({0x04, 1, 2, 3});
  EXPECT_EQ(1, ov.OV_Config_ReadFlashEx(1, 0xA0B0C0D0, 3, &len, out));
  ExpectSent(kCmd, {0x04, 0xD0, 0xC0, 0xB0, 0xA0, 0x03, 0x00});
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({1, 2, 3}), Bytes(out, out + 3));
}

TEST_F(Display, FlashCountTravelsAsItsLowSixteenBits) {
  int len = 0;
  reader.Ok({0x01});
  EXPECT_EQ(1, ov.OV_ReadFlash(1, 0xFFFFFFFF, 0x12345, &len, g_out));
  ExpectSent(kCmd, {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0x45, 0x23});
  EXPECT_EQ(0, len);
}

TEST_F(Display, FlashWriteOfUpTo1035BytesGoesInOneFrame) {
  std::vector<unsigned char> d(1035);
  for (size_t i = 0; i < d.size(); ++i) d[i] = static_cast<unsigned char>(i);
  reader.Ok({0x00});
  EXPECT_EQ(1, ov.OV_WriteFlash(1, 0x00000100, 1035, d.data()));
  ExpectSent(kCmd, Cat({0x00, 0x00, 0x01, 0x00, 0x00}, Bytes(d.begin(), d.end())));
  EXPECT_EQ(1u, reader.commands().size());
  reader.Ok({0x03});
  EXPECT_EQ(1, ov.OV_Config_WriteFlashEx(1, 0, 1035, d.data()));
  EXPECT_EQ(2u, reader.commands().size());
}

TEST_F(Display, FlashWriteThatCannotFitOneFrameIsRefusedUnsent) {
  std::vector<unsigned char> d(2048, 0x11);
  EXPECT_EQ(-2, ov.OV_WriteFlash(1, 0, 1036, d.data()));
  EXPECT_EQ(-2, ov.OV_Config_WriteFlashEx(1, 0, 2000, d.data()));
  EXPECT_EQ(-2, ov.OV_WriteFlash(1, 0, -1, d.data()));
  EXPECT_FALSE(reader.WaitForCommands(1, 200));
}

// ---- Clock, time and date display, font ----------------------------------------------

TEST_F(Display, ClockGetHandsBackTheRecord) {
  unsigned char clock[10];
  std::memset(clock, 0xEE, sizeof clock);
  reader.Ok({0x10, 0x24, 0x06, 0x11, 0x02, 0x09, 0x30, 0x15, 0x00});
  EXPECT_EQ(1, ov.OV_Config_Clock_Get(1, clock));
  ExpectSent(kCmd, {0x10});
  EXPECT_EQ(Bytes({0x24, 0x06, 0x11, 0x02, 0x09, 0x30, 0x15, 0x00, 0xEE}), Bytes(clock, clock + 9));
}

TEST_F(Display, ClockGetWritesNothingWhenRefused) {
  unsigned char clock[8];
  std::memset(clock, 0xEE, sizeof clock);
  reader.Refuse(0x01, {0x10, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(1, ov.OV_Config_Clock_Get(1, clock));
  reader.Refuse(0xF0, {0x10, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(-16, ov.OV_Config_Clock_Get(1, clock));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(clock, clock + 8));
}

TEST_F(Display, TimeAndDateDisplayGetReadTheFirstThreeBytes) {
  unsigned char e = 0xEE, l = 0xEE, c = 0xEE;
  reader.Ok({0x20, 1, 3, 7, 9});
  EXPECT_EQ(1, ov.OV_Config_TimeDisplay_Get(1, &e, &l, &c));
  EXPECT_EQ(1, e);
  EXPECT_EQ(3, l);
  EXPECT_EQ(7, c);
  reader.Ok({0x21, 0, 2, 4});
  EXPECT_EQ(1, ov.OV_Config_DateDisplay_Get(1, &e, &l, &c));
  ExpectSent(kCmd, {0x21});
  EXPECT_EQ(0, e);
  EXPECT_EQ(2, l);
  EXPECT_EQ(4, c);
}

// A positive refusal hands back the untouched (zeroed) local result.
TEST_F(Display, SettingReadersWriteZerosOnARefusalThatReadsPositive) {
  unsigned char e = 0xEE, l = 0xEE, c = 0xEE, f = 0xEE;
  reader.Refuse(0x01, {0x20, 1, 3, 7});
  EXPECT_EQ(1, ov.OV_Config_TimeDisplay_Get(1, &e, &l, &c));
  EXPECT_EQ(0, e);
  EXPECT_EQ(0, l);
  EXPECT_EQ(0, c);
  reader.Refuse(0x7F, {0x22, 5});
  EXPECT_EQ(127, ov.OV_Config_Font_Get(1, &f));
  EXPECT_EQ(0, f);
}

TEST_F(Display, SettingReadersLeaveOutputsOnOtherFailures) {
  unsigned char e = 0xEE, l = 0xEE, c = 0xEE, f = 0xEE;
  reader.Refuse(0x80, {0x21, 1, 3, 7});
  EXPECT_EQ(-128, ov.OV_Config_DateDisplay_Get(1, &e, &l, &c));
  reader.Ok({0x22 ^ 0x01, 5});
  EXPECT_EQ(0, ov.OV_Config_Font_Get(1, &f));
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0, {0x22, 5})));
  EXPECT_EQ(-1, ov.OV_Config_Font_Get(1, &f));
  EXPECT_EQ(0xEE, e);
  EXPECT_EQ(0xEE, l);
  EXPECT_EQ(0xEE, c);
  EXPECT_EQ(0xEE, f);
}

TEST_F(Display, FontGetReadsByteZero) {
  unsigned char f = 0xEE;
  reader.Ok({0x22, 0x03, 0x09});
  EXPECT_EQ(1, ov.OV_Config_Font_Get(1, &f));
  EXPECT_EQ(3, f);
}

// ---- Forms ------------------------------------------------------------------------------------

TEST_F(Display, FormSettingsSendTheHeightInEightPixelRows) {
  reader.Ok({0x23});
  EXPECT_EQ(1, ov.OV_Config_FormPowerOn_Set(1, 9, 8, 7, 63, 2, 1));
  ExpectSent(kCmd, {0x23, 9, 8, 7, 7, 2, 1});  // 63 pixels: 7 whole rows
  reader.Ok({0x24});
  EXPECT_EQ(1, ov.OV_Config_FormRun_Set(1, 1, 2, 128, 64, 3, 4));
  ExpectSent(kCmd, {0x24, 1, 2, 128, 8, 3, 4});
}

TEST_F(Display, FormRunGetReportsAStoredHeightByteOfEightAs64) {
  unsigned char cf = 0xEE, ts = 0xEE, w = 0xEE, h = 0xEE, l = 0xEE, c = 0xEE;
  reader.Ok({0x24, 0x11, 0x22, 120, 8, 3, 4});
  EXPECT_EQ(1, ov.OV_Config_FormRun_Get(1, &cf, &ts, &w, &h, &l, &c));
  ExpectSent(kCmd, {0x24});
  EXPECT_EQ(0x11, cf);
  EXPECT_EQ(0x22, ts);
  EXPECT_EQ(120, w);
  EXPECT_EQ(64, h);
  EXPECT_EQ(3, l);
  EXPECT_EQ(4, c);
}

TEST_F(Display, FormPowerOnGetAndItsFailures) {
  unsigned char cf = 0xEE, ts = 0xEE, w = 0xEE, h = 0xEE, l = 0xEE, c = 0xEE;
  reader.Refuse(0xC0, {0x23, 1, 2, 3, 4, 5, 6});
  EXPECT_EQ(-64, ov.OV_Config_FormPowerOn_Get(1, &cf, &ts, &w, &h, &l, &c));
  EXPECT_EQ(Bytes(6, 0xEE), Bytes({cf, ts, w, h, l, c}));
  reader.Refuse(0x02, {0x23, 1, 2, 3, 4, 5, 6});
  EXPECT_EQ(2, ov.OV_Config_FormPowerOn_Get(1, &cf, &ts, &w, &h, &l, &c));
  EXPECT_EQ(Bytes(6, 0x00), Bytes({cf, ts, w, h, l, c}));
  reader.Ok({0x23, 1, 2, 3, 4, 5, 6});
  EXPECT_EQ(1, ov.OV_Config_FormPowerOn_Get(1, &cf, &ts, &w, &h, &l, &c));
  EXPECT_EQ(Bytes({1, 2, 3, 32, 5, 6}), Bytes({cf, ts, w, h, l, c}));
}

// ---- Stored texts --------------------------------------------------------------------------

TEST_F(Display, StoredTextIsPaddedWithSpacesTo64Bytes) {
  reader.Ok({0x26});
  EXPECT_EQ(1, ov.OV_Config_TextRun_Set(1, 5, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat(Cat({0x26}, Bytes(kText80.begin(), kText80.begin() + 5)), Spaces(59)));
}

TEST_F(Display, StoredTextIsCutTo64Bytes) {
  reader.Ok({0x26});
  EXPECT_EQ(1, ov.OV_Config_TextRun_Set(1, 80, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat({0x26}, Bytes(kText80.begin(), kText80.begin() + 64)));
  reader.Ok({0x25});
  EXPECT_EQ(1, ov.OV_Config_TextPowerOn_Set(1, 0, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat({0x25}, Spaces(64)));
}

// A short result: the zero tail makes the last zero index 99, cut to 64.
TEST_F(Display, StoredTextReaderCopies64BytesOfAShortResult) {
  unsigned char out[70];
  unsigned char len = 0xEE;
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({0x25}, Bytes({'H', 'E', 'L', 'L', 'O'})));
  EXPECT_EQ(1, ov.OV_Config_TextPowerOn_Get(1, &len, out));
  ExpectSent(kCmd, {0x25});
  EXPECT_EQ(Cat({'H', 'E', 'L', 'L', 'O'}, Bytes(59, 0)), Bytes(out, out + 64));
  EXPECT_EQ(Bytes(6, 0xEE), Bytes(out + 64, out + 70));
  EXPECT_EQ(0xEE, len);  // never written
}

// The length is the last zero among the first 100 bytes, not the first.
TEST_F(Display, StoredTextReaderStopsAtTheLastZero) {
  Bytes text(100, 'x');
  text[10] = 0;
  unsigned char out[70];
  unsigned char len = 0xEE;
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({0x26}, text));
  EXPECT_EQ(1, ov.OV_Config_TextRun_Get(1, &len, out));
  EXPECT_EQ(Bytes(text.begin(), text.begin() + 10), Bytes(out, out + 10));
  EXPECT_EQ(Bytes(60, 0xEE), Bytes(out + 10, out + 70));

  text[50] = 0;  // a later zero moves the end past the first one
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({0x26}, text));
  EXPECT_EQ(1, ov.OV_Config_TextRun_Get(1, &len, out));
  EXPECT_EQ(Bytes(text.begin(), text.begin() + 50), Bytes(out, out + 50));
  EXPECT_EQ(Bytes(20, 0xEE), Bytes(out + 50, out + 70));
  EXPECT_EQ(0xEE, len);
}

TEST_F(Display, StoredTextReaderWithoutAZeroTakesTheResultLengthCutTo64) {
  Bytes text(120, 'y');
  unsigned char out[70];
  unsigned char len = 0xEE;
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({0x25}, text));
  EXPECT_EQ(1, ov.OV_Config_TextPowerOn_Get(1, &len, out));
  EXPECT_EQ(Bytes(64, 'y'), Bytes(out, out + 64));
  EXPECT_EQ(Bytes(6, 0xEE), Bytes(out + 64, out + 70));
}

TEST_F(Display, StoredTextReaderOnRefusals) {
  unsigned char out[70];
  unsigned char len = 0xEE;
  std::memset(out, 0xEE, sizeof out);
  reader.Refuse(0xFE, {0x25, 'A', 'B'});
  EXPECT_EQ(-2, ov.OV_Config_TextPowerOn_Get(1, &len, out));
  EXPECT_EQ(Bytes(70, 0xEE), Bytes(out, out + 70));
  reader.Refuse(0x01, {0x25, 'A', 'B'});  // reads as 1: 64 zeros from the cleared buffer
  EXPECT_EQ(1, ov.OV_Config_TextPowerOn_Get(1, &len, out));
  EXPECT_EQ(Bytes(64, 0), Bytes(out, out + 64));
  EXPECT_EQ(Bytes(6, 0xEE), Bytes(out + 64, out + 70));
  EXPECT_EQ(0xEE, len);
}

// ---- Images -------------------------------------------------------------------------------

TEST_F(Display, StoredImageSendsTheBitmapOnly) {
  reader.Ok({0x27});
  EXPECT_EQ(1, ov.OV_Config_ImagePowerOn_Set(1, 128, 64, g_bitmap));
  ExpectSent(kCmd, Cat({0x27}, Bitmap(1024)));
  reader.Ok({0x28});
  EXPECT_EQ(1, ov.OV_Config_ImageRun_Set(1, 24, 10, g_bitmap));
  ExpectSent(kCmd, Cat({0x28}, Bitmap(30)));
}

TEST_F(Display, ImageLargerThanTheScreenIsRefusedUnsent) {
  EXPECT_EQ(-2, ov.OV_Config_ImagePowerOn_Set(1, 129, 8, g_bitmap));
  EXPECT_EQ(-2, ov.OV_Config_ImageRun_Set(1, 8, 65, g_bitmap));
  EXPECT_EQ(-2, ov.OV_ShowImage(1, 0, 0, 0, 128, 65, g_bitmap));
  EXPECT_EQ(-2, ov.OV_ShowImage(1, 0, 0, 0, 200, 8, g_bitmap));
  EXPECT_FALSE(reader.WaitForCommands(1, 200));
}

TEST_F(Display, FullScreenImageGoesInOneFrameOf5Plus1024Bytes) {
  reader.Ok({0x2B});
  EXPECT_EQ(1, ov.OV_ShowImage(1, 0x01, 0, 0, 128, 64, g_bitmap));
  ExpectSent(kCmd, Cat({0x2B, 0x01, 0, 0, 128, 8}, Bitmap(1024)));
  EXPECT_EQ(1030u, reader.last().data.size());
  EXPECT_EQ(1u, reader.commands().size());
}

TEST_F(Display, ImageFromFlashSendsTheHeightInPixelsAndShowImageInRows) {
  reader.Ok({0x2A});
  EXPECT_EQ(1, ov.OV_ShowImageFromFlash(1, 0x05, 1, 2, 128, 64, 0xCAFE0102));
  ExpectSent(kCmd, {0x2A, 0x05, 1, 2, 128, 64, 0x02, 0x01, 0xFE, 0xCA});
  reader.Ok({0x2B});
  EXPECT_EQ(1, ov.OV_ShowImage(1, 0x05, 1, 2, 8, 64, g_bitmap));
  ExpectSent(kCmd, Cat({0x2B, 0x05, 1, 2, 8, 8}, Bitmap(64)));
}

// ---- Immediate text, back light, clearing --------------------------------------------------

TEST_F(Display, ShownTextIsCutTo16Bytes) {
  reader.Ok({0x29});
  EXPECT_EQ(1, ov.OV_ShowText(1, 0x01, 2, 3, 20, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat({0x29, 0x01, 2, 3}, Bytes(kText80.begin(), kText80.begin() + 16)));
  EXPECT_EQ(20u, reader.last().data.size());  // the sub-command and 19 bytes
  reader.Ok({0x2C});
  EXPECT_EQ(1, ov.OV_ShowEnText(1, 0x00, 0, 0, 17, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat({0x2C, 0, 0, 0}, Bytes(kText80.begin(), kText80.begin() + 16)));
  reader.Ok({0x29});
  EXPECT_EQ(1, ov.OV_ShowText(1, 0x00, 0, 0, 16, const_cast<unsigned char*>(kText80.data())));
  ExpectSent(kCmd, Cat({0x29, 0, 0, 0}, Bytes(kText80.begin(), kText80.begin() + 16)));
}

TEST_F(Display, BackLightAndClearingShareOneSubCommandAndDifferInLength) {
  reader.Ok({0x2D});
  EXPECT_EQ(1, ov.OV_ControlLCDBackLight(1, 0x01, 0x0A));
  ExpectSent(kCmd, {0x2D, 0x01, 0x0A});
  reader.Ok({0x2D});
  EXPECT_EQ(1, ov.OV_ClearLCDByLine(1, 0x01));
  ExpectSent(kCmd, {0x2D, 0x01});
}

TEST_F(Display, ReaderNumberTravelsInTheFrame) {
  reader.Ok({0x22});
  EXPECT_EQ(1, ov.OV_Config_Font_Set(0x0203, 1));
  ExpectSent(kCmd, {0x22, 0x01}, 0x0203);
}

}  // namespace
