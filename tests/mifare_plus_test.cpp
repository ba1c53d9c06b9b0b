// SPDX-License-Identifier: MIT
// MIFARE Plus commands through the fake reader: command code and data field
// (2-byte versus 1-byte block addresses, the key-mode translation), answer
// deadline, outputs, failures, and the exported free functions.
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untMifarePlus.h"

using namespace orvex_test;

namespace {

unsigned char kKey[16] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
                          0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x10};
const Bytes kKeyBytes(kKey, kKey + 16);

Bytes Blocks(int n) {
  Bytes b;
  for (int i = 0; i < 16 * n; ++i) b.push_back(static_cast<uint8_t>(0x40 + i));
  return b;
}

// A command without outputs: its code, data field and deadline, called
// through the method and through the exported free function.
struct Case {
  const char* name;
  uint8_t cmd;
  Bytes data;
  int delay;
  std::function<int(Orvex&)> method;
  std::function<int()> free;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

std::vector<Case> Cases() {
  static Bytes two = Blocks(2);
  return {
      {"L0WritePerso", 0x90, Cat({{0x90, 0x00}, kKeyBytes}), 1,
       [](Orvex& o) { return o.OV_MFP_L0_WritePerso(1, 0x9000, kKey); },
       [] { return MPlus_L0_Write_(1, 0x9000, kKey); }},
      {"L0CommitPerso", 0x91, {}, 1, [](Orvex& o) { return o.OV_MFP_L0_CommitPerso(1); },
       [] { return MPlus_L0_To_L13_(1); }},
      {"SwitchToLevel", 0x92, Cat({{0x03}, kKeyBytes}), 1,
       [](Orvex& o) { return o.OV_MFP_SwitchToLevel(1, 3, kKey); }, [] { return MPlus_L0_To_L23_(1, 3, kKey); }},
      {"L3Authorization", 0x93, Cat({{0x01, 0x07}, kKeyBytes}), 5,
       [](Orvex& o) { return o.OV_MFP_L3_Authorization(1, 0x61, 7, kKey); },
       [] { return MPlus_L3_Authorization_(1, 0x61, 7, kKey); }},
      {"L3Write", 0x95, Cat({{0x04, 0x02}, two}), 2,
       [](Orvex& o) { return o.OV_MFP_L3_Write(1, 4, 2, two.data()); },
       [] { return MPlus_L3_Write_(1, 4, 2, two.data()); }},
      {"L3PurseInitial", 0x96, {0x05, 0x10, 0x27, 0x00, 0x00}, 1,
       [](Orvex& o) { return o.OV_MFP_L3_Purse_Initial(1, 5, 10000); },
       [] { return MPlus_L3_Purse_Initial_(1, 5, 10000); }},
      {"L3PurseCharge", 0x98, {0x05, 0x04, 0x03, 0x02, 0x01}, 1,
       [](Orvex& o) { return o.OV_MFP_L3_Purse_Charge(1, 5, 0x01020304); },
       [] { return MPlus_L3_Purse_Charge_(1, 5, 0x01020304); }},
      {"L3PurseDecrease", 0x99, {0x05, 0xFF, 0xFF, 0xFF, 0xFF}, 1,
       [](Orvex& o) { return o.OV_MFP_L3_Purse_Decrease(1, 5, -1); },
       [] { return MPlus_L3_Purse_Decrease_(1, 5, -1); }},
      {"L3PurseBackup", 0x9A, {0x05, 0x06}, 1, [](Orvex& o) { return o.OV_MFP_L3_Purse_Backup(1, 5, 6); },
       [] { return MPlus_L3_Purse_Backup_(1, 5, 6); }},
      {"AuthorizationFirst", 0x9B, Cat({{0x40, 0x02}, kKeyBytes}), 5,
       [](Orvex& o) { return o.OV_MFP_Authorization_First(1, 0x4002, kKey); },
       [] { return MPlus_Authorization_First_(1, 0x4002, kKey); }},
      {"AuthorizationFollow", 0x9C, Cat({{0x40, 0x03}, kKeyBytes}), 5,
       [](Orvex& o) { return o.OV_MFP_Authorization_Follow(1, 0x4003, kKey); },
       [] { return MPlus_Authorization_Follow_(1, 0x4003, kKey); }},
      {"CommonWrite", 0x9F, Cat({{0x40, 0x04, 0x02}, two}), 2,
       [](Orvex& o) { return o.OV_MFP_CommonWrite(1, 0x4004, 2, two.data()); },
       [] { return MPlus_CommonWrite_(1, 0x4004, 2, two.data()); }},
  };
}

class MifarePlusCommand : public CardTest, public ::testing::WithParamInterface<Case> {};

// The two block reads.
struct Read {
  const char* name;
  uint8_t cmd;
  Bytes data;  // for block 0x0104, 2 blocks
  std::function<int(int BlockID, int BlockNums, int* len, unsigned char* out)> call;
};

void PrintTo(const Read& c, std::ostream* os) { *os << c.name; }

std::vector<Read> Reads() {
  return {
      {"L3Read", 0x94, {0x04, 0x02},
       [](int b, int n, int* l, unsigned char* d) { return Orvex().OV_MFP_L3_Read(1, b, n, l, d); }},
      {"CommonRead", 0x9E, {0x01, 0x04, 0x02},
       [](int b, int n, int* l, unsigned char* d) { return Orvex().OV_MFP_CommonRead(1, b, n, l, d); }},
  };
}

class MifarePlusRead : public CardTest, public ::testing::WithParamInterface<Read> {};

}  // namespace

TEST_P(MifarePlusCommand, SendsItsCodeAndDataField) {
  const Case& c = GetParam();
  reader.Ok({0x90, 0x00});  // answer data is not looked at
  EXPECT_EQ(1, c.method(ov));
  ExpectSent(c.cmd, c.data);
  reader.ClearRecord();
  reader.Ok();
  EXPECT_EQ(1, c.free());
  ExpectSent(c.cmd, c.data);
}

TEST_P(MifarePlusCommand, Failures) {
  const Case& c = GetParam();
  ExpectFailures(c.cmd, {}, [&] { return c.method(ov); });
  ExpectFailures(c.cmd, {}, [&] { return c.free(); });
}

TEST_P(MifarePlusCommand, AnswerDeadline) {
  const Case& c = GetParam();
  ExpectDeadline(c.delay, {}, 1, [&] { return c.method(ov); });
}

INSTANTIATE_TEST_SUITE_P(All, MifarePlusCommand, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<Case>& i) { return std::string(i.param.name); });

TEST_P(MifarePlusRead, HandsOverTheWholeAnswer) {
  const Read& c = GetParam();
  Bytes two = Blocks(2);
  unsigned char out[40];
  std::memset(out, 0xEE, sizeof out);
  int len = -77;
  reader.Ok(two);
  EXPECT_EQ(1, c.call(0x0104, 2, &len, out));
  ExpectSent(c.cmd, c.data);
  EXPECT_EQ(32, len);
  EXPECT_EQ(two, Bytes(out, out + 32));
  EXPECT_EQ(0xEE, out[32]);
}

TEST_P(MifarePlusRead, FailuresLeaveTheOutputs) {
  const Read& c = GetParam();
  unsigned char out[20];
  std::memset(out, 0xEE, sizeof out);
  int len = -77;
  ExpectFailures(c.cmd, Blocks(1), [&] { return c.call(4, 1, &len, out); });
  EXPECT_EQ(-77, len);
  EXPECT_EQ(Bytes(sizeof out, 0xEE), Bytes(out, out + sizeof out));
}

TEST_P(MifarePlusRead, DeadlineIsBlockNumsTenthsOfASecond) {
  const Read& c = GetParam();
  unsigned char out[64];
  int len = 0;
  ExpectDeadline(3, Blocks(3), 1, [&] { return c.call(4, 3, &len, out); });
}

INSTANTIATE_TEST_SUITE_P(All, MifarePlusRead, ::testing::ValuesIn(Reads()),
                         [](const ::testing::TestParamInfo<Read>& i) { return std::string(i.param.name); });

// ---- The cases called out one by one ---------------------------------------------------------

class MifarePlusTest : public CardTest {};

TEST_F(MifarePlusTest, TwoByteAddressesGoHighByteFirst) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_MFP_L0_WritePerso(1, 0x9000, kKey));
  ExpectSent(0x90, Cat({{0x90, 0x00}, kKeyBytes}));
  reader.ClearRecord();
  unsigned char out[40];
  int len = 0;
  reader.Ok(Blocks(2));
  EXPECT_EQ(1, ov.OV_MFP_CommonRead(1, 0x4004, 2, &len, out));
  ExpectSent(0x9E, {0x40, 0x04, 0x02});
}

TEST_F(MifarePlusTest, L3AuthorizationTranslatesTheKeyMode) {
  struct {
    int mode;
    uint8_t sent;
  } cases[] = {{0x60, 0x00}, {0x61, 0x01}, {1, 0x00}, {0, 0x00}, {0x161, 0x00}};
  for (auto& c : cases) {
    reader.ClearRecord();
    reader.Ok();
    EXPECT_EQ(1, ov.OV_MFP_L3_Authorization(1, c.mode, 0x0B, kKey));
    ExpectSent(0x93, Cat({{c.sent, 0x0B}, kKeyBytes}));
  }
}

TEST_F(MifarePlusTest, L3WriteOfThreeBlocksSendsFifty) {
  Bytes three = Blocks(3);
  reader.Ok();
  EXPECT_EQ(1, ov.OV_MFP_L3_Write(1, 8, 3, three.data()));
  ExpectSent(0x95, Cat({{0x08, 0x03}, three}));
  EXPECT_EQ(50u, reader.last().data.size());
}

TEST_F(MifarePlusTest, PurseDecreaseOfOne) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_MFP_L3_Purse_Decrease(1, 0x21, 1));
  ExpectSent(0x99, {0x21, 0x01, 0x00, 0x00, 0x00});
}

TEST_F(MifarePlusTest, L3BlockNumbersAreOneByte) {
  unsigned char out[20];
  int len = 0;
  reader.Ok(Blocks(1));
  EXPECT_EQ(1, ov.OV_MFP_L3_Read(1, 260, 1, &len, out));
  ExpectSent(0x94, {0x04, 0x01});
  reader.ClearRecord();
  reader.Ok();
  EXPECT_EQ(1, ov.OV_MFP_L3_Purse_Backup(1, 0x105, 0x206));
  ExpectSent(0x9A, {0x05, 0x06});
}

TEST_F(MifarePlusTest, PurseReadIsLittleEndian) {
  int value = -77;
  reader.Ok({0x10, 0x27, 0x00, 0x00});
  EXPECT_EQ(1, ov.OV_MFP_L3_Purse_Read(1, 5, &value));
  ExpectSent(0x97, {0x05});
  EXPECT_EQ(10000, value);
  reader.Ok({0xFE, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(1, MPlus_L3_Purse_Read_(1, 5, &value));
  EXPECT_EQ(-2, value);
  reader.Ok({0x04, 0x03, 0x02, 0x01});
  EXPECT_EQ(1, ov.OV_MFP_L3_Purse_Read(1, 5, &value));
  EXPECT_EQ(0x01020304, value);
}

TEST_F(MifarePlusTest, PurseReadFailuresLeaveTheValue) {
  int value = -77;
  ExpectFailures(0x97, {0x10, 0x27, 0x00, 0x00}, [&] { return ov.OV_MFP_L3_Purse_Read(1, 5, &value); });
  EXPECT_EQ(-77, value);
  ExpectDeadline(1, {0x10, 0x27, 0x00, 0x00}, 1, [&] { return ov.OV_MFP_L3_Purse_Read(1, 5, &value); });
}

TEST_F(MifarePlusTest, WriteTooLargeForOneCommandIsRefusedBeforeSending) {
  std::vector<unsigned char> data(16 * 70, 0x11);
  EXPECT_EQ(-1, ov.OV_MFP_CommonWrite(1, 0x4000, 70, data.data()));
  EXPECT_EQ(-1, ov.OV_MFP_L3_Write(1, 4, 70, data.data()));
  EXPECT_FALSE(reader.WaitForCommands(1, 100));
}
