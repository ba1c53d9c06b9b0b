// SPDX-License-Identifier: MIT
// The reader firmware's card application: reader command 0xC4 with a
// sub-command byte that the answer must echo, -2 for every refusal, and the
// two status words that tell why.
#include <cstring>
#include <vector>

#include "apps/untTamracpu.h"
#include "subcommand_cases.h"

using namespace orvex_test;

namespace {

constexpr uint8_t kCmd = 0xC4;

// Arguments the table calls pass; outputs they write.
unsigned char g_key[16], g_key2[16], g_term[6], g_date[7], g_file[1100];
unsigned char g_out[2048];
unsigned char g_b1;
unsigned int g_u32;
int g_len;

void FillArguments() {
  for (int i = 0; i < 16; ++i) g_key[i] = static_cast<unsigned char>(0xA0 + i);
  for (int i = 0; i < 16; ++i) g_key2[i] = static_cast<unsigned char>(0xB0 + i);
  for (int i = 0; i < 6; ++i) g_term[i] = static_cast<unsigned char>(0x60 + i);
  for (int i = 0; i < 7; ++i) g_date[i] = static_cast<unsigned char>(0x20 + i);
  for (int i = 0; i < 1100; ++i) g_file[i] = static_cast<unsigned char>(0x40 + i % 50);
}

Bytes B(const unsigned char* p, size_t n) { return Bytes(p, p + n); }

std::vector<SubCall> AllCalls() {
  FillArguments();
  std::vector<SubCall> c;
  c.push_back({"SamReset", 0x01, {0x02}, 5,
               [](Orvex& ov) { return ov.OV_KORU_SamReset(1, 2, &g_b1, g_out); }});
  c.push_back({"SamInitial", 0x02, Cat(Cat(Cat({0x01, 0x03}, B(g_term, 6)), B(g_key, 16)), {0x04}), 10,
               [](Orvex& ov) { return ov.OV_KORU_SamInitial(1, 1, 3, g_term, g_key, 4); }});
  c.push_back({"SamGetInfo", 0x03, {0x01}, 5,
               [](Orvex& ov) { return ov.OV_KORU_SamGetInfo(1, 1, g_out, &g_u32); }});
  c.push_back({"Request", 0x10, {}, 40, [](Orvex& ov) { return ov.OV_KORU_Request(1, g_out); }});
  c.push_back({"CreateSysFile", 0x11, Cat(B(g_key, 16), {0x05}), 500,
               [](Orvex&) { return orvex::TAMRACPU_CreateSysFile(1, g_key, 5, g_out); }});
  c.push_back({"ChangeKey", 0x12, Cat(Cat(B(g_key, 16), B(g_key2, 16)), {0x01, 0x02}), 50,
               [](Orvex& ov) { return ov.OV_KORU_ChangeKey(1, g_key, 1, g_key2, 2, g_out); }});
  c.push_back({"ReadPublicFile", 0x13, {}, 5,
               [](Orvex& ov) { return ov.OV_KORU_ReadPublicFile(1, &g_len, g_out); }});
  c.push_back({"WritePublicFile", 0x14, Cat({0x01}, B(g_file, 50)), 5,
               [](Orvex& ov) { return ov.OV_KORU_WritePublicFile(1, 1, g_file); }});
  c.push_back({"ReadHolderFile", 0x15, {0x02}, 5,
               [](Orvex& ov) { return ov.OV_KORU_ReadHolderFile(1, 2, &g_len, g_out); }});
  c.push_back({"WriteHolderFile", 0x16, Cat({0x02}, B(g_file, 100)), 5,
               [](Orvex& ov) { return ov.OV_KORU_WriteHolderFile(1, 2, g_file); }});
  c.push_back({"ReadUserFile", 0x17, {0x01, 0x01, 0x23, 0x00, 0x40}, 50,
               [](Orvex& ov) { return ov.OV_KORU_ReadUserFile(1, 1, 0x0123, 0x40, &g_len, g_out); }});
  c.push_back({"WriteUserFile", 0x18, Cat({0x01, 0x02, 0x00}, B(g_file, 20)), 50,
               [](Orvex& ov) { return ov.OV_KORU_WriteUserFile(1, 1, 0x0200, 20, g_file); }});
  c.push_back({"Balance", 0x19, {}, 5, [](Orvex& ov) { return ov.OV_KORU_Balance(1, &g_u32); }});
  c.push_back({"Debit", 0x1A, Cat({0x01, 0x00, 0x01, 0x86, 0xA0}, B(g_date, 7)), 5,
               [](Orvex& ov) { return ov.OV_KORU_Debit(1, 1, 100000, g_date, g_out); }});
  c.push_back({"Consume", 0x1B, Cat({0x02, 0x12, 0x34, 0x56, 0x78}, B(g_date, 7)), 5,
               [](Orvex& ov) { return ov.OV_KORU_Consume(1, 2, 0x12345678, g_date, g_out); }});
  c.push_back({"Record", 0x1C, {}, 5, [](Orvex& ov) { return ov.OV_KORU_Record(1, g_len, g_out); }});
  return c;
}

class CardAppTest : public FakeReaderTest {
 protected:
  unsigned short Step() { return ov.OV_KORU_GetStatus(1, 1); }
  unsigned short StatusWord() { return ov.OV_KORU_GetStatus(1, 0); }
  // Leaves known values in both status words: step 3, status word 0x9401.
  void MarkStatusWords() {
    reader.Refuse(0x03, {0x19, 0x94, 0x01});
    ASSERT_EQ(-2, ov.OV_KORU_Balance(1, &g_u32));
    ASSERT_EQ(3, Step());
    ASSERT_EQ(0x9401, StatusWord());
    reader.ClearRecord();
  }
};

class CardAppEvery : public CardAppTest, public ::testing::WithParamInterface<SubCall> {
 protected:
  void ExpectItsField() { ExpectSent(kCmd, Cat({GetParam().sub}, GetParam().params)); }
  uint8_t Sub() { return GetParam().sub; }
};

INSTANTIATE_TEST_SUITE_P(CardApp, CardAppEvery, ::testing::ValuesIn(AllCalls()),
                         [](const ::testing::TestParamInfo<SubCall>& i) { return i.param.name; });

TEST(CardAppTable, HasEveryExchangingFunction) {
  // The 15 exchanging methods and the internal CreateSysFile.
  EXPECT_EQ(16u, AllCalls().size());
}

TEST_P(CardAppEvery, SendsItsSubCommandAndParametersAndSucceedsOnTheEcho) {
  MarkStatusWords();
  reader.Ok({Sub()});
  EXPECT_EQ(1, GetParam().call(ov));
  ExpectItsField();
  EXPECT_EQ(0, Step());
  EXPECT_EQ(0x9000, StatusWord());
}

TEST_P(CardAppEvery, StatusZeroWithoutTheEchoIsARefusal) {
  MarkStatusWords();
  reader.Ok({static_cast<uint8_t>(Sub() ^ 0x80), 0x6A, 0x82});
  EXPECT_EQ(-2, GetParam().call(ov));
  ExpectItsField();
  EXPECT_EQ(0, Step());
  EXPECT_EQ(0x6A82, StatusWord());
}

TEST_P(CardAppEvery, NonZeroStatusIsARefusalAndIsKeptAsTheStep) {
  for (uint8_t status : {0x01, 0x7F, 0x80, 0xFF}) {
    reader.Refuse(status, {Sub(), 0x69, status});
    EXPECT_EQ(-2, GetParam().call(ov)) << "status " << int(status);
    EXPECT_EQ(status, Step());
    EXPECT_EQ(0x6900 | status, StatusWord());
  }
  EXPECT_EQ(4u, reader.commands().size());
}

// With two answer bytes or fewer the status word stays 0x9000.
TEST_P(CardAppEvery, RefusalWithoutAStatusWordLeaves9000) {
  MarkStatusWords();
  reader.Refuse(0x05, {Sub(), 0x94});
  EXPECT_EQ(-2, GetParam().call(ov));
  EXPECT_EQ(5, Step());
  EXPECT_EQ(0x9000, StatusWord());
}

TEST_P(CardAppEvery, NoAnswerIsMinusOneAndKeepsTheStep) {
  MarkStatusWords();
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, GetParam().call(ov));
  ExpectItsField();
  EXPECT_EQ(3, Step());
  EXPECT_EQ(0x9000, StatusWord());
}

TEST_P(CardAppEvery, BadChecksumIsMinusOneAndKeepsTheStep) {
  MarkStatusWords();
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0x07, {Sub(), 0x6A, 0x82})));
  EXPECT_EQ(-1, GetParam().call(ov));
  EXPECT_EQ(3, Step());
  EXPECT_EQ(0x9000, StatusWord());
}

TEST_P(CardAppEvery, WaitsThroughAGapJustUnderItsDeadline) {
  LongWaits();
  reader.Push(Split(Reply::Ok({Sub()}), GapUnder(GetParam().delay)));
  EXPECT_EQ(1, GetParam().call(ov));
}

TEST_P(CardAppEvery, GivesUpOnAGapWellOverItsDeadline) {
  int gap = GapOver(GetParam().delay);
  if (gap == 0) GTEST_SKIP() << "a deadline this long is probed from below only";
  LongWaits();
  reader.Push(Split(Reply::Ok({Sub()}), gap));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, GetParam().call(ov)); });
  EXPECT_GE(ms, GapUnder(GetParam().delay));
  EXPECT_LT(ms, gap);
}

// ---- The exchange and the status words ---------------------------------------------------

TEST_F(CardAppTest, StatusWordsStartAtZero) {
  // Run first in this process only when the test is run alone; the values
  // are the starting state of the module.
  if (::testing::UnitTest::GetInstance()->test_to_run_count() != 1) GTEST_SKIP();
  EXPECT_EQ(0, Step());
  EXPECT_EQ(0, StatusWord());
}

TEST_F(CardAppTest, RefusalWithStatus3AndData1A9401) {
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Refuse(0x03, {0x1A, 0x94, 0x01});
  EXPECT_EQ(-2, ov.OV_KORU_Debit(1, 1, 5, g_date, out));
  EXPECT_EQ(3, Step());
  EXPECT_EQ(0x9401, StatusWord());
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
}

TEST_F(CardAppTest, GetStatusTakesAnyNonZeroModeAsTheStep) {
  MarkStatusWords();
  EXPECT_EQ(3, ov.OV_KORU_GetStatus(1, 7));
  EXPECT_EQ(3, ov.OV_KORU_GetStatus(1, -1));
  EXPECT_EQ(0x9401, ov.OV_KORU_GetStatus(1, 0));
  EXPECT_EQ(3, orvex::TAMRACPU_GetStatus(0, 1));
  EXPECT_FALSE(reader.WaitForCommands(1, 100));  // no exchange
}

TEST_F(CardAppTest, TransferHandsBackTheResultAfterTheEcho) {
  unsigned char p[2] = {0x11, 0x22};
  int len = -7;
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok({0x55, 1, 2, 3});
  EXPECT_EQ(1, orvex::TAMRACPU_Transfer(1, 0x55, 2, p, &len, out, 5));
  ExpectSent(kCmd, {0x55, 0x11, 0x22});
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({1, 2, 3, 0xEE}), Bytes(out, out + 4));
}

TEST_F(CardAppTest, TransferWritesNothingOnFailure) {
  int len = -7;
  unsigned char out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  reader.Refuse(0x01, {0x55, 1, 2});
  EXPECT_EQ(-2, orvex::TAMRACPU_Transfer(1, 0x55, 0, nullptr, &len, out, 5));
  reader.Ok({0x56, 1, 2});
  EXPECT_EQ(-2, orvex::TAMRACPU_Transfer(1, 0x55, 0, nullptr, &len, out, 5));
  reader.Ok({});  // status 0 and nothing to echo
  EXPECT_EQ(-2, orvex::TAMRACPU_Transfer(1, 0x00, 0, nullptr, &len, out, 5));
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0, {0x55, 1, 2})));
  EXPECT_EQ(-1, orvex::TAMRACPU_Transfer(1, 0x55, 0, nullptr, &len, out, 5));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(out, out + 4));
}

TEST_F(CardAppTest, AnswerCommandByteIsNotCompared) {
  int len = 0;
  reader.Push(Reply::Ok({0x55}).WithCmd(0x22));
  EXPECT_EQ(1, orvex::TAMRACPU_Transfer(1, 0x55, 0, nullptr, &len, g_out, 5));
}

TEST_F(CardAppTest, TransferRefusesDataBeyondOneFrameUnsentKeepingTheStatusWords) {
  MarkStatusWords();
  std::vector<unsigned char> d(1100, 0x33);
  int len = 0;
  EXPECT_EQ(-2, orvex::TAMRACPU_Transfer(1, 0x18, 1040, d.data(), &len, g_out, 5));
  EXPECT_EQ(-2, orvex::TAMRACPU_Transfer(1, 0x18, -1, d.data(), &len, g_out, 5));
  EXPECT_FALSE(reader.WaitForCommands(1, 200));
  EXPECT_EQ(3, Step());
  EXPECT_EQ(0x9401, StatusWord());
  reader.Ok({0x18});
  EXPECT_EQ(1, orvex::TAMRACPU_Transfer(1, 0x18, 1039, d.data(), &len, g_out, 5));
  ExpectSent(kCmd, Cat({0x18}, Bytes(1039, 0x33)));
}

TEST_F(CardAppTest, StatusWordIsResetByTheNextExchange) {
  MarkStatusWords();
  unsigned int v = 0;
  reader.Ok({0x19, 0, 0, 0, 1});
  EXPECT_EQ(1, ov.OV_KORU_Balance(1, &v));
  EXPECT_EQ(0, Step());
  EXPECT_EQ(0x9000, StatusWord());
}

// ---- SAM ----------------------------------------------------------------------------------

TEST_F(CardAppTest, SamResetHandsBackTheAnswerToReset) {
  unsigned char len = 0xEE;
  unsigned char atr[12];
  std::memset(atr, 0xEE, sizeof atr);
  reader.Ok({0x01, 0x3B, 0x6C, 0x00, 0x02});
  EXPECT_EQ(1, ov.OV_KORU_SamReset(1, 1, &len, atr));
  ExpectSent(kCmd, {0x01, 0x01});
  EXPECT_EQ(4, len);
  EXPECT_EQ(Bytes({0x3B, 0x6C, 0x00, 0x02, 0xEE}), Bytes(atr, atr + 5));
}

TEST_F(CardAppTest, SamResetReportsLengthZeroOnFailure) {
  unsigned char len = 0xEE;
  unsigned char atr[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  reader.Refuse(0x02, {0x01, 0x3B});
  EXPECT_EQ(-2, ov.OV_KORU_SamReset(1, 1, &len, atr));
  EXPECT_EQ(0, len);
  len = 0xEE;
  reader.Push(Reply::Raw(BadChecksumFrame(kCmd, 0, {0x01, 0x3B})));
  EXPECT_EQ(-1, ov.OV_KORU_SamReset(1, 1, &len, atr));
  EXPECT_EQ(0, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(atr, atr + 4));
}

TEST_F(CardAppTest, SamInitialSends25ParameterBytes) {
  reader.Ok({0x02, 1, 2, 3});
  EXPECT_EQ(1, ov.OV_KORU_SamInitial(1, 2, 0x81, g_term, g_key, 0x01));
  ExpectSent(kCmd, Cat(Cat(Cat({0x02, 0x02, 0x81}, B(g_term, 6)), B(g_key, 16)), {0x01}));
  EXPECT_EQ(26u, reader.last().data.size());
}

TEST_F(CardAppTest, SamGetInfoNeedsMoreThanNineBytes) {
  unsigned char term[8];
  unsigned int order = 0xEEEEEEEE;
  std::memset(term, 0xEE, sizeof term);
  reader.Ok({0x03, 1, 2, 3, 4, 5, 6, 0x00, 0x01, 0x02, 0x03});
  EXPECT_EQ(1, ov.OV_KORU_SamGetInfo(1, 0, term, &order));
  ExpectSent(kCmd, {0x03, 0x00});
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 0xEE}), Bytes(term, term + 7));
  EXPECT_EQ(0x00010203u, order);

  std::memset(term, 0xEE, sizeof term);
  order = 0xEEEEEEEE;
  reader.Ok({0x03, 1, 2, 3, 4, 5, 6, 7, 8, 9});  // nine bytes: not enough
  EXPECT_EQ(1, ov.OV_KORU_SamGetInfo(1, 0, term, &order));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(term, term + 8));
  EXPECT_EQ(0xEEEEEEEEu, order);

  reader.Refuse(0x09, {0x03, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  EXPECT_EQ(-2, ov.OV_KORU_SamGetInfo(1, 0, term, &order));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(term, term + 8));
  EXPECT_EQ(0xEEEEEEEEu, order);
}

// ---- Card number ------------------------------------------------------------------------

TEST_F(CardAppTest, RequestCopiesACardNumberOfMoreThanSevenBytes) {
  unsigned char no[12];
  std::memset(no, 0xEE, sizeof no);
  reader.Ok({0x10, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(1, ov.OV_KORU_Request(1, no));
  ExpectSent(kCmd, {0x10});
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8, 0xEE}), Bytes(no, no + 9));
}

TEST_F(CardAppTest, RequestWithASevenByteResultLeavesCardNo) {
  unsigned char no[12];
  std::memset(no, 0xEE, sizeof no);
  reader.Ok({0x10, 1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(1, ov.OV_KORU_Request(1, no));
  EXPECT_EQ(Bytes(12, 0xEE), Bytes(no, no + 12));
  reader.Refuse(0x04, {0x10, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(-2, ov.OV_KORU_Request(1, no));
  EXPECT_EQ(Bytes(12, 0xEE), Bytes(no, no + 12));
}

TEST_F(CardAppTest, CreateSysFileAndChangeKeyFollowTheCardNumberRule) {
  unsigned char no[12];
  std::memset(no, 0xEE, sizeof no);
  reader.Ok({0x11, 9, 8, 7, 6, 5, 4, 3, 2, 1});
  EXPECT_EQ(1, orvex::TAMRACPU_CreateSysFile(1, g_key, 0x02, no));
  ExpectSent(kCmd, Cat(Cat({0x11}, B(g_key, 16)), {0x02}));
  EXPECT_EQ(Bytes({9, 8, 7, 6, 5, 4, 3, 2, 1, 0xEE}), Bytes(no, no + 10));

  std::memset(no, 0xEE, sizeof no);
  reader.Ok({0x12, 1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(1, ov.OV_KORU_ChangeKey(1, g_key, 0x01, g_key2, 0x02, no));
  ExpectSent(kCmd, Cat(Cat(Cat({0x12}, B(g_key, 16)), B(g_key2, 16)), {0x01, 0x02}));
  EXPECT_EQ(35u, reader.last().data.size());
  EXPECT_EQ(Bytes(12, 0xEE), Bytes(no, no + 12));
  reader.Ok({0x12, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(1, ov.OV_KORU_ChangeKey(1, g_key, 0x01, g_key2, 0x02, no));
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8, 0xEE}), Bytes(no, no + 9));
}

// ---- Files ------------------------------------------------------------------------------------

TEST_F(CardAppTest, FileReadersHandBackResultAndLength) {
  int len = -7;
  unsigned char out[64];
  std::memset(out, 0xEE, sizeof out);
  reader.Ok(Cat({0x13}, B(g_file, 50)));
  EXPECT_EQ(1, ov.OV_KORU_ReadPublicFile(1, &len, out));
  EXPECT_EQ(50, len);
  EXPECT_EQ(B(g_file, 50), Bytes(out, out + 50));
  EXPECT_EQ(0xEE, out[50]);

  reader.Ok({0x15, 'A', 'B'});
  EXPECT_EQ(1, ov.OV_KORU_ReadHolderFile(1, 3, &len, out));
  ExpectSent(kCmd, {0x15, 0x03});
  EXPECT_EQ(2, len);

  reader.Ok({0x17, 5, 6, 7});
  EXPECT_EQ(1, ov.OV_KORU_ReadUserFile(1, 0, 0xABCD, 0x0102, &len, out));
  ExpectSent(kCmd, {0x17, 0x00, 0xAB, 0xCD, 0x01, 0x02});
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({5, 6, 7}), Bytes(out, out + 3));
}

TEST_F(CardAppTest, FileReadersLeaveOutputsOnFailure) {
  int len = -7;
  unsigned char out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  reader.Refuse(0x01, {0x13, 1, 2});
  EXPECT_EQ(-2, ov.OV_KORU_ReadPublicFile(1, &len, out));
  reader.Refuse(0x80, {0x15, 1, 2});
  EXPECT_EQ(-2, ov.OV_KORU_ReadHolderFile(1, 0, &len, out));
  reader.Ok({0x18, 1, 2});
  EXPECT_EQ(-2, ov.OV_KORU_ReadUserFile(1, 0, 0, 2, &len, out));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(out, out + 4));
}

TEST_F(CardAppTest, FileWritersSendFixedSizes) {
  reader.Ok({0x14});
  EXPECT_EQ(1, ov.OV_KORU_WritePublicFile(1, 0x07, g_file));
  ExpectSent(kCmd, Cat({0x14, 0x07}, B(g_file, 50)));
  reader.Ok({0x16});
  EXPECT_EQ(1, ov.OV_KORU_WriteHolderFile(1, 0x07, g_file));
  ExpectSent(kCmd, Cat({0x16, 0x07}, B(g_file, 100)));
}

TEST_F(CardAppTest, UserFileWriteOf1024BytesSends1027ParameterBytes) {
  reader.Ok({0x18});
  EXPECT_EQ(1, ov.OV_KORU_WriteUserFile(1, 0x01, 0x0304, 1024, g_file));
  ExpectSent(kCmd, Cat({0x18, 0x01, 0x03, 0x04}, B(g_file, 1024)));
  EXPECT_EQ(1 + 1027u, reader.last().data.size());
}

TEST_F(CardAppTest, UserFileWriteOf1025BytesIsRefusedUnsentKeepingTheStatusWords) {
  MarkStatusWords();
  EXPECT_EQ(-2, ov.OV_KORU_WriteUserFile(1, 0x01, 0, 1025, g_file));
  EXPECT_EQ(-2, ov.OV_KORU_WriteUserFile(1, 0x01, 0, -1, g_file));
  EXPECT_FALSE(reader.WaitForCommands(1, 200));
  EXPECT_EQ(3, Step());
  EXPECT_EQ(0x9401, StatusWord());
}

// ---- Purse ---------------------------------------------------------------------------------

TEST_F(CardAppTest, BalanceIsReadMostSignificantByteFirst) {
  unsigned int v = 0xEEEEEEEE;
  reader.Ok({0x19, 0x00, 0x00, 0x01, 0xF4});
  EXPECT_EQ(1, ov.OV_KORU_Balance(1, &v));
  ExpectSent(kCmd, {0x19});
  EXPECT_EQ(500u, v);
  reader.Ok({0x19, 0xFF, 0x00, 0x00, 0x01, 0x77});
  EXPECT_EQ(1, ov.OV_KORU_Balance(1, &v));
  EXPECT_EQ(0xFF000001u, v);
}

TEST_F(CardAppTest, BalanceNeedsFourBytes) {
  unsigned int v = 0xEEEEEEEE;
  reader.Ok({0x19, 0x00, 0x01, 0xF4});
  EXPECT_EQ(1, ov.OV_KORU_Balance(1, &v));
  EXPECT_EQ(0xEEEEEEEEu, v);
  reader.Refuse(0x06, {0x19, 0x00, 0x00, 0x01, 0xF4});
  EXPECT_EQ(-2, ov.OV_KORU_Balance(1, &v));
  EXPECT_EQ(0xEEEEEEEEu, v);
}

TEST_F(CardAppTest, DebitAndConsumeSendTheAmountMostSignificantByteFirst) {
  unsigned char result[8];
  std::memset(result, 0xEE, sizeof result);
  reader.Ok({0x1A, 0xD1, 0xD2, 0xD3});
  EXPECT_EQ(1, ov.OV_KORU_Debit(1, 0x01, 0x01020304, g_date, result));
  ExpectSent(kCmd, Cat({0x1A, 0x01, 0x01, 0x02, 0x03, 0x04}, B(g_date, 7)));
  EXPECT_EQ(Bytes({0xD1, 0xD2, 0xD3, 0xEE}), Bytes(result, result + 4));
  reader.Ok({0x1B, 0xC1});
  EXPECT_EQ(1, ov.OV_KORU_Consume(1, 0x02, 500, g_date, result));
  ExpectSent(kCmd, Cat({0x1B, 0x02, 0x00, 0x00, 0x01, 0xF4}, B(g_date, 7)));
  EXPECT_EQ(Bytes({0xC1, 0xD2}), Bytes(result, result + 2));
}

TEST_F(CardAppTest, RecordHandsBackResultAndLength) {
  int len = -7;
  unsigned char rec[8];
  std::memset(rec, 0xEE, sizeof rec);
  reader.Ok({0x1C, 0x10, 0x20});
  EXPECT_EQ(1, ov.OV_KORU_Record(1, len, rec));
  ExpectSent(kCmd, {0x1C});
  EXPECT_EQ(2, len);
  EXPECT_EQ(Bytes({0x10, 0x20, 0xEE}), Bytes(rec, rec + 3));
  len = -7;
  reader.Refuse(0x01, {0x1C, 0x10});
  EXPECT_EQ(-2, ov.OV_KORU_Record(1, len, rec));
  EXPECT_EQ(-7, len);
}

}  // namespace
