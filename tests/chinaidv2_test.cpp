// SPDX-License-Identifier: MIT
// Reading the identity card number through the fake reader: the three
// commands in order (type B search, type B request with the card's ATTRIB
// parameters, the card-number sub-function under 0xC2), the -5 and -4 of
// the preparation steps, and the results of the card-number command.
#include <cstring>
#include <functional>

#include "card_test.h"
#include "cards/untChinaIDV2.h"
#include "subcommand_cases.h"

using namespace orvex_test;

namespace {

const Bytes kNumber = {0x11, 0x02, 0x33, 0x04, 0x55, 0x06, 0x77, 0x08};
const Bytes kATQB = {0x50, 0x01, 0x02, 0x03, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0x71};

class ChinaIDV2Test : public CardTest {
 protected:
  unsigned char len = 0xEE;
  unsigned char number[10];

  void SetUp() override {
    CardTest::SetUp();
    std::memset(number, 0xEE, sizeof number);
  }
  bool Untouched() const {
    for (unsigned char c : number)
      if (c != 0xEE) return false;
    return len == 0xEE;
  }
  // The card-number answer for sub-function sub: the echo, the number, the
  // status word.
  static Bytes NumberAnswer(uint8_t sub = 0x00, Bytes sw = {0x90, 0x00}) {
    return Cat(Cat({sub}, kNumber), sw);
  }
  int Cos(uint8_t sub = 0x00) { return orvex::ChinaIDV2_COS(1, sub, &len, number); }
  int Read() { return ov.OV_ChinaIDV2_RequestCardNo(1, &len, number); }
};

}  // namespace

// ---- The whole read ---------------------------------------------------------------------------

TEST_F(ChinaIDV2Test, SearchRequestThenCardNumber) {
  reader.Ok();
  reader.Ok(kATQB);
  reader.Ok(NumberAnswer());
  EXPECT_EQ(1, Read());
  ASSERT_TRUE(reader.WaitForCommands(3, 100));
  auto sent = reader.commands();
  ASSERT_EQ(3u, sent.size());
  EXPECT_EQ(0x20, sent[0].cmd);
  EXPECT_EQ(Bytes({0x42}), sent[0].data);
  EXPECT_EQ(0x5F, sent[1].cmd);
  EXPECT_EQ(Bytes({0x01, 0x00, 0x08, 0x01, 0x08}), sent[1].data);
  EXPECT_EQ(0xC2, sent[2].cmd);
  EXPECT_EQ(Bytes({0x00}), sent[2].data);
  EXPECT_EQ(8, len);
  EXPECT_EQ(kNumber, Bytes(number, number + 8));
  EXPECT_EQ(0xEE, number[8]);
}

TEST_F(ChinaIDV2Test, RefusedTypeBSearchIsMinusFive) {
  reader.Refuse(0x01);
  EXPECT_EQ(-5, Read());
  reader.Push(Reply::Raw(Malformed(0x20, {})));
  EXPECT_EQ(-5, Read());
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  EXPECT_EQ(2u, reader.commands().size());  // nothing after the search
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, CardNotAnsweringTheTypeBRequestIsMinusFour) {
  reader.Ok();
  reader.Refuse(0x01);
  EXPECT_EQ(-4, Read());
  EXPECT_EQ(2u, reader.commands().size());
  reader.ClearRecord();
  reader.Ok();
  reader.Push(Reply::Silence());
  EXPECT_EQ(-4, Read());
  EXPECT_EQ(2u, reader.commands().size());
  EXPECT_EQ(0x5F, reader.last().cmd);
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, CardNumberResultsArePassedUp) {
  reader.Ok();
  reader.Ok(kATQB);
  reader.Refuse(0x0C);
  EXPECT_EQ(0x0C, Read());
  reader.Ok();
  reader.Ok(kATQB);
  reader.Ok(NumberAnswer(0x00, {0x6A, 0x82}));
  EXPECT_EQ(-1, Read());
  reader.Ok();
  reader.Ok(kATQB);
  reader.Ok(NumberAnswer(0x01));
  EXPECT_EQ(0, Read());
  EXPECT_TRUE(Untouched());
}

// ---- The card-number command ------------------------------------------------------------------

TEST_F(ChinaIDV2Test, CardNumberCommandSendsItsSubFunction) {
  reader.Ok(NumberAnswer(0x07));
  EXPECT_EQ(1, Cos(0x07));
  ExpectSent(0xC2, {0x07});
  EXPECT_EQ(8, len);
  EXPECT_EQ(kNumber, Bytes(number, number + 8));
  EXPECT_EQ(0xEE, number[8]);
}

TEST_F(ChinaIDV2Test, CardNumberTakesEightBytesWhateverFollows) {
  reader.Ok(Cat(NumberAnswer(), {0xAB, 0xCD}));
  EXPECT_EQ(1, Cos());
  EXPECT_EQ(kNumber, Bytes(number, number + 8));
  EXPECT_EQ(Bytes({0xEE, 0xEE}), Bytes(number + 8, number + 10));
}

TEST_F(ChinaIDV2Test, RefusalIsTheStatusByte) {
  // Status 1 reads as 1, like success, and nothing is written.
  reader.Refuse(0x01, NumberAnswer());
  EXPECT_EQ(1, Cos());
  reader.Refuse(0x2A);
  EXPECT_EQ(0x2A, Cos());
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, WrongEchoIsZero) {
  reader.Ok(NumberAnswer(0x01));
  EXPECT_EQ(0, Cos(0x00));
  reader.Ok(NumberAnswer(0x00));
  EXPECT_EQ(0, Cos(0x05));
  reader.Ok();
  EXPECT_EQ(0, Cos());
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, ShortAnswerOrOtherStatusWordIsMinusOne) {
  reader.Ok(Cat({0x00}, kNumber));  // no status word
  EXPECT_EQ(-1, Cos());
  reader.Ok({0x00, 0x90, 0x00});
  EXPECT_EQ(-1, Cos());
  reader.Ok(NumberAnswer(0x00, {0x6A, 0x82}));
  EXPECT_EQ(-1, Cos());
  reader.Ok(NumberAnswer(0x00, {0x90, 0x01}));
  EXPECT_EQ(-1, Cos());
  reader.Ok(NumberAnswer(0x00, {0x91, 0x00}));
  EXPECT_EQ(-1, Cos());
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, TenAnswerBytesEndingIn90AreEnough) {
  // More than 9 bytes with 90 at byte 9: byte 10 lies past the answer and
  // reads as 0.
  reader.Ok(Cat(Cat({0x00}, kNumber), {0x90}));
  EXPECT_EQ(1, Cos());
  EXPECT_EQ(8, len);
  EXPECT_EQ(kNumber, Bytes(number, number + 8));
}

TEST_F(ChinaIDV2Test, LinkFailuresAreMinusOne) {
  reader.Push(Reply::Raw(Malformed(0xC2, NumberAnswer())));
  EXPECT_EQ(-1, Cos());
  reader.Push(Reply::Raw(BadChecksumFrame(0xC2, 0x00, NumberAnswer())));
  EXPECT_EQ(-1, Cos());
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, Cos());
  EXPECT_TRUE(Untouched());
}

TEST_F(ChinaIDV2Test, CardNumberDeadline) {
  ExpectDeadline(1, NumberAnswer(), 1, [&] { return Cos(); });
}
