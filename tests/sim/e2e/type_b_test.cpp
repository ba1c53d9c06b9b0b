// SPDX-License-Identifier: MIT
// ISO 14443-B and its memory tags through the public interface: a CPU card
// over the shared APDU command, halt, an SR176, an SRIX4K and an AT88RF020.
#include <cstring>

#include "orvexsim/type_b.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::StTag;

TEST_F(SimTest, TypeBCpuCardRequestApduHalt) {
  sim.Place(std::make_shared<orvexsim::CpuCardB>(Bytes{0x5B, 0x01, 0x02, 0x03}));
  unsigned char attrib[4] = {0x00, 0x08, 0x01, 0x08}, out[ORVEX_MAX_ANSWER];
  int len = 0;
  ASSERT_EQ(1, ov.OV_TypeB_Request(1, 0x00, attrib, &len, out));
  EXPECT_EQ(12, len);
  EXPECT_EQ(0x50, out[0]);
  unsigned char pupi[4];
  std::memcpy(pupi, out + 1, 4);
  unsigned char apdu[] = {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00};
  ASSERT_EQ(1, ov.OV_TypeB_COS(1, sizeof apdu, apdu, &len, out));
  EXPECT_EQ(0x90, out[len - 2]);
  EXPECT_EQ(1, ov.OV_TypeB_Halt(1, pupi));
  EXPECT_EQ(-3, ov.OV_TypeB_COS(1, sizeof apdu, apdu, &len, out));
  EXPECT_EQ(-3, ov.OV_TypeB_Reset(1, 0x00, &len, out));  // halted: REQB does not reach it
  EXPECT_EQ(1, ov.OV_TypeB_Reset(1, 0x53, &len, out));   // 'S' wakes it
}

TEST_F(SimTest, Sr176UidAndBlocks) {
  const Bytes uid = {0xD0, 0x02, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
  sim.Place(std::make_shared<StTag>(StTag::Model::kSr176, uid));
  unsigned char chip = 0;
  ASSERT_EQ(1, ov.OV_ST_Active(1, &chip));
  unsigned char got[8] = {};
  ASSERT_EQ(1, ov.OV_SR176_GetUID(1, got));
  EXPECT_EQ(uid, Bytes(got, got + 8));
  unsigned char w[2] = {0xBE, 0xEF}, r[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_SR176_Write(1, 9, w));
  ASSERT_EQ(1, ov.OV_SR176_Read(1, 9, r));
  EXPECT_EQ(0, std::memcmp(w, r, 2));
  ASSERT_EQ(1, ov.OV_SR176_Lock(1, 0x10));  // blocks 8 and 9
  EXPECT_EQ(-3, ov.OV_SR176_Write(1, 9, w));
  unsigned char lock = 0;
  ASSERT_EQ(1, ov.OV_SR176_LockStatus(1, &lock));
  EXPECT_EQ(0x10, lock);
  EXPECT_EQ(1, ov.OV_ST_DeActive(1));
}

TEST_F(SimTest, Srix4kBlocksAndLock) {
  sim.Place(std::make_shared<StTag>(StTag::Model::kSrix4k, Bytes{0xD0, 0x02, 0x1A, 1, 2, 3, 4, 5}));
  unsigned char chip = 0;
  ASSERT_EQ(1, ov.OV_ST_Active(1, &chip));
  unsigned char w[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, r[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(3, ov.OV_SR512_WriteMulti(1, 40, 3, 12, w));
  int len = 0;
  EXPECT_EQ(3, ov.OV_SR512_ReadMulti(1, 40, 3, &len, r));
  EXPECT_EQ(12, len);
  EXPECT_EQ(0, std::memcmp(w, r, 12));
  unsigned short lock = 0xFFFF;
  ASSERT_EQ(1, ov.OV_SR512_LockStatus(1, &lock));
  EXPECT_EQ(0, lock);
  // The library sends two flags: 0x0001 gives 00 01 (blocks 0 to 15 locked)...
  ASSERT_EQ(1, ov.OV_SR512_Lock(1, 0x0001));
  ASSERT_EQ(1, ov.OV_SR512_LockStatus(1, &lock));
  EXPECT_EQ(0x00FF, lock);
  EXPECT_EQ(-3, ov.OV_SR512_Write(1, 10, w));
  EXPECT_EQ(1, ov.OV_SR512_Write(1, 40, w));
  // ...and 0x0100 gives 01 01, which locks the rest too.
  ASSERT_EQ(1, ov.OV_SR512_Lock(1, 0x0100));
  ASSERT_EQ(1, ov.OV_SR512_LockStatus(1, &lock));
  EXPECT_EQ(0xFFFF, lock);
  EXPECT_EQ(-3, ov.OV_SR512_Write(1, 40, w));
  unsigned char key[6] = {1, 2, 3, 4, 5, 6}, sig[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(1, ov.OV_SRIX4K_Check(1, key, sig));
}

TEST_F(SimTest, At88rf020KeyAndPages) {
  sim.Place(std::make_shared<orvexsim::At88rf020>(Bytes{0xA8, 0x01, 0x02, 0x03}));
  unsigned char attrib[4] = {0, 0, 0, 0}, out[ORVEX_MAX_ANSWER];
  int len = 0;
  ASSERT_EQ(1, ov.OV_TypeB_Request(1, 0x00, attrib, &len, out));
  unsigned char key[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char page[8] = {8, 7, 6, 5, 4, 3, 2, 1}, r[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(-3, ov.OV_AT88RF020_Read(1, 5, r));
  ASSERT_EQ(1, ov.OV_AT88RF020_Check(1, key));
  ASSERT_EQ(1, ov.OV_AT88RF020_Write(1, 5, page));
  ASSERT_EQ(1, ov.OV_AT88RF020_Read(1, 5, r));
  EXPECT_EQ(0, std::memcmp(page, r, 8));
  unsigned char sig[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(1, ov.OV_AT88RF020_Count(1, sig));
  EXPECT_EQ(1, ov.OV_AT88RF020_DeSel(1));
}
