// SPDX-License-Identifier: MIT
// ISO 14443-A and MIFARE Classic commands through the fake reader: the
// command code and data field on the wire, the answer deadline, the success
// value and outputs, and the failures that leave the outputs alone.
#include <cstring>
#include <vector>

#include "card_test.h"
#include "cards/untISO14443.h"

using namespace orvex_test;

namespace {

class Iso14443Test : public CardTest {};

const Bytes kKey = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};

Bytes Block16(uint8_t first) {
  Bytes b;
  for (int i = 0; i < 16; ++i) b.push_back(static_cast<uint8_t>(first + i));
  return b;
}

}  // namespace

// ---- Request, anticollision, selection ---------------------------------------

TEST_F(Iso14443Test, RequestCardPutsFirstAnswerByteHigh) {
  reader.Ok({0x04, 0x00});
  unsigned short type = 0;
  EXPECT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
  ExpectSent(0x22, {0x26});
  EXPECT_EQ(0x0400, type);

  reader.Ok({0x44, 0x00});
  EXPECT_EQ(1, ov.OV_RequestCard(0x0102, 0x52, &type));
  ExpectSent(0x22, {0x52}, 0x0102);
  EXPECT_EQ(0x4400, type);
}

TEST_F(Iso14443Test, RequestCardFailuresLeaveCardType) {
  unsigned short type = 0xBEEF;
  ExpectFailures(0x22, {0x04, 0x00}, [&] { return ov.OV_RequestCard(1, 0x26, &type); });
  EXPECT_EQ(0xBEEF, type);
}

TEST_F(Iso14443Test, RequestCardDeadline) {
  unsigned short type = 0;
  ExpectDeadline(1, {0x04, 0x00}, 1, [&] { return ov.OV_RequestCard(1, 0x26, &type); });
}

TEST_F(Iso14443Test, AntiCollideHandsOverEveryAnswerByte) {
  unsigned char len = 0;
  unsigned char sno[12];
  std::memset(sno, 0xEE, sizeof sno);
  reader.Ok({0x11, 0x22, 0x33, 0x44});
  EXPECT_EQ(1, ov.OV_AntiCollide(1, &len, sno));
  ExpectSent(0x23, {});
  EXPECT_EQ(4, len);
  EXPECT_EQ(Bytes({0x11, 0x22, 0x33, 0x44}), Bytes(sno, sno + 4));
  EXPECT_EQ(0xEE, sno[4]);

  reader.Ok({1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(1, ov.OV_AntiCollide(1, &len, sno));
  EXPECT_EQ(7, len);
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7}), Bytes(sno, sno + 7));
  EXPECT_EQ(0xEE, sno[7]);
}

TEST_F(Iso14443Test, AntiCollideFailuresAndDeadline) {
  unsigned char len = 0x5A;
  unsigned char sno[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  ExpectFailures(0x23, {1, 2, 3, 4}, [&] { return ov.OV_AntiCollide(1, &len, sno); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(sno, sno + 4));
  ExpectDeadline(1, {1, 2, 3, 4}, 1, [&] { return ov.OV_AntiCollide(1, &len, sno); });
}

TEST_F(Iso14443Test, AntiCollideAndSelectReturnsSerialNumberLength) {
  unsigned char mem = 0, snLen = 0;
  unsigned char sn[8];
  std::memset(sn, 0xEE, sizeof sn);
  reader.Ok({0x08, 0xDE, 0xAD, 0xBE, 0xEF});
  EXPECT_EQ(4, ov.OV_AntiCollideAndSelect(1, 0x01, &mem, &snLen, sn));
  ExpectSent(0x24, {0x01});
  EXPECT_EQ(0x08, mem);
  EXPECT_EQ(4, snLen);
  EXPECT_EQ(Bytes({0xDE, 0xAD, 0xBE, 0xEF}), Bytes(sn, sn + 4));
  EXPECT_EQ(0xEE, sn[4]);

  reader.Ok({0x20, 1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(7, ov.OV_AntiCollideAndSelect(1, 0x00, &mem, &snLen, sn));
  ExpectSent(0x24, {0x00});
  EXPECT_EQ(0x20, mem);
  EXPECT_EQ(7, snLen);
}

TEST_F(Iso14443Test, AntiCollideAndSelectFailuresAndDeadline) {
  unsigned char mem = 0x5A, snLen = 0x5B;
  unsigned char sn[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  const Bytes ok = {0x08, 1, 2, 3, 4};
  ExpectFailures(0x24, ok, [&] { return ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn); });
  EXPECT_EQ(0x5A, mem);
  EXPECT_EQ(0x5B, snLen);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(sn, sn + 4));
  ExpectDeadline(1, ok, 4, [&] { return ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn); });
}

TEST_F(Iso14443Test, MalformedSelectionAnswersWriteNothing) {
  unsigned char mem = 0x5A, snLen = 0x5B;
  unsigned char sn[10];
  std::memset(sn, 0xEE, sizeof sn);
  reader.Ok({});  // no memory byte
  EXPECT_EQ(-1, ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn));
  Bytes eleven(12, 0x33);  // memory byte and 11 serial number bytes
  reader.Ok(eleven);
  EXPECT_EQ(-1, ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn));
  EXPECT_EQ(0x5A, mem);
  EXPECT_EQ(0x5B, snLen);
  EXPECT_EQ(Bytes(10, 0xEE), Bytes(sn, sn + 10));
  Bytes ten(11, 0x44);
  reader.Ok(ten);
  EXPECT_EQ(10, ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn));
  EXPECT_EQ(Bytes(10, 0x44), Bytes(sn, sn + 10));

  unsigned short atqa = 0x5A5A;
  unsigned char sak = 0x5C, len = 0x5D;
  std::memset(sn, 0xEE, sizeof sn);
  for (Bytes answer : {Bytes{}, Bytes{0x04}, Bytes{0x04, 0x00}, Bytes(14, 0x01)}) {
    reader.Ok(answer);
    EXPECT_EQ(-1, ov.OV_RequestAntiandSelect(1, 0, 0, &atqa, &sak, &len, sn)) << answer.size();
  }
  EXPECT_EQ(0x5A5A, atqa);
  EXPECT_EQ(0x5C, sak);
  EXPECT_EQ(0x5D, len);
  EXPECT_EQ(Bytes(10, 0xEE), Bytes(sn, sn + 10));
}

TEST_F(Iso14443Test, SelectionAnswerWithoutSerialNumberWritesNothing) {
  // The memory byte alone: no serial number, so no selection (it used to
  // return 0 with the memory byte and a length of 0 written).
  unsigned char mem = 0x5A, snLen = 0x5B;
  unsigned char sn[10];
  std::memset(sn, 0xEE, sizeof sn);
  reader.Ok({0x08});
  EXPECT_EQ(-1, ov.OV_AntiCollideAndSelect(1, 0, &mem, &snLen, sn));
  EXPECT_EQ(0x5A, mem);
  EXPECT_EQ(0x5B, snLen);
  EXPECT_EQ(Bytes(10, 0xEE), Bytes(sn, sn + 10));
}

TEST_F(Iso14443Test, ReadM1MultiBlockEmptyAnswerWritesNothing) {
  // The result is the answer's leading byte: without one the answer is
  // malformed (it used to return 0, a success, with nothing behind it).
  int len = 0x5A;
  unsigned char buf[40];
  std::memset(buf, 0xEE, sizeof buf);
  reader.Ok({});
  EXPECT_EQ(-1, ov.OV_ReadM1MultiBlock(1, 4, 2, &len, buf));
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(40, 0xEE), Bytes(buf, buf + 40));
}

TEST_F(Iso14443Test, CardSelectSendsTheSerialNumberAsItStands) {
  unsigned char sno[7] = {0x04, 0x03, 0x10, 0x02, 0x55, 0x66, 0x77};
  reader.Ok();
  EXPECT_EQ(1, ov.OV_CardSelect(1, 7, sno));
  ExpectSent(0x25, {0x04, 0x03, 0x10, 0x02, 0x55, 0x66, 0x77});
  reader.Ok();
  EXPECT_EQ(1, ov.OV_CardSelect(1, 4, sno));
  ExpectSent(0x25, {0x04, 0x03, 0x10, 0x02});
  ExpectFailures(0x25, {}, [&] { return ov.OV_CardSelect(1, 4, sno); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_CardSelect(1, 4, sno); });
}

TEST_F(Iso14443Test, CardHalt) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_CardHalt(3));
  ExpectSent(0x26, {}, 3);
  ExpectFailures(0x26, {}, [&] { return ov.OV_CardHalt(1); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_CardHalt(1); });
}

TEST_F(Iso14443Test, AntiCollideLevel) {
  unsigned char len = 0;
  unsigned char sno[8];
  std::memset(sno, 0xEE, sizeof sno);
  reader.Ok({0x88, 0x04, 0x11, 0x22});
  EXPECT_EQ(1, ov.OV_AntiCollide_Level(1, 0x102, &len, sno));  // level sent as its low byte
  ExpectSent(0x39, {0x02});
  EXPECT_EQ(4, len);
  EXPECT_EQ(Bytes({0x88, 0x04, 0x11, 0x22}), Bytes(sno, sno + 4));
  EXPECT_EQ(0xEE, sno[4]);

  len = 0x5A;
  std::memset(sno, 0xEE, sizeof sno);
  ExpectFailures(0x39, {1, 2, 3, 4}, [&] { return ov.OV_AntiCollide_Level(1, 1, &len, sno); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(sno, sno + 8));
  ExpectDeadline(1, {1, 2, 3, 4}, 1, [&] { return ov.OV_AntiCollide_Level(1, 1, &len, sno); });
}

TEST_F(Iso14443Test, SelectCardLevel) {
  unsigned char sak = 0;
  reader.Ok({0x08});
  EXPECT_EQ(1, ov.OV_SelectCard_Level(1, 3, &sak));
  ExpectSent(0x3A, {0x03});
  EXPECT_EQ(0x08, sak);

  sak = 0x5A;
  ExpectFailures(0x3A, {0x20}, [&] { return ov.OV_SelectCard_Level(1, 1, &sak); });
  EXPECT_EQ(0x5A, sak);
  ExpectDeadline(1, {0x20}, 1, [&] { return ov.OV_SelectCard_Level(1, 1, &sak); });
}

TEST_F(Iso14443Test, RequestAntiandSelectPutsFirstAnswerByteLow) {
  unsigned short atqa = 0;
  unsigned char sak = 0, len = 0;
  unsigned char sno[8];
  std::memset(sno, 0xEE, sizeof sno);
  reader.Ok({0x04, 0x00, 0x08, 0xDE, 0xAD, 0xBE, 0xEF});
  EXPECT_EQ(1, ov.OV_RequestAntiandSelect(1, 0x152, 0x201, &atqa, &sak, &len, sno));
  ExpectSent(0x38, {0x52, 0x01});
  EXPECT_EQ(0x0004, atqa);
  EXPECT_EQ(0x08, sak);
  EXPECT_EQ(4, len);
  EXPECT_EQ(Bytes({0xDE, 0xAD, 0xBE, 0xEF}), Bytes(sno, sno + 4));
  EXPECT_EQ(0xEE, sno[4]);

  reader.Ok({0x44, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(1, ov.OV_RequestAntiandSelect(1, 0x26, 0, &atqa, &sak, &len, sno));
  EXPECT_EQ(0x0044, atqa);
  EXPECT_EQ(0x00, sak);
  EXPECT_EQ(7, len);
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7}), Bytes(sno, sno + 7));
}

TEST_F(Iso14443Test, RequestAntiandSelectFailuresAndDeadline) {
  unsigned short atqa = 0xBEEF;
  unsigned char sak = 0x5A, len = 0x5B;
  unsigned char sno[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  const Bytes ok = {0x04, 0x00, 0x08, 1, 2, 3, 4};
  ExpectFailures(0x38, ok, [&] { return ov.OV_RequestAntiandSelect(1, 0x26, 0, &atqa, &sak, &len, sno); });
  EXPECT_EQ(0xBEEF, atqa);
  EXPECT_EQ(0x5A, sak);
  EXPECT_EQ(0x5B, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(sno, sno + 4));
  ExpectDeadline(1, ok, 1, [&] { return ov.OV_RequestAntiandSelect(1, 0x26, 0, &atqa, &sak, &len, sno); });
}

// ---- Keys -----------------------------------------------------------------------

TEST_F(Iso14443Test, DownLoadKey) {
  Bytes key = kKey;
  reader.Ok();
  EXPECT_EQ(1, ov.OV_DownLoadKey(1, 0x107, key.data()));
  ExpectSent(0x37, {0x07, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5});
  ExpectFailures(0x37, {}, [&] { return ov.OV_DownLoadKey(1, 7, key.data()); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_DownLoadKey(1, 7, key.data()); });
}

TEST_F(Iso14443Test, DownLoadKeyWithoutAnswerIsMinusTwo) {
  Bytes key = kKey;
  reader.Push(Reply::Silence());
  EXPECT_EQ(-2, ov.OV_DownLoadKey(1, 7, key.data()));
}

TEST_F(Iso14443Test, KeyDownAuthorization) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_KeyDown_Authorization(1, 0x60, 0x13F, 0x05));
  ExpectSent(0x27, {0x60, 0x3F, 0x05});
  ExpectFailures(0x27, {}, [&] { return ov.OV_KeyDown_Authorization(1, 0x60, 4, 5); });
  ExpectDeadline(5, {}, 1, [&] { return ov.OV_KeyDown_Authorization(1, 0x60, 4, 5); });
}

TEST_F(Iso14443Test, KeyDownAuthorizationWithoutAnswerIsMinusTwo) {
  reader.Push(Reply::Silence());
  long ms = ElapsedMs([&] { EXPECT_EQ(-2, ov.OV_KeyDown_Authorization(1, 0x60, 4, 5)); });
  EXPECT_GE(ms, kTestFirstByteTimeoutMs - 20);
}

TEST_F(Iso14443Test, KeyAuthorization) {
  Bytes key = kKey;
  reader.Ok();
  EXPECT_EQ(1, ov.OV_KeyAuthorization(1, 0x61, 7, key.data()));
  ExpectSent(0x28, {0x61, 0x07, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5});
  reader.Ok();
  EXPECT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 256, key.data()));  // block 256 is block 0
  ExpectSent(0x28, {0x60, 0x00, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5});
  ExpectFailures(0x28, {}, [&] { return ov.OV_KeyAuthorization(1, 0x60, 4, key.data()); });
  ExpectDeadline(5, {}, 1, [&] { return ov.OV_KeyAuthorization(1, 0x60, 4, key.data()); });
}

TEST_F(Iso14443Test, KeyAuthorizationWithoutAnswerIsMinusTwo) {
  Bytes key = kKey;
  reader.Push(Reply::Silence());
  EXPECT_EQ(-2, ov.OV_KeyAuthorization(1, 0x60, 4, key.data()));
}

// ---- Blocks ------------------------------------------------------------------------

TEST_F(Iso14443Test, ReadaBlockCopiesExactlyLenData) {
  unsigned char buf[20];
  std::memset(buf, 0xEE, sizeof buf);
  reader.Ok(Block16(0x30));
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 4, 16, buf));
  ExpectSent(0x29, {0x04});
  EXPECT_EQ(Block16(0x30), Bytes(buf, buf + 16));
  EXPECT_EQ(0xEE, buf[16]);

  // A short answer: the bytes behind its data read as zeros.
  std::memset(buf, 0xEE, sizeof buf);
  reader.Ok({1, 2, 3, 4});
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 256, 16, buf));
  ExpectSent(0x29, {0x00});
  EXPECT_EQ(Bytes({1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Bytes(buf, buf + 16));
  EXPECT_EQ(0xEE, buf[16]);

  // A long answer: still LenData bytes.
  std::memset(buf, 0xEE, sizeof buf);
  Bytes longer = Block16(0x40);
  longer.insert(longer.end(), {9, 9, 9, 9});
  reader.Ok(longer);
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 5, 4, buf));
  EXPECT_EQ(Bytes({0x40, 0x41, 0x42, 0x43}), Bytes(buf, buf + 4));
  EXPECT_EQ(0xEE, buf[4]);
}

TEST_F(Iso14443Test, ReadaBlockNeverCopiesPastTheAnswerBuffer) {
  std::vector<unsigned char> buf(ORVEX_MAX_ANSWER + 100, 0xEE);
  reader.Ok(Block16(1));
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 4, ORVEX_MAX_ANSWER + 100, buf.data()));
  EXPECT_EQ(Block16(1), Bytes(buf.begin(), buf.begin() + 16));
  EXPECT_EQ(0, buf[ORVEX_MAX_ANSWER - 1]);
  EXPECT_EQ(0xEE, buf[ORVEX_MAX_ANSWER]);
}

TEST_F(Iso14443Test, ReadaBlockFailuresAndDeadline) {
  unsigned char buf[16];
  std::memset(buf, 0xEE, sizeof buf);
  ExpectFailures(0x29, Block16(0), [&] { return ov.OV_ReadaBlock(1, 4, 16, buf); });
  EXPECT_EQ(Bytes(16, 0xEE), Bytes(buf, buf + 16));
  ExpectDeadline(10, Block16(0), 1, [&] { return ov.OV_ReadaBlock(1, 4, 16, buf); });
}

TEST_F(Iso14443Test, WriteaBlock) {
  Bytes data = Block16(0x02);  // control bytes in the data are stuffed on the wire
  reader.Ok();
  EXPECT_EQ(1, ov.OV_WriteaBlock(1, 0x105, 16, data.data()));
  Bytes expected = {0x05};
  expected.insert(expected.end(), data.begin(), data.end());
  ExpectSent(0x2A, expected);
  ExpectFailures(0x2A, {}, [&] { return ov.OV_WriteaBlock(1, 5, 16, data.data()); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_WriteaBlock(1, 5, 16, data.data()); });
}

TEST_F(Iso14443Test, WriteaBlockTooLongForOneFrameSendsNothing) {
  std::vector<unsigned char> data(orvex::kMaxDataField, 0x11);
  EXPECT_EQ(-1, ov.OV_WriteaBlock(1, 4, orvex::kMaxDataField, data.data()));
  EXPECT_FALSE(reader.WaitForCommands(1, 100));
}

TEST_F(Iso14443Test, WriteaBlock0UsesItsOwnCommand) {
  Bytes data = Block16(0xA0);
  reader.Ok();
  EXPECT_EQ(1, orvex::WriteaBlock0_(1, 0, 16, data.data()));
  Bytes expected = {0x00};
  expected.insert(expected.end(), data.begin(), data.end());
  ExpectSent(0x3F, expected);
  ExpectFailures(0x3F, {}, [&] { return orvex::WriteaBlock0_(1, 0, 16, data.data()); });
  ExpectDeadline(1, {}, 1, [&] { return orvex::WriteaBlock0_(1, 0, 16, data.data()); });
}

// ---- Purse ----------------------------------------------------------------------------

TEST_F(Iso14443Test, PurseInitialSendsAmountLowByteFirst) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Purse_Initial(1, 8, 10000));
  ExpectSent(0x2B, {0x08, 0x10, 0x27, 0x00, 0x00});
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Purse_Initial(1, 8, -2));  // two's complement
  ExpectSent(0x2B, {0x08, 0xFE, 0xFF, 0xFF, 0xFF});
  ExpectFailures(0x2B, {}, [&] { return ov.OV_Purse_Initial(1, 8, 1); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_Purse_Initial(1, 8, 1); });
}

TEST_F(Iso14443Test, PurseRead) {
  int money = 0;
  reader.Ok({0x10, 0x27, 0x00, 0x00});
  EXPECT_EQ(1, ov.OV_Purse_Read(1, 9, &money));
  ExpectSent(0x2C, {0x09});
  EXPECT_EQ(10000, money);
  reader.Ok({0x00, 0x00, 0x00, 0x80});
  EXPECT_EQ(1, ov.OV_Purse_Read(1, 9, &money));
  EXPECT_EQ(INT32_MIN, money);
  reader.Ok({0xFE, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(1, ov.OV_Purse_Read(1, 9, &money));
  EXPECT_EQ(-2, money);

  money = 0x5A5A;
  ExpectFailures(0x2C, {1, 0, 0, 0}, [&] { return ov.OV_Purse_Read(1, 9, &money); });
  EXPECT_EQ(0x5A5A, money);
  ExpectDeadline(1, {1, 0, 0, 0}, 1, [&] { return ov.OV_Purse_Read(1, 9, &money); });
}

TEST_F(Iso14443Test, PurseDecrease) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Purse_Decrease(1, 8, 0x01020304));
  ExpectSent(0x2D, {0x08, 0x04, 0x03, 0x02, 0x01});
  ExpectFailures(0x2D, {}, [&] { return ov.OV_Purse_Decrease(1, 8, 1); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_Purse_Decrease(1, 8, 1); });
}

TEST_F(Iso14443Test, PurseCharge) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Purse_Charge(1, 8, 0x01020304));
  ExpectSent(0x2E, {0x08, 0x04, 0x03, 0x02, 0x01});
  ExpectFailures(0x2E, {}, [&] { return ov.OV_Purse_Charge(1, 8, 1); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_Purse_Charge(1, 8, 1); });
}

TEST_F(Iso14443Test, Restore) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Restore(1, 0x10D));
  ExpectSent(0x2F, {0x0D});
  ExpectFailures(0x2F, {}, [&] { return ov.OV_Restore(1, 13); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_Restore(1, 13); });
}

TEST_F(Iso14443Test, Transfer) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_Transfer(1, 14));
  ExpectSent(0x30, {0x0E});
  ExpectFailures(0x30, {}, [&] { return ov.OV_Transfer(1, 14); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_Transfer(1, 14); });
}

// ---- CPU card -------------------------------------------------------------------------

TEST_F(Iso14443Test, TypeAResetHandsOverTheWholeAnswer) {
  int len = 0;
  unsigned char buf[16];
  std::memset(buf, 0xEE, sizeof buf);
  const Bytes ats = {0x05, 0x78, 0x80, 0x70, 0x02};
  reader.Ok(ats);
  EXPECT_EQ(1, ov.OV_TypeA_Reset(1, 0x52, 0x01, &len, buf));
  ExpectSent(0x31, {0x52, 0x01});
  EXPECT_EQ(5, len);
  EXPECT_EQ(ats, Bytes(buf, buf + 5));
  EXPECT_EQ(0xEE, buf[5]);

  len = 0x5A;
  std::memset(buf, 0xEE, sizeof buf);
  ExpectFailures(0x31, ats, [&] { return ov.OV_TypeA_Reset(1, 0x52, 0, &len, buf); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(16, 0xEE), Bytes(buf, buf + 16));
  ExpectDeadline(4, ats, 1, [&] { return ov.OV_TypeA_Reset(1, 0x52, 0, &len, buf); });
}

TEST_F(Iso14443Test, TypeACosCarriesTheApduAsItStands) {
  int len = 0;
  unsigned char buf[16];
  std::memset(buf, 0xEE, sizeof buf);
  Bytes apdu = {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00};
  reader.Ok({0x6F, 0x10, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_TypeA_COS(1, 7, apdu.data(), &len, buf));
  ExpectSent(0x32, apdu);
  EXPECT_EQ(4, len);
  EXPECT_EQ(Bytes({0x6F, 0x10, 0x90, 0x00}), Bytes(buf, buf + 4));
  EXPECT_EQ(0xEE, buf[4]);
}

TEST_F(Iso14443Test, TypeACosSucceedsWhateverTheStatusWords) {
  int len = 0;
  unsigned char buf[4];
  Bytes apdu = {0x00, 0xA4, 0x00, 0x00, 0x02, 0xDF, 0x01};
  reader.Ok({0x6A, 0x82});
  EXPECT_EQ(1, ov.OV_TypeA_COS(1, 7, apdu.data(), &len, buf));
  EXPECT_EQ(2, len);  // the status words are counted
  EXPECT_EQ(Bytes({0x6A, 0x82}), Bytes(buf, buf + 2));
}

TEST_F(Iso14443Test, TypeACosFailuresAndDeadline) {
  int len = 0x5A;
  unsigned char buf[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  Bytes apdu = {0x00, 0x84, 0x00, 0x00, 0x04};
  ExpectFailures(0x32, {1, 2, 0x90, 0}, [&] { return ov.OV_TypeA_COS(1, 5, apdu.data(), &len, buf); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(buf, buf + 4));
  ExpectDeadline(4, {0x90, 0x00}, 1, [&] { return ov.OV_TypeA_COS(1, 5, apdu.data(), &len, buf); });
}

TEST_F(Iso14443Test, TypeACosTooLongForOneFrameSendsNothing) {
  int len = 0x5A;
  std::vector<unsigned char> apdu(orvex::kMaxDataField + 1, 0x00);
  unsigned char buf[4];
  EXPECT_EQ(-1, ov.OV_TypeA_COS(1, orvex::kMaxDataField + 1, apdu.data(), &len, buf));
  EXPECT_FALSE(reader.WaitForCommands(1, 100));
  EXPECT_EQ(0x5A, len);
}

// ---- Ultralight -------------------------------------------------------------------------

TEST_F(Iso14443Test, UltraLightReadIsASixteenByteBlockRead) {
  unsigned char buf[20];
  std::memset(buf, 0xEE, sizeof buf);
  reader.Ok(Block16(0x70));
  EXPECT_EQ(1, ov.OV_UltraLightRead(1, 4, buf));
  ExpectSent(0x29, {0x04});
  EXPECT_EQ(Block16(0x70), Bytes(buf, buf + 16));
  EXPECT_EQ(0xEE, buf[16]);

  std::memset(buf, 0xEE, sizeof buf);
  ExpectFailures(0x29, Block16(0), [&] { return ov.OV_UltraLightRead(1, 4, buf); });
  EXPECT_EQ(Bytes(20, 0xEE), Bytes(buf, buf + 20));
  ExpectDeadline(10, Block16(0), 1, [&] { return ov.OV_UltraLightRead(1, 4, buf); });
}

TEST_F(Iso14443Test, UltraLightWriteSendsFourBytes) {
  Bytes page = {0xE1, 0x10, 0x12, 0x00, 0x99, 0x99};  // only the first four go
  reader.Ok();
  EXPECT_EQ(1, ov.OV_UltraLightWrite(1, 0x103, page.data()));
  ExpectSent(0x34, {0x03, 0xE1, 0x10, 0x12, 0x00});
  ExpectFailures(0x34, {}, [&] { return ov.OV_UltraLightWrite(1, 3, page.data()); });
  ExpectDeadline(1, {}, 1, [&] { return ov.OV_UltraLightWrite(1, 3, page.data()); });
}

// ---- Multi-block ------------------------------------------------------------------------

TEST_F(Iso14443Test, ReadM1MultiBlockReturnsFirstAnswerByte) {
  for (int k : {1, 3}) {
    Bytes answer = {static_cast<uint8_t>(k)};
    for (int b = 0; b < k; ++b) {
      Bytes blk = Block16(static_cast<uint8_t>(0x20 * (b + 1)));
      answer.insert(answer.end(), blk.begin(), blk.end());
    }
    int n = 1 + 16 * k;
    std::vector<unsigned char> buf(static_cast<size_t>(n) + 4, 0xEE);
    int len = 0;
    reader.Ok(answer);
    EXPECT_EQ(k, ov.OV_ReadM1MultiBlock(1, 0x104, k, &len, buf.data()));
    ExpectSent(0x35, {0x04, static_cast<uint8_t>(k)});
    EXPECT_EQ(n, len);
    // n bytes from the answer's second byte: its data, then the zero behind it.
    EXPECT_EQ(Bytes(answer.begin() + 1, answer.end()), Bytes(buf.begin(), buf.begin() + n - 1));
    EXPECT_EQ(0, buf[static_cast<size_t>(n) - 1]);
    EXPECT_EQ(0xEE, buf[static_cast<size_t>(n)]);
  }
}

TEST_F(Iso14443Test, ReadM1MultiBlockZeroIsASuccessValue) {
  int len = 0;
  unsigned char buf[20];
  Bytes answer = {0x00};
  Bytes blk = Block16(0x50);
  answer.insert(answer.end(), blk.begin(), blk.end());
  reader.Ok(answer);
  EXPECT_EQ(0, ov.OV_ReadM1MultiBlock(1, 4, 1, &len, buf));
  EXPECT_EQ(17, len);
  EXPECT_EQ(blk, Bytes(buf, buf + 16));
}

TEST_F(Iso14443Test, ReadM1MultiBlockLargestAnswerStillEndsInItsZero) {
  // The largest answer: the byte one past its data lies outside the answer
  // buffer; it still goes out as the zero it stands for, so every one of the
  // LenData bytes reported is written.
  Bytes answer(ORVEX_MAX_ANSWER, 0x33);
  answer[0] = 0x41;
  std::vector<unsigned char> buf(ORVEX_MAX_ANSWER, 0xEE);
  int len = 0;
  reader.Ok(answer);
  EXPECT_EQ(0x41, ov.OV_ReadM1MultiBlock(1, 0, 65, &len, buf.data()));
  EXPECT_EQ(ORVEX_MAX_ANSWER, len);
  EXPECT_EQ(Bytes(ORVEX_MAX_ANSWER - 1, 0x33), Bytes(buf.begin(), buf.end() - 1));
  EXPECT_EQ(0, buf[ORVEX_MAX_ANSWER - 1]);
}

TEST_F(Iso14443Test, ReadM1MultiBlockFailuresAndDeadline) {
  int len = 0x5A;
  unsigned char buf[40];
  std::memset(buf, 0xEE, sizeof buf);
  Bytes answer(33, 0x11);
  answer[0] = 2;
  ExpectFailures(0x35, answer, [&] { return ov.OV_ReadM1MultiBlock(1, 4, 2, &len, buf); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(40, 0xEE), Bytes(buf, buf + 40));
  // BlockNums is the deadline: 3 blocks, 300 ms.
  ExpectDeadline(3, answer, 2, [&] { return ov.OV_ReadM1MultiBlock(1, 4, 3, &len, buf); });
}

TEST_F(Iso14443Test, WriteM1MultiBlockReturnsFirstAnswerByte) {
  Bytes data = Block16(0x00);
  Bytes more = Block16(0x10);
  data.insert(data.end(), more.begin(), more.end());
  reader.Ok({0x02});
  EXPECT_EQ(2, ov.OV_WriteM1MultiBlock(1, 0x104, 0x102, 32, data.data()));
  Bytes expected = {0x04, 0x02};
  expected.insert(expected.end(), data.begin(), data.end());
  ExpectSent(0x36, expected);
  reader.Ok({0x00});
  EXPECT_EQ(0, ov.OV_WriteM1MultiBlock(1, 4, 2, 32, data.data()));
  reader.Ok({0xFF});
  EXPECT_EQ(255, ov.OV_WriteM1MultiBlock(1, 4, 2, 32, data.data()));
  ExpectFailures(0x36, {0x02}, [&] { return ov.OV_WriteM1MultiBlock(1, 4, 2, 32, data.data()); });
  ExpectDeadline(2, {0x02}, 2, [&] { return ov.OV_WriteM1MultiBlock(1, 4, 2, 32, data.data()); });
}

// ---- Link ---------------------------------------------------------------------------------

TEST_F(Iso14443Test, WithoutALinkNothingIsSent) {
  ov.OV_ComFree();
  unsigned short type = 0xBEEF;
  EXPECT_EQ(-1, ov.OV_RequestCard(1, 0x26, &type));
  EXPECT_EQ(0xBEEF, type);
  EXPECT_EQ(-1, ov.OV_CardHalt(1));
  EXPECT_FALSE(reader.WaitForCommands(1, 100));
}
