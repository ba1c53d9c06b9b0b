// SPDX-License-Identifier: MIT
// The SLE4442 model against the card's published behaviour (the answer to
// reset, protected bytes, the three-try error counter, the PSC read as zeros
// until presented) and the card reader's 0xC3 sub-functions.
#include <gtest/gtest.h>

#include "orvexsim/sle4442.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

class SleTest : public ::testing::Test {
 protected:
  SleTest() : card(std::make_shared<Sle4442>(Bytes{0x12, 0x34, 0x56})) { sim.InsertContact(card); }
  Reply Sle(const Bytes& d) { return sim.Handle(1, 0xC3, d).value_or(Reply::Fail(0xFF)); }
  Simulator sim;
  std::shared_ptr<Sle4442> card;
};

}  // namespace

TEST_F(SleTest, ResetGivesTheAnswerToReset) {
  EXPECT_EQ((Bytes{0x01, 0xA2, 0x13, 0x10, 0x91}), Sle({0x01}).data);
}

TEST_F(SleTest, WritesNeedThePsc) {
  EXPECT_EQ((Bytes{0x02, 0xFF, 0xFF}), Sle({0x02, 0x40, 0x02}).data);
  EXPECT_EQ(status::kOk, Sle({0x03, 0x40, 0xAA, 0xBB}).status);  // taken, but ignored
  EXPECT_EQ((Bytes{0x02, 0xFF, 0xFF}), Sle({0x02, 0x40, 0x02}).data);
  EXPECT_EQ((Bytes{0x08, 0x07}), Sle({0x08, 0x12, 0x34, 0x56}).data);
  EXPECT_EQ(status::kOk, Sle({0x03, 0x40, 0xAA, 0xBB}).status);
  EXPECT_EQ((Bytes{0x02, 0xAA, 0xBB}), Sle({0x02, 0x40, 0x02}).data);
  // A reset ends the presentation.
  Sle({0x01});
  Sle({0x03, 0x40, 0x00});
  EXPECT_EQ((Bytes{0x02, 0xAA}), Sle({0x02, 0x40, 0x01}).data);
}

TEST_F(SleTest, ErrorCounterLosesABitPerWrongPsc) {
  EXPECT_EQ((Bytes{0x06, 0x07, 0x00, 0x00, 0x00}), Sle({0x06}).data);
  EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0, 0, 0}).status);
  EXPECT_EQ(0x06, Sle({0x06}).data[1]);
  EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0, 0, 0}).status);
  EXPECT_EQ(0x04, Sle({0x06}).data[1]);
  // The right PSC restores all three tries and lets the PSC be read.
  EXPECT_EQ(status::kOk, Sle({0x08, 0x12, 0x34, 0x56}).status);
  EXPECT_EQ((Bytes{0x06, 0x07, 0x12, 0x34, 0x56}), Sle({0x06}).data);
}

TEST_F(SleTest, ThreeWrongPscsLockTheCardForGood) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0, 0, 0}).status);
  EXPECT_EQ(0x00, card->error_counter());
  EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0x12, 0x34, 0x56}).status);
  Sle({0x01});
  EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0x12, 0x34, 0x56}).status);
}

TEST_F(SleTest, ChangesThePsc) {
  Sle({0x07, 0x00, 0x00, 0x01});  // not presented: ignored
  ASSERT_EQ(status::kOk, Sle({0x08, 0x12, 0x34, 0x56}).status);
  ASSERT_EQ(status::kOk, Sle({0x07, 0xAB, 0xCD, 0xEF}).status);
  EXPECT_EQ((Bytes{0x06, 0x07, 0xAB, 0xCD, 0xEF}), Sle({0x06}).data);
  Sle({0x01});
  EXPECT_EQ(status::kVerifyFailed, Sle({0x08, 0x12, 0x34, 0x56}).status);
  EXPECT_EQ(status::kOk, Sle({0x08, 0xAB, 0xCD, 0xEF}).status);
}

TEST_F(SleTest, ProtectionMemory) {
  // The card's header bytes 0 to 3 leave the factory protected.
  EXPECT_EQ((Bytes{0x04, 0xF0, 0xFF, 0xFF, 0xFF}), Sle({0x04}).data);
  ASSERT_EQ(status::kOk, Sle({0x08, 0x12, 0x34, 0x56}).status);
  Sle({0x03, 0x00, 0x00});
  EXPECT_EQ((Bytes{0x02, 0xA2}), Sle({0x02, 0x00, 0x01}).data);
  // Write with protection: bytes 8 and 9 written and protected.
  ASSERT_EQ(status::kOk, Sle({0x05, 0x08, 0x55, 0x66}).status);
  EXPECT_EQ((Bytes{0x04, 0xF0, 0xFC, 0xFF, 0xFF}), Sle({0x04}).data);
  Sle({0x03, 0x08, 0x00});
  EXPECT_EQ((Bytes{0x02, 0x55, 0x66}), Sle({0x02, 0x08, 0x02}).data);
  // Byte 32 and on cannot be protected.
  ASSERT_EQ(status::kOk, Sle({0x05, 0x20, 0x77}).status);
  EXPECT_EQ((Bytes{0x04, 0xF0, 0xFC, 0xFF, 0xFF}), Sle({0x04}).data);
}

TEST_F(SleTest, EmptySlotAndBadRequests) {
  EXPECT_EQ(status::kBadParameter, Sle({0x02, 0xFF, 0x02}).status);
  EXPECT_EQ(status::kUnknownCommand, Sle({0x09}).status);
  sim.InsertContact(nullptr);
  EXPECT_EQ(status::kNoCard, Sle({0x01}).status);
}

TEST_F(SleTest, ACardLeavingAfterAWriteIsGoneFromTheSlot) {
  ASSERT_EQ(status::kOk, Sle({0x08, 0x12, 0x34, 0x56}).status);
  card->LeaveAfterWrites(2);
  // Each write command counts once, however many bytes it carries.
  ASSERT_EQ(status::kOk, Sle({0x03, 0x40, 0x01, 0x02, 0x03}).status);
  EXPECT_EQ(sim.contact(), card);
  ASSERT_EQ(status::kOk, Sle({0x05, 0x10, 0xFF}).status);  // lands and is answered
  EXPECT_EQ(sim.contact(), nullptr);
  EXPECT_EQ(status::kNoCard, Sle({0x02, 0x40, 0x03}).status);
  EXPECT_EQ((Bytes{0x01, 0x02, 0x03}), card->ReadMain(0x40, 3));
  EXPECT_TRUE(card->Protected(0x10));
}
