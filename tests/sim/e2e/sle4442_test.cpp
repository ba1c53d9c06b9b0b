// SPDX-License-Identifier: MIT
// SLE4442 through the public interface against the simulated card in the
// reader's contact slot: answer to reset, main and protection memory reads,
// PSC presentation, verified writes with and without protection, and a PSC
// change read back from the security memory.
#include <cstring>

#include "orvexsim/sle4442.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::Sle4442;

namespace {

class SleTest : public SimTest {
 protected:
  void SetUp() override {
    card = std::make_shared<Sle4442>(Bytes{0x12, 0x34, 0x56});
    sim.InsertContact(card);
    SimTest::SetUp();
    unsigned char atr[ORVEX_MAX_ANSWER] = {};
    ASSERT_EQ(1000, ov.OV_SLE_Reset(1, atr));
    const unsigned char want[4] = {0xA2, 0x13, 0x10, 0x91};
    ASSERT_EQ(0, std::memcmp(want, atr, 4));
  }
  std::shared_ptr<Sle4442> card;
  unsigned char psc[3] = {0x12, 0x34, 0x56};
};

}  // namespace

TEST_F(SleTest, ReadMainMemory) {
  unsigned char mem[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(32, ov.OV_SLE_ReadMainMemory(1, 0x00, 32, mem));
  const unsigned char header[4] = {0xA2, 0x13, 0x10, 0x91};
  EXPECT_EQ(0, std::memcmp(header, mem, 4));
  for (int i = 4; i < 32; ++i) EXPECT_EQ(0xFF, mem[i]) << i;
  // The last bytes of the card.
  ASSERT_EQ(16, ov.OV_SLE_ReadMainMemory(1, 0xF0, 16, mem));
  // Past the end: the reader refuses.
  EXPECT_EQ(-3, ov.OV_SLE_ReadMainMemory(1, 0xF8, 16, mem));
}

TEST_F(SleTest, WritesNeedThePresentedPSC) {
  unsigned char data[4] = {0xDE, 0xAD, 0xBE, 0xEF};
  // The card takes no write before the PSC: the read-back tells.
  EXPECT_EQ(-2, ov.OV_SLE_WriteMainMemory(1, 0x40, 4, data));
  unsigned char counter = 0x5A;
  ASSERT_EQ(1, ov.OV_SLE_VerifyPSC(1, psc, &counter));
  EXPECT_EQ(0x5A, counter);  // not reported on success
  ASSERT_EQ(1, ov.OV_SLE_WriteMainMemory(1, 0x40, 4, data));
  unsigned char mem[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(4, ov.OV_SLE_ReadMainMemory(1, 0x40, 4, mem));
  EXPECT_EQ(0, std::memcmp(data, mem, 4));
  // The card's header is protected: the read-back differs.
  unsigned char header[2] = {0x00, 0x00};
  EXPECT_EQ(-2, ov.OV_SLE_WriteMainMemory(1, 0x00, 2, header));
}

TEST_F(SleTest, WriteWithProtection) {
  unsigned char prom[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1000, ov.OV_SLE_ReadPROM(1, prom));
  EXPECT_EQ(0xF0, prom[0]);  // the four header bytes protected
  EXPECT_EQ(0xFF, prom[1]);
  unsigned char counter = 0;
  ASSERT_EQ(1, ov.OV_SLE_VerifyPSC(1, psc, &counter));
  unsigned char data[2] = {0x55, 0x66};
  ASSERT_EQ(1, ov.OV_SLE_WriteProtectedDataMemory(1, 0x08, 2, data));
  ASSERT_EQ(1000, ov.OV_SLE_ReadPROM(1, prom));
  EXPECT_EQ(0xF0, prom[0]);
  EXPECT_EQ(0xFC, prom[1]);  // bytes 8 and 9 are now protected for good
  // A protected byte takes no new value.
  unsigned char other[1] = {0x77};
  EXPECT_EQ(-2, ov.OV_SLE_WriteMainMemory(1, 0x08, 1, other));
}

TEST_F(SleTest, SecurityMemoryAndPSCChange) {
  unsigned char counter = 0, shown[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &counter, shown));
  EXPECT_EQ(0x07, counter);
  EXPECT_EQ(0, shown[0] | shown[1] | shown[2]);  // hidden until presented

  // A wrong PSC: -1, the refusal in the error byte, one try gone.
  unsigned char wrong[3] = {0x00, 0x00, 0x00};
  counter = 0;
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, wrong, &counter));
  EXPECT_EQ(0xFD, counter);
  ASSERT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &counter, shown));
  EXPECT_EQ(0x06, counter);

  ASSERT_EQ(1, ov.OV_SLE_VerifyPSC(1, psc, &counter));
  ASSERT_EQ(1000, ov.OV_SLE_ReadSecurityLogic(1, &counter, shown));
  EXPECT_EQ(0x07, counter);
  EXPECT_EQ(0, std::memcmp(psc, shown, 3));

  unsigned char fresh[3] = {0xA1, 0xB2, 0xC3};
  ASSERT_EQ(1, ov.OV_SLE_WritePSC(1, fresh));
  // After a reset the new PSC is the one the card wants.
  unsigned char atr[ORVEX_MAX_ANSWER];
  ASSERT_EQ(1000, ov.OV_SLE_Reset(1, atr));
  EXPECT_EQ(-2, ov.OV_SLE_WritePSC(1, psc));  // not presented: the card shows zeros
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, psc, &counter));
  ASSERT_EQ(1, ov.OV_SLE_VerifyPSC(1, fresh, &counter));
}

TEST_F(SleTest, EmptySlot) {
  sim.InsertContact(nullptr);
  unsigned char atr[ORVEX_MAX_ANSWER], counter = 0;
  EXPECT_EQ(-3, ov.OV_SLE_Reset(1, atr));
  EXPECT_EQ(-1, ov.OV_SLE_VerifyPSC(1, psc, &counter));
  EXPECT_EQ(0xFD, counter);
}
