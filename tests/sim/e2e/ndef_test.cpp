// SPDX-License-Identifier: MIT
// NDEF messages saved to and read back from a MIFARE Classic 1K and an
// NTAG215 through the public interface, records unchanged; and the blank
// MIFARE Classic card on which saving with key B fails as the card makes it.
#include <cstring>
#include <string>

#include "orvexsim/mifare_classic.h"
#include "orvexsim/ntag.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::MifareClassic;
using orvexsim::Ntag;

namespace {

// A URI record (code 01, "orvex.invalid", 18 bytes encoded) and a text
// record ("hi", 9 bytes): a 27-byte message value.
const std::string kUri = "orvex.invalid";
const std::string kText = "hi";

class NdefTest : public SimTest {
 protected:
  void TearDown() override {
    ov.OV_NDEF_Free();
    SimTest::TearDown();
  }
  void Fill() {
    ASSERT_GE(ov.OV_NDEF_Initial(), 0);
    ASSERT_EQ(1, ov.OV_NDEF_ClearRecords());
    std::string u = kUri, t = kText;
    ASSERT_EQ(1, ov.OV_NDEF_AddRecord(0x01, static_cast<int>(u.size()), reinterpret_cast<unsigned char*>(&u[0])));
    ASSERT_EQ(2, ov.OV_NDEF_AddRecord(0x00, static_cast<int>(t.size()), reinterpret_cast<unsigned char*>(&t[0])));
  }
  void ExpectRecords() {
    unsigned char uri = 0xEE, s[256] = {};
    int len = 0;
    ASSERT_EQ(1, ov.OV_NDEF_GetRecord(0, &uri, &len, s));
    EXPECT_EQ(0x01, uri);
    EXPECT_EQ(kUri, std::string(reinterpret_cast<char*>(s), static_cast<size_t>(len)));
    ASSERT_EQ(1, ov.OV_NDEF_GetRecord(1, &uri, &len, s));
    EXPECT_EQ(0x00, uri);
    EXPECT_EQ(kText, std::string(reinterpret_cast<char*>(s), static_cast<size_t>(len)));
    EXPECT_EQ(0, ov.OV_NDEF_GetRecord(2, &uri, &len, s));
  }
};

// Sets every sector's trailer so that key B (FF x 6) is a usable key: the
// NFC Forum access bits 7F 07 88 (key B hidden).
void PrepareForKeyB(Orvex& ov) {
  unsigned char ff[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char trailer[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x07, 0x88, 0x40,
                               0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned short type = 0;
  unsigned char mem, len, sn[16];
  ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
  ASSERT_EQ(4, ov.OV_AntiCollideAndSelect(1, 0, &mem, &len, sn));
  for (int sector = 0; sector < 16; ++sector) {
    ASSERT_EQ(1, ov.OV_KeyAuthorization(1, 0x60, sector * 4 + 3, ff));
    ASSERT_EQ(1, ov.OV_WriteaBlock(1, sector * 4 + 3, 16, trailer));
  }
}

}  // namespace

TEST_F(NdefTest, SaveAndReadBackOnMifareClassic1K) {
  auto card = std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{0x4E, 0x44, 0x45, 0x46});
  sim.Place(card);
  PrepareForKeyB(ov);
  Fill();
  ASSERT_EQ(1, ov.OV_NDEF_Save(1));
  {
    // The card now holds the directory in sector 0 and the message TLV
    // from block 4 byte 2 on.
    auto lock = sim.Lock();
    const Bytes& m = card->memory();
    EXPECT_EQ((Bytes{0x14, 0x01, 0x03, 0xE1}), orvexsim::Slice(m, 16, 4));
    EXPECT_EQ((Bytes{0x00, 0x00, 0x03, 27}), orvexsim::Slice(m, 64, 4));
    EXPECT_EQ((Bytes{0xD3, 0xF7, 0xD3, 0xF7, 0xD3, 0xF7, 0x7F, 0x07, 0x88, 0x40}), orvexsim::Slice(m, 7 * 16, 10));
  }
  ASSERT_EQ(1, ov.OV_NDEF_ClearRecords());
  ASSERT_EQ(2, ov.OV_NDEF_Read(1));
  ExpectRecords();
}

TEST_F(NdefTest, BlankMifareClassicRefusesKeyB) {
  // Transport configuration: key B can be read, so it is no key; the first
  // block write after authenticating with it is refused.
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{0x4E, 0x44, 0x45, 0x47}));
  Fill();
  EXPECT_EQ(-4, ov.OV_NDEF_Save(1));
}

TEST_F(NdefTest, SaveAndReadBackOnNtag215) {
  auto tag = std::make_shared<Ntag>(Ntag::Model::k215, Bytes{0x04, 0x4E, 0x44, 0x45, 0x46, 0x00, 0x01});
  sim.Place(tag);
  Fill();
  ASSERT_EQ(1, ov.OV_NDEF_Save(1));
  {
    auto lock = sim.Lock();
    EXPECT_EQ((Bytes{0x03, 27, 0x91, 0x01}), orvexsim::Slice(tag->memory(), 16, 4));  // first of two records
  }
  ASSERT_EQ(1, ov.OV_NDEF_ClearRecords());
  ASSERT_EQ(2, ov.OV_NDEF_Read(1));
  ExpectRecords();
}
