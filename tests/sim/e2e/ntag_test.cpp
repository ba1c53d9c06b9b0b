// SPDX-License-Identifier: MIT
// NTAG through the public interface against the simulated NTAG215: version,
// reads, writes, compatibility write, password, counter and signature, and
// the Ultralight-type block commands.
#include <cstring>

#include "orvexsim/ntag.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;
using orvexsim::Ntag;

namespace {

class NtagTest : public SimTest {
 protected:
  void SetUp() override {
    tag = std::make_shared<Ntag>(Ntag::Model::k215, Bytes{0x04, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56});
    sim.Place(tag);
    SimTest::SetUp();
    unsigned short type = 0;
    ASSERT_EQ(1, ov.OV_RequestCard(1, 0x26, &type));
    ASSERT_EQ(0x4400, type);
    unsigned char mem = 0, len = 0, sn[16];
    ASSERT_EQ(7, ov.OV_AntiCollideAndSelect(1, 0, &mem, &len, sn));
    ASSERT_EQ(0, std::memcmp(sn, tag->uid().data(), 7));
  }
  std::shared_ptr<Ntag> tag;
};

}  // namespace

TEST_F(NtagTest, GetVersionOfAnNtag215) {
  unsigned char v[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_NTag_GetVersion(1, v));
  const unsigned char want[8] = {0x00, 0x04, 0x04, 0x02, 0x01, 0x00, 0x11, 0x03};
  EXPECT_EQ(0, std::memcmp(want, v, 8));
}

TEST_F(NtagTest, WriteAndReadPages) {
  unsigned char page[4] = {0xDE, 0xAD, 0xBE, 0xEF};
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 10, page));
  int len = 0;
  unsigned char r[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_NTag_Read(1, 10, &len, r));
  EXPECT_EQ(16, len);
  EXPECT_EQ(0, std::memcmp(page, r, 4));
  // The capability container of a 504-byte tag.
  ASSERT_EQ(1, ov.OV_NTag_Read(1, 3, &len, r));
  const unsigned char cc[4] = {0xE1, 0x10, 0x3E, 0x00};
  EXPECT_EQ(0, std::memcmp(cc, r, 4));
  // Fast read of 51 pages, the most one call asks for.
  ASSERT_EQ(1, ov.OV_NTag_FastRead(1, 4, 100, &len, r));
  EXPECT_EQ(204, len);
  EXPECT_EQ(0, std::memcmp(page, r + 6 * 4, 4));
  // Writing the UID is refused.
  EXPECT_EQ(-3, ov.OV_NTag_Write(1, 0, page));
}

TEST_F(NtagTest, CompatibilityWriteKeepsFourBytes) {
  unsigned char data[16];
  for (int i = 0; i < 16; ++i) data[i] = static_cast<unsigned char>(0xA0 + i);
  ASSERT_EQ(1, ov.OV_NTag_CompatibleWrite(1, 20, data));
  int len = 0;
  unsigned char r[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_NTag_Read(1, 20, &len, r));
  EXPECT_EQ(0, std::memcmp(data, r, 4));
  EXPECT_EQ(0, r[4]);
}

TEST_F(NtagTest, UltralightBlockCommands) {
  unsigned char page[4] = {1, 2, 3, 4}, r[16] = {};
  ASSERT_EQ(1, ov.OV_UltraLightWrite(1, 8, page));
  ASSERT_EQ(1, ov.OV_UltraLightRead(1, 8, r));
  EXPECT_EQ(0, std::memcmp(page, r, 4));
}

TEST_F(NtagTest, PasswordProtection) {
  // PWD, PACK, then AUTH0 = 16 with write protection only.
  unsigned char pwd[4] = {0x0A, 0x0B, 0x0C, 0x0D}, pack[4] = {0x00, 0x00, 0, 0};
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 133, pwd));
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 134, pack));
  unsigned char cfg0[4] = {0x04, 0x00, 0x00, 0x10};
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 131, cfg0));
  unsigned char data[4] = {7, 7, 7, 7};
  EXPECT_EQ(-3, ov.OV_NTag_Write(1, 16, data));
  unsigned char result[2] = {0x55, 0x55};
  unsigned char wrong[4] = {1, 1, 1, 1};
  EXPECT_EQ(-3, ov.OV_NTag_Password_Auth(1, wrong, result));
  EXPECT_EQ(0x55, result[0]);
  EXPECT_EQ(1, ov.OV_NTag_Password_Auth(1, pwd, result));
  EXPECT_EQ(0x00, result[0]);
  EXPECT_EQ(1, ov.OV_NTag_Write(1, 16, data));
  // A PACK other than 00 00 makes the method report -1.
  unsigned char pack2[4] = {0x80, 0x80, 0, 0};
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 134, pack2));
  EXPECT_EQ(-1, ov.OV_NTag_Password_Auth(1, pwd, result));
  EXPECT_EQ(0x80, result[0]);
}

TEST_F(NtagTest, CounterAndSignature) {
  int counter = -5;
  EXPECT_EQ(-3, ov.OV_NTag_ReadCounter(1, &counter));  // not enabled
  unsigned char access[4] = {0x10, 0x05, 0x00, 0x00};
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 132, access));
  int len = 0;
  unsigned char r[ORVEX_MAX_ANSWER];
  ASSERT_EQ(1, ov.OV_NTag_Read(1, 4, &len, r));
  ASSERT_EQ(1, ov.OV_NTag_ReadCounter(1, &counter));
  EXPECT_EQ(1, counter);
  unsigned char sig[ORVEX_MAX_ANSWER] = {};
  ASSERT_EQ(1, ov.OV_NTag_ReadSignature(1, sig));
  auto lock = sim.Lock();
  EXPECT_EQ(*tag->Transceive({0x3C, 0x00}), Bytes(sig, sig + 32));
}

namespace {

class Ev1Test : public SimTest {
 protected:
  void SetUp() override {
    ev1 = std::make_shared<Ntag>(Ntag::Model::kUltralight48, Bytes{0x04, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66});
    sim.Place(ev1);
    SimTest::SetUp();
  }
  std::shared_ptr<Ntag> ev1;
};

}  // namespace

// An Ultralight EV1's three one-way counters, each read on its own.
TEST_F(Ev1Test, EveryCounterReadOnItsOwn) {
  unsigned short type = 0;
  unsigned char sak = 0, len = 0, uid[ORVEX_MAX_ANSWER];
  ASSERT_EQ(1, ov.OV_RequestAntiandSelect(1, 0x52, 0, &type, &sak, &len, uid));
  {
    // The selected tag counts, as a terminal of its own would make it.
    auto lock = sim.Lock();
    ASSERT_TRUE(ev1->Transceive({0xA5, 0x00, 0x05, 0x00, 0x00, 0x00}));  // counter 0 up by 5
    ASSERT_TRUE(ev1->Transceive({0xA5, 0x01, 0x00, 0x01, 0x00, 0x00}));  // counter 1 up by 256
    ASSERT_TRUE(ev1->Transceive({0xA5, 0x02, 0x00, 0x00, 0x01, 0x00}));  // counter 2 up by 65536
  }
  int c[3] = {-1, -1, -1};
  for (int n = 0; n < 3; ++n) ASSERT_EQ(1, OrvexNTagReadCounter(1, n, &c[n])) << n;
  EXPECT_EQ(5, c[0]);
  EXPECT_EQ(256, c[1]);
  EXPECT_EQ(65536, c[2]);
  // The reader's own counter read gives counter 2.
  int two = -1;
  ASSERT_EQ(1, ov.OV_NTag_ReadCounter(1, &two));
  EXPECT_EQ(65536, two);
}

// An NTAG has one counter, 2: asked for another it refuses, and the output
// stays as it was.
TEST_F(NtagTest, OnlyCounterTwoOfAnNtag) {
  unsigned char access[4] = {0x10, 0x05, 0x00, 0x00};  // the NFC counter on
  ASSERT_EQ(1, ov.OV_NTag_Write(1, 132, access));
  int len = 0;
  unsigned char r[ORVEX_MAX_ANSWER];
  ASSERT_EQ(1, ov.OV_NTag_Read(1, 4, &len, r));
  int counter = -1;
  ASSERT_EQ(1, OrvexNTagReadCounter(1, 2, &counter));
  EXPECT_EQ(1, counter);
  counter = -7;
  EXPECT_EQ(-3, OrvexNTagReadCounter(1, 0, &counter));
  EXPECT_EQ(-7, counter);
}
