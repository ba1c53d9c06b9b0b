// SPDX-License-Identifier: MIT
// The SAM slots and the reader's card application through the public
// interface.
#include <cstring>

#include "orvexsim/cpu_card.h"
#include "orvexsim/sam.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;

TEST_F(SimTest, SamResetAndApdu) {
  sim.InsertSam(2, std::make_shared<orvexsim::SamCard>(Bytes{0x5A, 0, 0, 7}));
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(-3, ov.OV_SAM_Reset(1, 1, &len, out));  // slot 1 is empty
  ASSERT_EQ(1, ov.OV_SAM_ResetEx(1, 2, 3, &len, out));
  EXPECT_EQ(0x3B, out[0]);
  unsigned char challenge[] = {0x00, 0x84, 0x00, 0x00, 0x08};
  ASSERT_EQ(1, ov.OV_SAM_COS(1, 2, sizeof challenge, challenge, &len, out));
  EXPECT_EQ(10, len);
  EXPECT_EQ(0x90, out[8]);
  EXPECT_EQ(1, ov.OV_SAM_PPSBaudEx(1, 2, 0x13, 1));
  EXPECT_EQ(1, ov.OV_SAM_ResetBaud(1, 2, 0x11));
}

TEST_F(SimTest, CardApplicationFlow) {
  auto cpu = std::make_shared<orvexsim::CpuCard>(Bytes{0xC1, 0x0A, 0x0B, 0x0C});
  sim.Place(cpu);
  sim.InsertSam(1, std::make_shared<orvexsim::SamCard>(Bytes{0x5A, 0, 0, 1}));
  unsigned char atr_len = 0, atr[ORVEX_MAX_ANSWER];
  ASSERT_EQ(1, ov.OV_KORU_SamReset(1, 1, &atr_len, atr));
  EXPECT_GT(atr_len, 4);
  unsigned char terminal[6] = {0, 0, 0, 0, 0x12, 0x34}, key[16] = {};
  ASSERT_EQ(1, ov.OV_KORU_SamInitial(1, 1, 0, terminal, key, 0));
  unsigned char term[6] = {};
  unsigned int order = 99;
  ASSERT_EQ(1, ov.OV_KORU_SamGetInfo(1, 1, term, &order));
  EXPECT_EQ(0, std::memcmp(terminal, term, 6));
  EXPECT_EQ(0u, order);
  unsigned char number[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_KORU_Request(1, number));
  EXPECT_EQ(cpu->app.number, Bytes(number, number + 8));
  unsigned char holder[100];
  for (int i = 0; i < 100; ++i) holder[i] = static_cast<unsigned char>(i);
  ASSERT_EQ(1, ov.OV_KORU_WriteHolderFile(1, 1, holder));
  int len = 0;
  unsigned char back[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_KORU_ReadHolderFile(1, 1, &len, back));
  EXPECT_EQ(100, len);
  EXPECT_EQ(0, std::memcmp(holder, back, 100));
  unsigned int balance = 7;
  ASSERT_EQ(1, ov.OV_KORU_Balance(1, &balance));
  EXPECT_EQ(0u, balance);
  // Nothing to take: the reader refuses, and the status word tells why.
  unsigned char date[7] = {0x20, 0x26, 0x11, 0x22, 0x10, 0x30, 0x00}, result[ORVEX_MAX_ANSWER];
  EXPECT_EQ(-2, ov.OV_KORU_Debit(1, 1, 5, date, result));
  EXPECT_EQ(0x9401, ov.OV_KORU_GetStatus(1, 0));
  {
    auto lock = sim.Lock();
    cpu->app.balance = 300;
  }
  ASSERT_EQ(1, ov.OV_KORU_Consume(1, 1, 120, date, result));
  ASSERT_EQ(1, ov.OV_KORU_Balance(1, &balance));
  EXPECT_EQ(180u, balance);
  int rec_len = 0;
  unsigned char rec[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_KORU_Record(1, rec_len, rec));
  EXPECT_EQ(0x1B, rec[0]);
  EXPECT_EQ(120, rec[4]);
}
