// SPDX-License-Identifier: MIT
// ISO 15693 commands through the fake reader: command code and data field on
// the wire, answer deadline, the whole answer handed over with its length cut
// to one byte, and failures that leave the outputs alone.
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untISO15693.h"

using namespace orvex_test;

namespace {

// A UID with bytes the serial line has to escape.
unsigned char kUID[8] = {0x01, 0x02, 0x03, 0x10, 0xE0, 0x04, 0x05, 0x06};
const Bytes kUIDBytes(kUID, kUID + 8);
unsigned char kData[8] = {0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7};

// One row of the command table: what the call must send, how long the reader
// may take, and whether the answer reaches the caller.
struct Case {
  const char* name;
  uint8_t cmd;
  Bytes data;
  int delay;
  bool answers;  // all answer bytes to PData, their count to PLen
  std::function<int(Orvex&, unsigned char* PData, unsigned char* PLen)> call;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

std::vector<Case> Cases() {
  return {
      {"Inventory", 0x70, {}, 1, true,
       [](Orvex& o, unsigned char* d, unsigned char* l) { return o.OV_ISO15693_Inventory(1, d, l); }},
      {"StayQuiet", 0x71, kUIDBytes, 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Stay_Quiet(1, kUID); }},
      {"Select", 0x72, kUIDBytes, 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Select(1, 0x22, kUID); }},
      {"ResetToReady", 0x73, Cat({{0x22}, kUIDBytes}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Reset_To_Ready(1, 0x22, kUID); }},
      {"Read", 0x74, Cat({{0x22}, kUIDBytes, {0x05, 0x03}}), 2, true,
       [](Orvex& o, unsigned char* d, unsigned char* l) {
         return o.OV_ISO15693_Read(1, 0x22, kUID, 5, 3, d, l);
       }},
      {"Write", 0x75, Cat({{0x22}, kUIDBytes, {0x07, 0xD0, 0xD1, 0xD2, 0xD3}}), 4, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Write(1, 0x22, kUID, 7, 4, kData); }},
      {"LockBlock", 0x76, Cat({{0x20}, kUIDBytes, {0x09}}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Lock_Block(1, 0x20, kUID, 9); }},
      {"WriteAFI", 0x77, Cat({{0x22}, kUIDBytes, {0xA5}}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Write_AFI(1, 0x22, kUID, 0xA5); }},
      {"LockAFI", 0x78, Cat({{0x22}, kUIDBytes}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Lock_AFI(1, 0x22, kUID); }},
      {"WriteDSFID", 0x79, Cat({{0x22}, kUIDBytes, {0x5A}}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Write_DSFID(1, 0x22, kUID, 0x5A); }},
      {"LockDSFID", 0x7A, Cat({{0x22}, kUIDBytes}), 1, false,
       [](Orvex& o, unsigned char*, unsigned char*) { return o.OV_ISO15693_Lock_DSFID(1, 0x22, kUID); }},
      {"GetSystemInformation", 0x7B, Cat({{0x22}, kUIDBytes}), 1, true,
       [](Orvex& o, unsigned char* d, unsigned char* l) {
         return o.OV_ISO15693_Get_System_Information(1, 0x22, kUID, d, l);
       }},
      {"GetBlockSecurity", 0x7C, Cat({{0x22}, kUIDBytes, {0x05, 0x03}}), 1, true,
       [](Orvex& o, unsigned char* d, unsigned char* l) {
         return o.OV_ISO15693_Get_Block_Security(1, 0x22, kUID, 5, 3, d, l);
       }},
      {"MultiInventory", 0x7D, {0x01, 0x07}, 1, true,
       [](Orvex& o, unsigned char* d, unsigned char* l) { return o.OV_ISO15693_Multi_Inventory(1, 1, 7, d, l); }},
      {"MultiWrite", 0x7E, Cat({{0x22}, kUIDBytes, {0x04, 0x02}, Bytes(kData, kData + 8)}), 4, false,
       [](Orvex& o, unsigned char*, unsigned char*) {
         return o.OV_ISO15693_MultiWrite(1, 0x22, kUID, 4, 2, 8, kData);
       }},
  };
}

class Iso15693Command : public CardTest, public ::testing::WithParamInterface<Case> {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    std::memset(out, 0xEE, sizeof out);
  }
  int Call() { return GetParam().call(ov, out, &len); }
  unsigned char out[16];
  unsigned char len = 0x5A;
};

const Bytes kAnswer = {0x00, 0xE0, 0x04, 0x01, 0x10};

}  // namespace

TEST_P(Iso15693Command, SendsItsCodeAndDataField) {
  const Case& c = GetParam();
  reader.Ok(kAnswer);
  EXPECT_EQ(1, Call());
  ExpectSent(c.cmd, c.data);
  if (c.answers) {
    EXPECT_EQ(kAnswer.size(), len);
    EXPECT_EQ(kAnswer, Bytes(out, out + kAnswer.size()));
    EXPECT_EQ(0xEE, out[kAnswer.size()]);
  } else {
    EXPECT_EQ(0x5A, len);
    EXPECT_EQ(0xEE, out[0]);
  }
}

TEST_P(Iso15693Command, FailuresLeaveTheOutputs) {
  const Case& c = GetParam();
  ExpectFailures(c.cmd, kAnswer, [&] { return Call(); });
  EXPECT_EQ(0x5A, len);
  EXPECT_EQ(Bytes(sizeof out, 0xEE), Bytes(out, out + sizeof out));
}

TEST_P(Iso15693Command, AnswerDeadline) {
  const Case& c = GetParam();
  ExpectDeadline(c.delay, kAnswer, 1, [&] { return Call(); });
}

INSTANTIATE_TEST_SUITE_P(All, Iso15693Command, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<Case>& i) { return std::string(i.param.name); });

// ---- The cases called out one by one ---------------------------------------------------

class Iso15693Test : public CardTest {};

TEST_F(Iso15693Test, InventorySendsAnEmptyFieldAndReturnsTheWholeAnswer) {
  Bytes records;
  for (int i = 0; i < 30; ++i) records.push_back(static_cast<uint8_t>(i * 7));
  reader.Ok(records);
  unsigned char out[64];
  std::memset(out, 0xEE, sizeof out);
  unsigned char len = 0;
  EXPECT_EQ(1, ov.OV_ISO15693_Inventory(1, out, &len));
  ExpectSent(0x70, {});
  EXPECT_EQ(30, len);
  EXPECT_EQ(records, Bytes(out, out + 30));
  EXPECT_EQ(0xEE, out[30]);
}

TEST_F(Iso15693Test, AnswerLengthAbove255IsCutToOneByte) {
  Bytes records(300, 0x3C);
  records[299] = 0x77;
  reader.Ok(records);
  std::vector<unsigned char> out(400, 0xEE);
  unsigned char len = 0;
  EXPECT_EQ(1, orvex::ISO15693_Multi_Inventory(1, 0, 0, out.data(), &len));
  EXPECT_EQ(300 - 256, len);
  EXPECT_EQ(records, Bytes(out.begin(), out.begin() + 300));  // the whole answer all the same
  EXPECT_EQ(0xEE, out[300]);
}

TEST_F(Iso15693Test, SelectSendsTheUIDAloneWhateverTheModel) {
  unsigned char uid[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  reader.Ok();
  EXPECT_EQ(1, ov.OV_ISO15693_Select(1, 0x22, uid));
  ExpectSent(0x72, {1, 2, 3, 4, 5, 6, 7, 8});
  reader.ClearRecord();
  reader.Ok();
  EXPECT_EQ(1, ov.OV_ISO15693_Select(0x0203, 0x00, uid));
  ExpectSent(0x72, {1, 2, 3, 4, 5, 6, 7, 8}, 0x0203);
}

TEST_F(Iso15693Test, WriteOfFourBytesSendsFourteen) {
  unsigned char uid[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned char data[4] = {0xA0, 0xA1, 0xA2, 0xA3};
  reader.Ok();
  EXPECT_EQ(1, ov.OV_ISO15693_Write(1, 0x22, uid, 0x0C, 4, data));
  ExpectSent(0x75, {0x22, 1, 2, 3, 4, 5, 6, 7, 8, 0x0C, 0xA0, 0xA1, 0xA2, 0xA3});
  EXPECT_EQ(14u, reader.last().data.size());
}

TEST_F(Iso15693Test, MultiWriteOfTwoBlocksSendsNineteen) {
  unsigned char uid[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned char data[8] = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7};
  reader.Ok();
  EXPECT_EQ(1, ov.OV_ISO15693_MultiWrite(1, 0x22, uid, 0x02, 2, 8, data));
  ExpectSent(0x7E, {0x22, 1, 2, 3, 4, 5, 6, 7, 8, 0x02, 0x02, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5,
                    0xB6, 0xB7});
  EXPECT_EQ(19u, reader.last().data.size());
}

TEST_F(Iso15693Test, BlockSecurityWaitsLessThanARead) {
  // The same parameters as a read, but a 100 ms deadline: a gap of 150 ms
  // inside the answer is fine for the read and too long for the security query.
  unsigned char uid[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned char out[8];
  unsigned char len = 0;
  reader.Push(Reply::Ok({1, 2}).InPieces({3}, 150));
  EXPECT_EQ(1, ov.OV_ISO15693_Read(1, 0x22, uid, 0, 1, out, &len));
  reader.Push(Reply::Ok({1, 2}).InPieces({3}, 150));
  EXPECT_EQ(-1, ov.OV_ISO15693_Get_Block_Security(1, 0x22, uid, 0, 1, out, &len));
}

TEST_F(Iso15693Test, EmptyAnswerGivesLengthZero) {
  unsigned char uid[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned char out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  unsigned char len = 0x5A;
  reader.Ok();
  EXPECT_EQ(1, ov.OV_ISO15693_Get_System_Information(1, 0x02, uid, out, &len));
  EXPECT_EQ(0, len);
  EXPECT_EQ(0xEE, out[0]);
}

TEST_F(Iso15693Test, NoLinkIsMinusOne) {
  ov.OV_ComFree();
  unsigned char uid[8] = {};
  unsigned char out[4];
  unsigned char len = 0x5A;
  EXPECT_EQ(-1, ov.OV_ISO15693_Inventory(1, out, &len));
  EXPECT_EQ(-1, ov.OV_ISO15693_Stay_Quiet(1, uid));
  EXPECT_EQ(0x5A, len);
}
