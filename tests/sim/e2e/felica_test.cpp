// SPDX-License-Identifier: MIT
// FeliCa and the identity card number through the public interface against
// the simulated reader: polling, request service and request response,
// blocks written and read back without encryption, a write refused by a
// read-only service, and the identity card's number.
#include <cstring>

#include "orvexsim/felica.h"
#include "orvexsim/type_b.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::FelicaCard;

namespace {

// The IDm's last byte is where request service and request response take
// their first field from.
const Bytes kIDm = {0x01, 0x2E, 0x3C, 0x4D, 0x5E, 0x6F, 0x70, 0x08};
// Services of the simulated card, as the card expects them (low byte first).
unsigned char kReadWrite[2] = {0x09, 0x00};
unsigned char kReadOnly[2] = {0x0B, 0x00};

class FelicaTest : public SimTest {
 protected:
  void SetUp() override {
    card = std::make_shared<FelicaCard>(kIDm, 0x88B4, 32);
    sim.Place(card);
    SimTest::SetUp();
    std::memcpy(idm, kIDm.data(), 8);
  }
  std::shared_ptr<FelicaCard> card;
  unsigned char idm[8];
};

}  // namespace

TEST_F(FelicaTest, PollingFindsTheCard) {
  unsigned char id[8] = {}, pmm[8] = {}, rd[2] = {0xEE, 0xEE};
  // System code 88B4 on the air: passed with its bytes swapped.
  ASSERT_EQ(1, ov.OV_Felica_Polling(1, 0xB488, 0x01, 0x00, id, pmm, rd));
  EXPECT_EQ(kIDm, Bytes(id, id + 8));
  EXPECT_EQ(card->pmm, Bytes(pmm, pmm + 8));
  EXPECT_EQ(Bytes({0x88, 0xB4}), Bytes(rd, rd + 2));
  // Without request data the two bytes read as zeros.
  ASSERT_EQ(1, ov.OV_Felica_Polling(1, 0xFFFF, 0x00, 0x00, id, pmm, rd));
  EXPECT_EQ(Bytes({0x00, 0x00}), Bytes(rd, rd + 2));
  // Another system code: the card keeps quiet, the reader refuses, and the
  // polling reports no polling response.
  EXPECT_EQ(-2, ov.OV_Felica_Polling(1, 0x0300, 0x00, 0x00, id, pmm, rd));
}

TEST_F(FelicaTest, RequestServiceAndRequestResponse) {
  unsigned char nodes[6] = {0x09, 0x00, 0x0B, 0x00, 0x34, 0x12};
  unsigned char keys[7];
  std::memset(keys, 0xEE, sizeof keys);
  ASSERT_EQ(1, ov.OV_Felica_RequestService(1, idm, 3, nodes, keys));
  // From the card's node count byte on: 3, then key versions 0000 0000 FFFF.
  EXPECT_EQ(Bytes({0x03, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF}), Bytes(keys, keys + 7));

  unsigned char mode = 0xEE;
  ASSERT_EQ(1, ov.OV_Felica_RequestResponse(1, idm, &mode));
  EXPECT_EQ(kIDm[7], mode);  // taken one byte before the card's mode
}

TEST_F(FelicaTest, WriteThenReadBlocks) {
  unsigned char list[4] = {0x80, 0x03, 0x80, 0x1F};
  unsigned char data[32];
  for (int i = 0; i < 32; ++i) data[i] = static_cast<unsigned char>(0xA0 + i);
  unsigned char s1 = 0xEE, s2 = 0xEE;
  ASSERT_EQ(1, ov.OV_Felica_WriteWithoutEncryption(1, idm, 1, kReadWrite, 2, 4, list, data, &s1, &s2));
  EXPECT_EQ(0, s1);
  EXPECT_EQ(0, s2);
  EXPECT_EQ(Bytes(data, data + 16), Bytes(card->memory().begin() + 3 * 16, card->memory().begin() + 4 * 16));

  unsigned char back[32];
  std::memset(back, 0xEE, sizeof back);
  s1 = s2 = 0xEE;
  ASSERT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, idm, 1, kReadOnly, 2, 4, list, &s1, &s2, back));
  EXPECT_EQ(0, s1);
  EXPECT_EQ(0, s2);
  EXPECT_EQ(0, std::memcmp(data, back, 32));
}

TEST_F(FelicaTest, WriteToAReadOnlyServiceReportsTheFlags) {
  unsigned char list[2] = {0x80, 0x00};
  unsigned char data[16] = {1, 2, 3};
  unsigned char s1 = 0, s2 = 0;
  ASSERT_EQ(1, ov.OV_Felica_WriteWithoutEncryption(1, idm, 1, kReadOnly, 1, 2, list, data, &s1, &s2));
  EXPECT_EQ(0xFF, s1);
  EXPECT_EQ(0xA8, s2);
  EXPECT_EQ(Bytes(16, 0x00), Bytes(card->memory().begin(), card->memory().begin() + 16));
}

TEST_F(FelicaTest, AnotherIDmGetsNoAnswer) {
  unsigned char other[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  unsigned char mode = 0xEE;
  EXPECT_EQ(-2, ov.OV_Felica_RequestResponse(1, other, &mode));
  EXPECT_EQ(0xEE, mode);
}

namespace {

class IdCardTest : public SimTest {};

}  // namespace

TEST_F(IdCardTest, ReadsTheCardNumber) {
  const Bytes number = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
  sim.Place(std::make_shared<orvexsim::IdCard>(number));
  unsigned char len = 0, no[8] = {};
  ASSERT_EQ(1, ov.OV_ChinaIDV2_RequestCardNo(1, &len, no));
  EXPECT_EQ(8, len);
  EXPECT_EQ(number, Bytes(no, no + 8));
}

TEST_F(IdCardTest, NoCardInTheField) {
  unsigned char len = 0xEE, no[8];
  std::memset(no, 0xEE, sizeof no);
  EXPECT_EQ(-4, ov.OV_ChinaIDV2_RequestCardNo(1, &len, no));
  EXPECT_EQ(0xEE, len);
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(no, no + 8));
}
