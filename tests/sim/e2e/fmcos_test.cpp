// SPDX-License-Identifier: MIT
// FMCOS through the public interface against the simulated CPU card:
// activation, SELECT, READ BINARY, VERIFY PIN (right, wrong, blocked),
// records, the balance and a load with its MACs.
#include <cstring>

#include "orvexsim/cpu_card.h"
#include "orvexsim/crypto.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
namespace card = orvexsim::fmcos_card;
namespace crypto = orvexsim::crypto;

namespace {

class FmcosTest : public SimTest {
 protected:
  void SetUp() override {
    sim.Place(std::make_shared<orvexsim::CpuCard>(Bytes{0xC1, 0x22, 0x33, 0x44}));
    SimTest::SetUp();
    unsigned short type = 0;
    ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
    unsigned char mem = 0, len = 0, sn[16];
    ASSERT_EQ(4, ov.OV_AntiCollideAndSelect(1, 0, &mem, &len, sn));
    EXPECT_EQ(0x20, mem);
    int ats_len = 0;
    unsigned char ats[ORVEX_MAX_ANSWER];
    ASSERT_EQ(1, ov.OV_TypeA_Reset(1, 0, 0, &ats_len, ats));
    EXPECT_EQ(orvexsim::CpuCardAts(), Bytes(ats, ats + ats_len));
  }
  void SelectApp() {
    unsigned char fci_len = 0, fci[1000];
    unsigned short sw = 0;
    Bytes name = card::kAppName;
    ASSERT_EQ(1, OV_FM_Select(1, 0x04, static_cast<unsigned char>(name.size()), name.data(), 0x00, &fci_len,
                              fci, &sw));
    ASSERT_EQ(0x0090, sw);
    EXPECT_EQ(0x6F, fci[0]);
    EXPECT_EQ(0, std::memcmp(fci + 4, name.data(), name.size()));
  }
  unsigned short Verify(Bytes pin) {
    unsigned short sw = 0;
    EXPECT_EQ(1, ov.OV_FM_VerifyPin(1, 0x00, static_cast<unsigned char>(pin.size()), pin.data(), &sw));
    return sw;
  }
};

}  // namespace

TEST_F(FmcosTest, SelectByIdentifierAndMissingFile) {
  unsigned char id[2] = {0x3F, 0x00}, fci_len = 0, fci[1000];
  unsigned short sw = 0;
  ASSERT_EQ(1, OV_FM_Select(1, 0x00, 2, id, 0x00, &fci_len, fci, &sw));
  EXPECT_EQ(0x0090, sw);
  EXPECT_GT(fci_len, 0);
  unsigned char missing[2] = {0x12, 0x34};
  ASSERT_EQ(1, OV_FM_Select(1, 0x00, 2, missing, 0x00, &fci_len, fci, &sw));
  EXPECT_EQ(0x826A, sw);  // 6A 82, file not found
  EXPECT_EQ(0, fci_len);
}

TEST_F(FmcosTest, ReadBinaryByShortIdentifier) {
  SelectApp();
  unsigned char len = 0, data[1000];
  unsigned short sw = 0;
  ASSERT_EQ(1, ov.OV_FM_ReadBinary(1, 0x15, 0, 0, &len, data, &sw));
  EXPECT_EQ(0x0090, sw);
  EXPECT_EQ(30, len);
  EXPECT_EQ(0x4F, data[0]);
  ASSERT_EQ(1, ov.OV_FM_ReadBinary(1, 0x15, 2, 4, &len, data, &sw));
  EXPECT_EQ(4, len);
  EXPECT_EQ(0x58, data[0]);
  // Beyond the file.
  ASSERT_EQ(1, ov.OV_FM_ReadBinary(1, 0x15, 40, 4, &len, data, &sw));
  EXPECT_EQ(0x006B, sw);
}

TEST_F(FmcosTest, VerifyPinRightWrongAndBlocked) {
  SelectApp();
  unsigned char len = 0, data[1000];
  unsigned short sw = 0;
  ASSERT_EQ(1, ov.OV_FM_ReadBinary(1, 0x16, 0, 0, &len, data, &sw));
  EXPECT_EQ(0x8269, sw);  // 69 82: the holder file needs the PIN
  EXPECT_EQ(0xC263, Verify({0x99, 0x99, 0x99}));  // 63 C2: two tries left
  EXPECT_EQ(0x0090, Verify(card::kPin));
  ASSERT_EQ(1, ov.OV_FM_ReadBinary(1, 0x16, 0, 0, &len, data, &sw));
  EXPECT_EQ(0x0090, sw);
  EXPECT_EQ(55, len);
  EXPECT_EQ(0, std::memcmp(data + 2, "SAMPLE HOLDER", 13));
  // Three wrong PINs block it; then even the right one is refused.
  EXPECT_EQ(0xC263, Verify({0x00, 0x00, 0x00}));
  EXPECT_EQ(0xC163, Verify({0x00, 0x00, 0x00}));
  EXPECT_EQ(0x8369, Verify({0x00, 0x00, 0x00}));
  EXPECT_EQ(0x8369, Verify(card::kPin));
}

TEST_F(FmcosTest, RecordsAfterThePin) {
  SelectApp();
  unsigned char len = 0, data[1000];
  unsigned short sw = 0;
  ASSERT_EQ(1, ov.OV_FM_ReadRecord(1, 0x17, 1, 4, 0, &len, data, &sw));
  EXPECT_EQ(0x0090, sw);
  EXPECT_EQ(16, len);
  unsigned char rec[16];
  std::memset(rec, 0x5C, 16);
  ASSERT_EQ(1, ov.OV_FM_UpdaterRecord(1, 0x17, 2, 4, 16, rec, &sw));
  EXPECT_EQ(0x8269, sw);
  EXPECT_EQ(0x0090, Verify(card::kPin));
  ASSERT_EQ(1, ov.OV_FM_UpdaterRecord(1, 0x17, 2, 4, 16, rec, &sw));
  EXPECT_EQ(0x0090, sw);
  ASSERT_EQ(1, ov.OV_FM_AppendRecord(1, 0x17, 16, rec, &sw));
  EXPECT_EQ(0x0090, sw);
  ASSERT_EQ(1, ov.OV_FM_ReadRecord(1, 0x17, 3, 4, 16, &len, data, &sw));
  EXPECT_EQ(0, std::memcmp(rec, data, 16));
  ASSERT_EQ(1, ov.OV_FM_ReadRecord(1, 0x17, 9, 4, 0, &len, data, &sw));
  EXPECT_EQ(0x836A, sw);  // 6A 83, record not found
}

TEST_F(FmcosTest, BalanceAndLoad) {
  SelectApp();
  int value = 0;
  unsigned short sw = 0;
  ASSERT_EQ(1, ov.OV_FM_GetBalance(1, 0x02, &value, &sw));
  EXPECT_EQ(0x0090, sw);
  // The card sends its balance most significant byte first; the library
  // reads the four bytes least significant first.
  EXPECT_EQ(static_cast<int>(__builtin_bswap32(card::kInitialBalance)), value);

  unsigned char terminal[6] = {0, 0, 0, 0, 0x12, 0x34}, len = 0, result[1000];
  // The amount goes to the card most significant byte first: pass it swapped.
  ASSERT_EQ(1, ov.OV_FM_InitializeForLoad(1, 0x02, 0x01, static_cast<int>(__builtin_bswap32(500)), 6, terminal,
                                          &len, result, &sw));
  ASSERT_EQ(0x0090, sw);
  ASSERT_EQ(16, len);
  Bytes random(result + 8, result + 12);
  Bytes sk = crypto::Encrypt(card::kLoadKey, {random[0], random[1], random[2], random[3], result[4], result[5],
                                              0x80, 0x00});
  Bytes mac1_in = {result[0], result[1], result[2], result[3], 0x00, 0x00, 0x01, 0xF4, 0x02};
  mac1_in.insert(mac1_in.end(), terminal, terminal + 6);
  EXPECT_EQ(orvexsim::Slice(crypto::Mac(sk, mac1_in), 0, 4), Bytes(result + 12, result + 16));
  unsigned char date[4] = {0x20, 0x26, 0x11, 0x22}, time[3] = {0x10, 0x30, 0x00};
  Bytes mac2_in = {0x00, 0x00, 0x01, 0xF4, 0x02};
  mac2_in.insert(mac2_in.end(), terminal, terminal + 6);
  mac2_in.insert(mac2_in.end(), date, date + 4);
  mac2_in.insert(mac2_in.end(), time, time + 3);
  Bytes mac2 = orvexsim::Slice(crypto::Mac(sk, mac2_in), 0, 4);
  unsigned char tac_len = 0, tac[1000];
  ASSERT_EQ(1, ov.OV_FM_CreditForLoad(1, date, time, mac2.data(), &tac_len, tac, &sw));
  EXPECT_EQ(0x0090, sw);
  EXPECT_EQ(4, tac_len);
  ASSERT_EQ(1, ov.OV_FM_GetBalance(1, 0x02, &value, &sw));
  EXPECT_EQ(static_cast<int>(__builtin_bswap32(1500)), value);
}

TEST_F(FmcosTest, ChallengeGivesFreshBytes) {
  unsigned char a[8] = {}, b[8] = {};
  unsigned short sw = 0;
  ASSERT_EQ(1, ov.OV_FM_GetChallenge(1, 4, a, &sw));
  EXPECT_EQ(0x0090, sw);
  ASSERT_EQ(1, ov.OV_FM_GetChallenge(1, 4, b, &sw));
  EXPECT_NE(0, std::memcmp(a, b, 4));
}
