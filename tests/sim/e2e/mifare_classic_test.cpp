// SPDX-License-Identifier: MIT
// MIFARE Classic through the public interface against the simulated reader:
// request, anticollision, select, authentication, block read and write,
// purse operations, a wrong key, key B on a blank card, halt, multi-block
// reads, a 4K card, a card taken away, and a card loaded from a dump.
#include <cstring>

#include "orvexsim/mifare_classic.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::MifareClassic;

namespace {

unsigned char kFF[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

class ClassicTest : public SimTest {
 protected:
  void SetUp() override {
    card = std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{0xA1, 0xB2, 0xC3, 0xD4});
    sim.Place(card);
    SimTest::SetUp();
  }
  // Request, anticollision and select, as an application does them.
  void Activate() {
    unsigned short type = 0;
    ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
    ASSERT_EQ(0x0400, type);
    unsigned char len = 0, sno[16] = {};
    ASSERT_EQ(1, ov.OV_AntiCollide(1, &len, sno));
    ASSERT_EQ(4, len);
    ASSERT_EQ(1, ov.OV_CardSelect(1, len, sno));
  }
  std::shared_ptr<MifareClassic> card;
};

}  // namespace

TEST_F(ClassicTest, RequestAnticollideSelect) {
  unsigned short type = 0;
  ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
  EXPECT_EQ(0x0400, type);
  unsigned char len = 0, sno[16] = {};
  ASSERT_EQ(1, ov.OV_AntiCollide(1, &len, sno));
  EXPECT_EQ(4, len);
  EXPECT_EQ(0, std::memcmp(sno, card->uid().data(), 4));
  EXPECT_EQ(1, ov.OV_CardSelect(1, len, sno));
  // The one-step forms.
  unsigned char mem = 0, sn_len = 0, sn[16] = {};
  ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
  EXPECT_EQ(4, ov.OV_AntiCollideAndSelect(1, 0, &mem, &sn_len, sn));
  EXPECT_EQ(0x08, mem);
  EXPECT_EQ(4, sn_len);
  unsigned short atqa = 0;
  unsigned char sak = 0;
  EXPECT_EQ(1, ov.OV_RequestAntiandSelect(1, 0x52, 0, &atqa, &sak, &len, sno));
  EXPECT_EQ(0x0004, atqa);
  EXPECT_EQ(0x08, sak);
  EXPECT_EQ(4, len);
}

TEST_F(ClassicTest, AuthenticateWriteAndReadBack) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 4, kFF));
  unsigned char w[16], r[16] = {};
  for (int i = 0; i < 16; ++i) w[i] = static_cast<unsigned char>(0xC0 + i);
  ASSERT_EQ(1, ov.OV_WriteaBlock(1, 5, 16, w));
  ASSERT_EQ(1, ov.OV_ReadaBlock(1, 5, 16, r));
  EXPECT_EQ(0, std::memcmp(w, r, 16));
  auto lock = sim.Lock();
  EXPECT_EQ(Bytes(w, w + 16), orvexsim::Slice(card->memory(), 5 * 16, 16));
}

TEST_F(ClassicTest, PurseOperations) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 8, kFF));
  ASSERT_EQ(1, ov.OV_Purse_Initial(1, 8, 1000));
  int money = 0;
  ASSERT_EQ(1, ov.OV_Purse_Read(1, 8, &money));
  EXPECT_EQ(1000, money);
  ASSERT_EQ(1, ov.OV_Purse_Charge(1, 8, 250));
  ASSERT_EQ(1, ov.OV_Transfer(1, 8));
  ASSERT_EQ(1, ov.OV_Purse_Read(1, 8, &money));
  EXPECT_EQ(1250, money);
  ASSERT_EQ(1, ov.OV_Purse_Decrease(1, 8, 50));
  ASSERT_EQ(1, ov.OV_Transfer(1, 8));
  ASSERT_EQ(1, ov.OV_Purse_Read(1, 8, &money));
  EXPECT_EQ(1200, money);
  // Restore copies the value into another block of the sector.
  ASSERT_EQ(1, ov.OV_Restore(1, 8));
  ASSERT_EQ(1, ov.OV_Transfer(1, 9));
  ASSERT_EQ(1, ov.OV_Purse_Read(1, 9, &money));
  EXPECT_EQ(1200, money);
  // The block holds the standard value format.
  auto lock = sim.Lock();
  EXPECT_EQ(orvexsim::mfc::ValueBlock(1200, 8), orvexsim::Slice(card->memory(), 8 * 16, 16));
}

TEST_F(ClassicTest, ReadingAPurseFromANonValueBlockIsRefused) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 4, kFF));
  int money = 77;
  EXPECT_EQ(-3, ov.OV_Purse_Read(1, 4, &money));
  EXPECT_EQ(77, money);
}

TEST_F(ClassicTest, WrongKeyIsRefused) {
  Activate();
  unsigned char wrong[6] = {0, 0, 0, 0, 0, 0};
  EXPECT_EQ(-3, ov.OV_KeyAuthorization(1, 0x60, 4, wrong));
  // The card dropped out of its active state: nothing works until it is
  // selected again.
  unsigned char r[16] = {};
  EXPECT_EQ(-3, ov.OV_ReadaBlock(1, 4, 16, r));
  Activate();
  EXPECT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 4, kFF));
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 4, 16, r));
}

TEST_F(ClassicTest, ReadableKeyBOnABlankCardGivesNoAccess) {
  Activate();
  EXPECT_EQ(1, ov.OV_KeyAuthorization(1, 0x61, 4, kFF));
  unsigned char r[16] = {};
  EXPECT_EQ(-3, ov.OV_ReadaBlock(1, 4, 16, r));
}

TEST_F(ClassicTest, StoredKeyAuthentication) {
  Activate();
  ASSERT_EQ(1, ov.OV_DownLoadKey(1, 2, kFF));
  EXPECT_EQ(1, ov.OV_KeyDown_Authorization(1, 0x60, 12, 2));
  unsigned char r[16] = {};
  EXPECT_EQ(1, ov.OV_ReadaBlock(1, 12, 16, r));
}

TEST_F(ClassicTest, TrailerReadsWithKeyAHidden) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 7, kFF));
  unsigned char r[16] = {};
  ASSERT_EQ(1, ov.OV_ReadaBlock(1, 7, 16, r));
  const unsigned char want[16] = {0, 0, 0, 0, 0, 0, 0xFF, 0x07, 0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(0, std::memcmp(want, r, 16));
}

TEST_F(ClassicTest, HaltedCardWakesOnlyWithWupa) {
  Activate();
  EXPECT_EQ(1, ov.OV_CardHalt(1));
  unsigned short type = 0;
  EXPECT_EQ(-3, ov.OV_RequestCard(1, 0x26, &type));
  EXPECT_EQ(1, ov.OV_RequestCard(1, 0x52, &type));
}

TEST_F(ClassicTest, MultiBlockReadAndWrite) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 16, kFF));
  unsigned char w[48];
  for (int i = 0; i < 48; ++i) w[i] = static_cast<unsigned char>(i);
  EXPECT_EQ(3, ov.OV_WriteM1MultiBlock(1, 16, 3, 48, w));
  int len = 0;
  unsigned char r[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(3, ov.OV_ReadM1MultiBlock(1, 16, 3, &len, r));
  EXPECT_EQ(49, len);
  EXPECT_EQ(0, std::memcmp(w, r, 48));
}

TEST_F(ClassicTest, CardTakenAwayAnswersNoMore) {
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 4, kFF));
  sim.Remove(card);
  unsigned char r[16] = {};
  EXPECT_EQ(-3, ov.OV_ReadaBlock(1, 4, 16, r));
  unsigned short type = 0;
  EXPECT_EQ(-3, ov.OV_RequestCard(1, 0x26, &type));
  sim.Place(card);
  Activate();
}

TEST_F(ClassicTest, FourKCardWithBigSectors) {
  sim.ClearField();
  auto big = std::make_shared<MifareClassic>(MifareClassic::Size::k4K, Bytes{0x0A, 0x0B, 0x0C, 0x0D});
  sim.Place(big);
  unsigned short type = 0;
  ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
  EXPECT_EQ(0x0200, type);
  unsigned char mem = 0, len = 0, sn[16];
  ASSERT_EQ(4, ov.OV_AntiCollideAndSelect(1, 0, &mem, &len, sn));
  EXPECT_EQ(0x18, mem);
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 240, kFF));
  unsigned char w[16] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6}, r[16] = {};
  ASSERT_EQ(1, ov.OV_WriteaBlock(1, 250, 16, w));
  ASSERT_EQ(1, ov.OV_ReadaBlock(1, 250, 16, r));
  EXPECT_EQ(0, std::memcmp(w, r, 16));
}

TEST_F(ClassicTest, CardLoadedFromADump) {
  Bytes dump = card->memory();
  for (int i = 0; i < 16; ++i) dump[static_cast<size_t>(16 * 13 + i)] = static_cast<uint8_t>(0x50 + i);
  std::string error;
  auto loaded = MifareClassic::FromDump(dump, error);
  ASSERT_NE(nullptr, loaded) << error;
  sim.ClearField();
  sim.Place(loaded);
  Activate();
  ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, 13, kFF));
  unsigned char r[16] = {};
  ASSERT_EQ(1, ov.OV_ReadaBlock(1, 13, 16, r));
  EXPECT_EQ(0x50, r[0]);
  EXPECT_EQ(0x5F, r[15]);
}
